#pragma once
// ALTextInputBar: the bar in which the user types a message. It holds an
// ALTextView between an optional left and right view, grows with its text up
// to the text view's line cap, shows the right view only while there is
// something to send (sliding it in and out), and can show a cover over the
// text area that says sending is blocked. It works out every frame itself in
// `layoutSubviews`, and reports its height to its keyboard observer and its
// delegate.

#include <QPointer>
#include <optional>

#include "tavrel/ui/al_keyboard_observing_view.h"
#include "tavrel/ui/al_text_view.h"
#include "tavrel/ui/edge_insets.h"
#include "tavrel/ui/image_button.h"

namespace tavrel::ui {

// Every operation is optional: one that answers nothing (the default) counts
// as not implemented.
class ALTextInputBarDelegate {
 public:
  virtual ~ALTextInputBarDelegate() = default;
  virtual std::optional<bool> textViewShouldBeginEditing(ALTextView&) { return std::nullopt; }
  virtual std::optional<bool> textViewShouldEndEditing(ALTextView&) { return std::nullopt; }
  virtual void textViewDidBeginEditing(ALTextView&) {}
  virtual void textViewDidEndEditing(ALTextView&) {}
  virtual void textViewDidChange(ALTextView&) {}
  virtual void textViewDidChangeSelection(ALTextView&) {}
  virtual std::optional<bool> textViewShouldChangeText(ALTextView&, TextRange, const QString&) {
    return std::nullopt;
  }
  virtual void inputBarDidChangeHeight(double /*height*/) {}
};

class ALTextInputBar : public View, private ALTextViewDelegate {
  // No meta-object: it sees reactive types, which moc cannot read.
 public:
  explicit ALTextInputBar(const QRectF& frame = {});
  ~ALTextInputBar() override;

  ALTextInputBarDelegate* delegate = nullptr;
  QPointer<ALKeyboardObservingView> keyboardObserver;

  bool showTextViewBorder() const { return showTextViewBorder_; }
  void setShowTextViewBorder(bool show);
  EdgeInsets textViewBorderPadding;
  void setTextViewCornerRadius(double radius);
  void setTextViewBorderWidth(double width);
  void setTextViewBorderColor(const QColor& color);
  void setTextViewBackgroundColor(const QColor& color);
  double defaultHeight = 43.5;
  bool alwaysShowRightButton = false;
  double horizontalPadding = 15.0;
  double horizontalSpacing = 5.0;

  // The bar owns the views it shows; the view replaced is deleted.
  View* leftView() const { return leftView_; }
  void setLeftView(View* view);
  View* rightView() const { return rightView_; }
  void setRightView(View* view);

  ALTextView& textView() { return *textView_; }
  ImageButton& helpButton() { return *helpButton_; }
  // The host shows it by clearing its hidden flag; the bar never does.
  View& disableView() { return *disableView_; }
  View& textViewBorderView() { return *textViewBorderView_; }

  // The text; setting it runs the same flow as typing.
  QString text() const { return textView_->text(); }
  void setText(const QString& text);

  QSizeF intrinsicContentSize() const override { return {-1, defaultHeight}; }
  void updateViews(bool animated);
  void layoutSubviews() override;

 private:
  void textViewHeightChanged(ALTextView& textView, double newHeight) override;
  bool textViewShouldBeginEditing(TextView&) override;
  bool textViewShouldEndEditing(TextView&) override;
  void textViewDidBeginEditing(TextView&) override;
  void textViewDidEndEditing(TextView&) override;
  void textViewDidChange(TextView&) override;
  void textViewDidChangeSelection(TextView&) override;
  bool textViewShouldChangeText(TextView&, TextRange range, const QString& replacement) override;
  View* createBorderView();

  bool showTextViewBorder_ = false;
  double textViewCornerRadius_ = 4.0;
  double textViewBorderWidth_ = 1.0;
  QColor textViewBorderColor_;
  QColor textViewBackgroundColor_;
  View* leftView_ = nullptr;
  View* rightView_ = nullptr;
  ALTextView* textView_;
  ImageButton* helpButton_;
  View* disableView_;
  bool showRightButton_ = false;
  View* textViewBorderView_ = nullptr;
  double lastCalculatedHeight_ = 0;
};

}  // namespace tavrel::ui
