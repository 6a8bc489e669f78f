#pragma once
// Fonts of the views: the system font in its weights, at a size in points,
// and the metrics the text views lay out with.

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <cmath>

namespace tavrel::ui {

class Font {
 public:
  // The system font at `size` points: Liberation Sans where it is
  // installed, a face with the widths of the mobile system fonts that the
  // views' fixed frames were drawn for; else the desktop's general font.
  static QFont system(double size, QFont::Weight weight = QFont::Normal) {
    static const bool narrow = QFontDatabase::hasFamily(QStringLiteral("Liberation Sans"));
    QFont font = narrow ? QFont(QStringLiteral("Liberation Sans"))
                        : QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(static_cast<int>(std::lround(size)));
    font.setWeight(weight);
    return font;
  }
  // The distance from one line's baseline to the next: what a line of text
  // takes in a text view.
  static double lineHeight(const QFont& font) { return QFontMetricsF(font).lineSpacing(); }
};

}  // namespace tavrel::ui
