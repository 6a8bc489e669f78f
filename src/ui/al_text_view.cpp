#include "tavrel/ui/al_text_view.h"

#include <cfloat>
#include <cmath>

#include "tavrel/core/resources.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/layout_helpers.h"

namespace tavrel::ui {

ALTextView::ALTextView(const QRectF& frame) : TextView(frame) { setScrollEnabled(false); }

void ALTextView::setTextViewDelegate(ALTextViewDelegate* delegate) {
  textViewDelegate_ = delegate;
  setDelegate(delegate);
}

void ALTextView::setPlaceholder(const QString& placeholder) {
  placeholder_ = placeholder;
  placeholderLabel().setText(placeholder);
}

std::optional<QColor> ALTextView::placeholderColor() { return placeholderLabel().textColor(); }

void ALTextView::setPlaceholderColor(const QColor& color) { placeholderLabel().setTextColor(color); }

Label& ALTextView::placeholderLabel() {
  if (!placeholderLabel_) {
    auto* label = new Label();
    label->setClipsToBounds(false);
    label->setNumberOfLines(1);
    label->setFont(font());
    label->setBackgroundColor(colors::clear());
    label->setTextColor(toQColor(R::color::placeholderTextColor()));
    label->setHidden(true);
    addSubview(label);
    placeholderLabel_ = label;
  }
  return *placeholderLabel_;
}

double ALTextView::minimumHeight() const {
  const double line = std::ceil(Font::lineHeight(font()));
  return line + textContainerInset().top + textContainerInset().bottom;
}

void ALTextView::setFont(const QFont& font) {
  TextView::setFont(font);
  placeholderLabel().setFont(font);
}

void ALTextView::setTextAlignment(Qt::Alignment alignment) {
  TextView::setTextAlignment(alignment);
  placeholderLabel().setTextAlignment(alignment);
}

void ALTextView::setContentSize(const QSizeF& size) {
  TextView::setContentSize(size);
  updateSize();
}

void ALTextView::textViewDidChange() {
  placeholderLabel().setHidden(shouldHidePlaceholder());
  updateSize();
}

double ALTextView::roundHeight() const {
  const EdgeInsets in = textContainerInset();
  const double width = frame().width() - in.left - in.right;
  double h = std::ceil(boundingRect(text(), font(), width).height());
  const double line = Font::lineHeight(font());
  if (line > h) h = line;
  return h + in.top + in.bottom;
}

void ALTextView::updateSize() {
  double cap = DBL_MAX;
  const EdgeInsets in = textContainerInset();
  if (maxNumberOfLines_ > 0) cap = std::ceil(Font::lineHeight(font())) * maxNumberOfLines_ + in.top + in.bottom;
  const double h = roundHeight();
  if (h >= cap) {
    expectedHeight_ = cap;
    setScrollEnabled(true);
  } else {
    expectedHeight_ = h;
    setScrollEnabled(false);
  }
  if (textViewDelegate_) textViewDelegate_->textViewHeightChanged(*this, expectedHeight_);
  ensureCaretDisplaysCorrectly();
}

void ALTextView::ensureCaretDisplaysCorrectly() {
  const auto range = selectedTextRange();
  if (!range) return;
  QPointer<ALTextView> self(this);
  rx::MainQueue::shared().post([self, range] {
    if (!self) return;
    const QRectF caret = self->caretRect(range->end);
    performWithoutAnimation([&] { self->scrollRectToVisible(caret, false); });
  });
}

bool ALTextView::shouldHidePlaceholder() const { return placeholder_.isEmpty() || !text().isEmpty(); }

QRectF ALTextView::placeholderRectThatFits(const QRectF& rect) const {
  const double p = lineFragmentPadding();
  QRectF r = insetRect(rect, textContainerInset());
  r.translate(p, 0);
  r.setWidth(r.width() - 2 * p);
  return r;
}

void ALTextView::layoutSubviews() {
  TextView::layoutSubviews();
  Label& label = placeholderLabel();
  label.setHidden(shouldHidePlaceholder());
  if (!label.isHidden()) {
    label.setFrame(placeholderRectThatFits(bounds()));
    sendSubviewToBack(&label);
  }
}

double defaultNumberOfLines() {
  if (Device::isIPad()) return 8.0;
  if (Device::isIPhone4()) return 4.0;
  return 6.0;
}

}  // namespace tavrel::ui
