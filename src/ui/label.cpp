#include "tavrel/ui/label.h"

#include <QPainter>
#include <QTextLayout>

#include "tavrel/ui/font.h"

namespace tavrel::ui {

Label::Label(const QRectF& frame) : View(frame) {
  QWidget::setFont(Font::system(17));
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void Label::setText(const QString& text) {
  text_ = text;
  update();
}

void Label::setFont(const QFont& font) {
  QWidget::setFont(font);
  update();
}

void Label::setTextColor(const QColor& color) {
  textColor_ = color;
  update();
}

void Label::setTextAlignment(Qt::Alignment alignment) {
  alignment_ = alignment;
  update();
}

void Label::setNumberOfLines(int lines) {
  lines_ = lines;
  update();
}

void Label::paintEvent(QPaintEvent* event) {
  View::paintEvent(event);
  if (text_.isEmpty()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::TextAntialiasing);
  painter.setClipPath(clipPath());
  painter.setPen(textColor_);
  painter.setFont(font());
  const QRectF area = bounds();
  const QFontMetricsF metrics(font());
  if (lines_ == 1) {
    const QString shown = metrics.elidedText(text_, Qt::ElideRight, area.width());
    painter.drawText(area, static_cast<int>(alignment_ | Qt::AlignVCenter), shown);
    return;
  }
  painter.drawText(area, static_cast<int>(alignment_ | Qt::AlignTop | Qt::TextWordWrap), text_);
}

}  // namespace tavrel::ui
