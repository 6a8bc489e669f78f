#include "tavrel/ui/text_view.h"

#include <QAbstractTextDocumentLayout>
#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextFrame>

#include "tavrel/ui/font.h"

namespace tavrel::ui {
namespace {

QTextOption wrapping(Qt::Alignment alignment) {
  QTextOption option(alignment);
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  return option;
}

}  // namespace

// The editor: asks the delegate before each edit, reports focus changes,
// and scrolls by wheel only while scrolling is on.
class TextView::Editor : public QTextEdit {
 public:
  explicit Editor(TextView* owner) : QTextEdit(owner), owner_(owner) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAcceptRichText(false);
    setAttribute(Qt::WA_TranslucentBackground);
    viewport()->setAutoFillBackground(false);
    QPalette colours = palette();
    colours.setColor(QPalette::Base, Qt::transparent);
    setPalette(colours);
  }

 protected:
  bool allowed(const QString& replacement, bool backwards, bool forwards) {
    TextViewDelegate* d = owner_->delegate_;
    if (!d) return true;
    const QTextCursor c = textCursor();
    TextRange range{c.selectionStart(), c.selectionEnd()};
    if (range.start == range.end) {
      if (backwards) range.start = std::max(0, range.start - 1);
      if (forwards) range.end = std::min(document()->characterCount() - 1, range.end + 1);
    }
    return d->textViewShouldChangeText(*owner_, range, replacement);
  }

  void keyPressEvent(QKeyEvent* e) override {
    const bool back = e->key() == Qt::Key_Backspace, forward = e->key() == Qt::Key_Delete;
    const bool newline = e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter;
    QString replacement = newline ? QStringLiteral("\n") : e->text();
    const bool edits = back || forward || (!replacement.isEmpty() && replacement.at(0).isPrint()) || newline;
    if (edits && !allowed(back || forward ? QString() : replacement, back, forward)) return;
    QTextEdit::keyPressEvent(e);
  }

  void insertFromMimeData(const QMimeData* source) override {
    if (source->hasText() && !allowed(source->text(), false, false)) return;
    QTextEdit::insertPlainText(source->text());
  }

  void focusInEvent(QFocusEvent* e) override {
    TextViewDelegate* d = owner_->delegate_;
    if (d && !d->textViewShouldBeginEditing(*owner_)) {
      clearFocus();
      return;
    }
    QTextEdit::focusInEvent(e);
    if (owner_->delegate_) owner_->delegate_->textViewDidBeginEditing(*owner_);
  }

  void focusOutEvent(QFocusEvent* e) override {
    TextViewDelegate* d = owner_->delegate_;
    if (d && !d->textViewShouldEndEditing(*owner_)) {
      setFocus();
      return;
    }
    QTextEdit::focusOutEvent(e);
    if (owner_->delegate_) owner_->delegate_->textViewDidEndEditing(*owner_);
  }

  void wheelEvent(QWheelEvent* e) override {
    if (owner_->scrollEnabled_) QTextEdit::wheelEvent(e);
    else e->ignore();
  }

 private:
  TextView* owner_;
};

TextView::TextView(const QRectF& frame) : View(frame), editor_(new Editor(this)) {
  editor_->setGeometry(rect());
  editor_->document()->setDocumentMargin(0);
  QWidget::setFont(Font::system(12));
  editor_->setFont(QWidget::font());
  applyLayoutOptions();
  connect(editor_, &QTextEdit::textChanged, this, [this] {
    if (!programmatic_ && delegate_) delegate_->textViewDidChange(*this);
  });
  connect(editor_, &QTextEdit::cursorPositionChanged, this, [this] {
    if (!programmatic_ && delegate_) delegate_->textViewDidChangeSelection(*this);
  });
  connect(editor_->document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
          [this](const QSizeF& size) {
            // A new text is set in steps (cleared, then filled): its size
            // counts once, at the end.
            if (!programmatic_) setContentSize({double(editor_->viewport()->width()), size.height()});
          });
}

TextView::~TextView() { delegate_ = nullptr; }

QTextEdit* TextView::editor() const { return editor_; }

QString TextView::text() const { return editor_->toPlainText(); }

void TextView::setText(const QString& text) {
  programmatic_ = true;
  editor_->setPlainText(text);
  applyLayoutOptions();  // a new text brings a new root frame
  editor_->moveCursor(QTextCursor::End);
  programmatic_ = false;
  setContentSize({double(editor_->viewport()->width()), editor_->document()->size().height()});
}

QFont TextView::font() const { return editor_->font(); }

void TextView::setFont(const QFont& font) {
  QWidget::setFont(font);
  editor_->setFont(font);
  editor_->document()->setDefaultFont(font);
}

void TextView::setTextColor(const QColor& color) {
  QPalette colours = editor_->palette();
  colours.setColor(QPalette::Text, color);
  editor_->setPalette(colours);
}

void TextView::setTextAlignment(Qt::Alignment alignment) {
  alignment_ = alignment;
  applyLayoutOptions();
}

void TextView::setTextContainerInset(const EdgeInsets& inset) {
  inset_ = inset;
  applyLayoutOptions();
}

void TextView::setLineFragmentPadding(double padding) {
  padding_ = padding;
  applyLayoutOptions();
}

void TextView::applyLayoutOptions() {
  QTextDocument* doc = editor_->document();
  doc->setDefaultTextOption(wrapping(alignment_));
  QTextFrameFormat format = doc->rootFrame()->frameFormat();
  format.setTopMargin(inset_.top);
  format.setBottomMargin(inset_.bottom);
  format.setLeftMargin(inset_.left + padding_);
  format.setRightMargin(inset_.right + padding_);
  doc->rootFrame()->setFrameFormat(format);
}

void TextView::setContentSize(const QSizeF& size) { contentSize_ = size; }

QPointF TextView::contentOffset() const {
  return {double(editor_->horizontalScrollBar()->value()), double(editor_->verticalScrollBar()->value())};
}

std::optional<TextRange> TextView::selectedTextRange() const {
  const QTextCursor c = editor_->textCursor();
  return TextRange{c.selectionStart(), c.selectionEnd()};
}

void TextView::setSelectedRange(TextRange range) {
  QTextCursor c = editor_->textCursor();
  c.setPosition(range.start);
  c.setPosition(range.end, QTextCursor::KeepAnchor);
  editor_->setTextCursor(c);
}

QRectF TextView::caretRect(int position) const {
  QTextCursor c(editor_->document());
  c.setPosition(std::clamp(position, 0, editor_->document()->characterCount() - 1));
  return QRectF(editor_->cursorRect(c)).translated(contentOffset());
}

void TextView::scrollRectToVisible(const QRectF& rect, bool) {
  QScrollBar* bar = editor_->verticalScrollBar();
  const double top = contentOffset().y(), visible = editor_->viewport()->height();
  if (rect.bottom() > top + visible) bar->setValue(static_cast<int>(std::ceil(rect.bottom() - visible)));
  else if (rect.top() < top) bar->setValue(static_cast<int>(std::floor(rect.top())));
}

void TextView::becomeFirstResponder() { editor_->setFocus(); }

QRectF TextView::boundingRect(const QString& text, const QFont& font, double width) {
  if (text.isEmpty()) return {};
  QTextDocument doc;
  doc.setDocumentMargin(0);
  doc.setDefaultFont(font);
  doc.setDefaultTextOption(wrapping(Qt::AlignLeft));
  doc.setPlainText(text);
  doc.setTextWidth(width);
  return {0, 0, doc.idealWidth(), doc.size().height()};
}

void TextView::resizeEvent(QResizeEvent* event) {
  View::resizeEvent(event);
  editor_->setGeometry(rect());
}

}  // namespace tavrel::ui
