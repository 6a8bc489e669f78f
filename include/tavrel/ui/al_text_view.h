#pragma once
// ALTextView: the editor of the text input bar. It does not scroll while its
// text fits: it works out the height the text needs, publishes it as
// `expectedHeight`, reports it to one delegate, and starts to scroll only when
// the height reaches a cap given in lines. It draws a placeholder while it is
// empty and keeps the caret visible after every size change. It never resizes
// itself; its owner sets its frame.

#include <QPointer>

#include "tavrel/ui/label.h"
#include "tavrel/ui/text_view.h"

namespace tavrel::ui {

class ALTextView;

// Hears the heights, and the editor's events through the text view's
// ordinary delegate, which setting `textViewDelegate` sets to the same object.
class ALTextViewDelegate : public TextViewDelegate {
 public:
  virtual void textViewHeightChanged(ALTextView& textView, double newHeight) = 0;
};

class ALTextView : public TextView {
  Q_OBJECT
 public:
  explicit ALTextView(const QRectF& frame = {});

  ALTextViewDelegate* textViewDelegate() const { return textViewDelegate_; }
  void setTextViewDelegate(ALTextViewDelegate* delegate);

  QString placeholder() const { return placeholder_; }
  void setPlaceholder(const QString& placeholder);
  std::optional<QColor> placeholderColor();
  void setPlaceholderColor(const QColor& color);
  // Height cap in lines; 0 or less for none. Applies from the next update.
  double maxNumberOfLines() const { return maxNumberOfLines_; }
  void setMaxNumberOfLines(double lines) { maxNumberOfLines_ = lines; }
  // The last height worked out; 0 before the first update.
  double expectedHeight() const { return expectedHeight_; }
  // The height of one line with the insets.
  double minimumHeight() const;

  void setFont(const QFont& font) override;
  void setTextAlignment(Qt::Alignment alignment) override;
  void setContentSize(const QSizeF& size) override;

  // The owner calls this when the text changed: placeholder, then size.
  void textViewDidChange();

  // The height that the text needs at the current width, with the insets.
  double roundHeight() const;
  void updateSize();
  bool shouldHidePlaceholder() const;
  QRectF placeholderRectThatFits(const QRectF& rect) const;

  void layoutSubviews() override;

 private:
  Label& placeholderLabel();
  void ensureCaretDisplaysCorrectly();

  ALTextViewDelegate* textViewDelegate_ = nullptr;
  QString placeholder_;
  Label* placeholderLabel_ = nullptr;
  double maxNumberOfLines_ = 0;
  double expectedHeight_ = 0;
};

// The line cap the input bar gives its text view on this device.
double defaultNumberOfLines();

}  // namespace tavrel::ui
