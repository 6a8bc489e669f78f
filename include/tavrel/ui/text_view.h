#pragma once
// TextView: a multi-line plain-text editor, Qt's rich-text editor underneath,
// with the metrics that a view laying out text needs: the content size, the
// container inset and line padding, the caret rectangle, scrolling to a
// rectangle, and the bounding rectangle of a text at a width.
//
// Positions are in UTF-16 units. Rectangles of `caretRect` and
// `scrollRectToVisible` are in content coordinates: the text view's own,
// scrolled by `contentOffset`.
//
// The delegate hears the editor's events. A change made with `setText`
// reaches no delegate: only the user's edits do.

#include <QFont>
#include <QSizeF>
#include <QString>
#include <optional>

#include "tavrel/ui/edge_insets.h"
#include "tavrel/ui/view.h"

class QTextEdit;

namespace tavrel::ui {

class TextView;

struct TextRange {
  int start = 0;
  int end = 0;
};

class TextViewDelegate {
 public:
  virtual ~TextViewDelegate() = default;
  // False keeps the view from taking the focus.
  virtual bool textViewShouldBeginEditing(TextView&) { return true; }
  // False keeps the focus in the view.
  virtual bool textViewShouldEndEditing(TextView&) { return true; }
  virtual void textViewDidBeginEditing(TextView&) {}
  virtual void textViewDidEndEditing(TextView&) {}
  virtual void textViewDidChange(TextView&) {}
  virtual void textViewDidChangeSelection(TextView&) {}
  // False drops the edit that would replace `range` with `replacement`.
  virtual bool textViewShouldChangeText(TextView&, TextRange /*range*/, const QString& /*replacement*/) {
    return true;
  }
};

class TextView : public View {
  Q_OBJECT
 public:
  explicit TextView(const QRectF& frame = {});
  ~TextView() override;

  QString text() const;
  void setText(const QString& text);
  QFont font() const;
  virtual void setFont(const QFont& font);
  void setTextColor(const QColor& color);
  Qt::Alignment textAlignment() const { return alignment_; }
  virtual void setTextAlignment(Qt::Alignment alignment);

  EdgeInsets textContainerInset() const { return inset_; }
  void setTextContainerInset(const EdgeInsets& inset);
  // Space at both ends of every line, inside the inset.
  double lineFragmentPadding() const { return padding_; }
  void setLineFragmentPadding(double padding);

  // The size of the laid-out text with the insets; the editor sets it
  // whenever its layout changes.
  QSizeF contentSize() const { return contentSize_; }
  virtual void setContentSize(const QSizeF& size);
  bool isScrollEnabled() const { return scrollEnabled_; }
  void setScrollEnabled(bool enabled) { scrollEnabled_ = enabled; }
  QPointF contentOffset() const;

  // The selection, or the caret as an empty range. A Qt editor always has
  // one.
  std::optional<TextRange> selectedTextRange() const;
  void setSelectedRange(TextRange range);
  QRectF caretRect(int position) const;
  void scrollRectToVisible(const QRectF& rect, bool animated);

  TextViewDelegate* delegate() const { return delegate_; }
  void setDelegate(TextViewDelegate* delegate) { delegate_ = delegate; }
  // Takes the keyboard focus.
  void becomeFirstResponder();
  // The editor underneath, for input in tests and hosts.
  QTextEdit* editor() const;

  // The rectangle that `text` takes in `font`, wrapped at `width`; its
  // height is 0 for an empty text.
  static QRectF boundingRect(const QString& text, const QFont& font, double width);

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  class Editor;
  friend class Editor;
  void applyLayoutOptions();

  Editor* editor_;
  TextViewDelegate* delegate_ = nullptr;
  EdgeInsets inset_;
  double padding_ = 5;
  QSizeF contentSize_;
  bool scrollEnabled_ = true;
  bool programmatic_ = false;
  Qt::Alignment alignment_ = Qt::AlignLeft;
};

}  // namespace tavrel::ui
