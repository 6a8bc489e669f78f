#pragma once
// Label: text drawn in its bounds, on one line or several.

#include <QFont>
#include <QString>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class Label : public View {
  Q_OBJECT
 public:
  explicit Label(const QRectF& frame = {});

  QString text() const { return text_; }
  void setText(const QString& text);
  QFont font() const { return QWidget::font(); }
  void setFont(const QFont& font);
  QColor textColor() const { return textColor_; }
  void setTextColor(const QColor& color);
  Qt::Alignment textAlignment() const { return alignment_; }
  void setTextAlignment(Qt::Alignment alignment);
  // 0 for as many lines as it takes; longer text ends in an ellipsis.
  int numberOfLines() const { return lines_; }
  void setNumberOfLines(int lines);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString text_;
  QColor textColor_ = Qt::black;
  Qt::Alignment alignment_ = Qt::AlignLeft;
  int lines_ = 1;
};

}  // namespace tavrel::ui
