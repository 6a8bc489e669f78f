#include "tavrel/ui/al_text_input_bar.h"

#include <cmath>

#include "tavrel/core/resources.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/label.h"
#include "tavrel/ui/layout_helpers.h"

namespace tavrel::ui {
namespace {

ALTextView* makeTextView() {
  auto* view = new ALTextView();
  view->setTextContainerInset({6, 8, 6, 0});
  view->setLineFragmentPadding(0);
  view->setMaxNumberOfLines(defaultNumberOfLines());
  view->setPlaceholder(QStringLiteral("Type here"));
  view->setPlaceholderColor(colors::lightGray());
  view->setFont(Font::system(15));
  view->setTextColor(colors::black());
  view->setBackgroundColor(colors::clear());
  view->setTintColor(colors::lightGray());
  return view;
}

ImageButton* makeHelpButton() {
  auto icon = ImageView::imageNamed(R::drawable::questionCircle);
  auto* button = new ImageButton(std::move(icon), toQColor(R::color::gray153153153()));
  button->setIconSize(18);
  button->setTopPadding(5);
  button->setRightPadding(5);
  QRectF f = button->frame();
  f.moveTopLeft({190, 0});
  button->setFrame(f);
  return button;
}

View* makeDisableView() {
  auto* view = new View();
  view->setHidden(true);
  auto* label = new Label(QRectF(0, 3, 190, 20));
  label->setText(QString::fromStdString(R::string::disabledInputBar()));
  if (const auto& grey = R::color::gray179179179()) label->setTextColor(toQColor(*grey));
  label->setFont(Font::system(15));
  view->addSubview(label);
  return view;
}

}  // namespace

ALTextInputBar::ALTextInputBar(const QRectF& frame)
    : View(frame),
      textViewBorderColor_(colors::white(0.9, 1.0)),
      textViewBackgroundColor_(colors::white()),
      textView_(makeTextView()),
      helpButton_(makeHelpButton()),
      disableView_(makeDisableView()) {
  textViewBorderView_ = createBorderView();
  addSubview(textViewBorderView_);
  addSubview(textView_);
  addSubview(disableView_);
  disableView_->addSubview(helpButton_);
  textViewBorderView_->setHidden(!showTextViewBorder_);
  textView_->setTextViewDelegate(this);
  setBackgroundColor(colors::groupTableViewBackground());
}

ALTextInputBar::~ALTextInputBar() { textView_->setTextViewDelegate(nullptr); }

View* ALTextInputBar::createBorderView() {
  auto* view = new View();
  view->setBackgroundColor(textViewBackgroundColor_);
  view->setBorder(textViewBorderWidth_, textViewBorderColor_);
  view->setCornerRadius(textViewCornerRadius_);
  return view;
}

void ALTextInputBar::setShowTextViewBorder(bool show) {
  showTextViewBorder_ = show;
  textViewBorderView_->setHidden(!show);
}

void ALTextInputBar::setTextViewCornerRadius(double radius) {
  textViewCornerRadius_ = radius;
  textViewBorderView_->setCornerRadius(radius);
}

void ALTextInputBar::setTextViewBorderWidth(double width) {
  textViewBorderWidth_ = width;
  textViewBorderView_->setBorder(width, textViewBorderColor_);
}

void ALTextInputBar::setTextViewBorderColor(const QColor& color) {
  textViewBorderColor_ = color;
  textViewBorderView_->setBorder(textViewBorderWidth_, color);
}

void ALTextInputBar::setTextViewBackgroundColor(const QColor& color) {
  textViewBackgroundColor_ = color;
  textViewBorderView_->setBackgroundColor(color);
}

void ALTextInputBar::setLeftView(View* view) {
  if (leftView_ == view) return;
  if (leftView_) {
    leftView_->removeFromSuperview();
    delete leftView_;
  }
  leftView_ = view;
  if (view) addSubview(view);
}

void ALTextInputBar::setRightView(View* view) {
  if (rightView_ == view) return;
  if (rightView_) {
    rightView_->removeFromSuperview();
    delete rightView_;
  }
  rightView_ = view;
  if (view) {
    addSubview(view);
    layoutSubviews();
  }
}

void ALTextInputBar::setText(const QString& text) {
  textView_->setText(text);
  if (TextViewDelegate* d = textView_->delegate()) d->textViewDidChange(*textView_);
}

void ALTextInputBar::updateViews(bool animated) {
  if (animated) {
    animate(0.2, [this] {
      setNeedsLayout();
      layoutIfNeeded();
    });
  } else {
    setNeedsLayout();
    layoutIfNeeded();
  }
}

void ALTextInputBar::layoutSubviews() {
  View::layoutSubviews();
  const double W = frame().width();
  const double H = std::floor(frame().height());
  const bool showsRight = showRightButton_ || alwaysShowRightButton;
  QSizeF leftSize, rightSize;
  if (leftView_) {
    leftSize = leftView_->bounds().size();
    const double d = (defaultHeight - leftSize.height()) / 2;
    const double y = std::ceil(H - (d + leftSize.height()));
    performWithoutAnimation([&] { leftView_->setFrame({QPointF(horizontalPadding, y), leftSize}); });
  }
  if (rightView_) {
    rightSize = rightView_->bounds().size();
    const double d = (defaultHeight - rightSize.height()) / 2;
    const double y = std::ceil(H - (rightSize.height() + d));
    const double x = showsRight ? W - (rightSize.width() + horizontalPadding) : W;
    rightView_->setFrame({QPointF(x, y), rightSize});
  }
  double tx = horizontalPadding;
  const double ty = (defaultHeight - textView_->minimumHeight()) / 2;
  double tw = W - (horizontalPadding + horizontalPadding);
  const double th = textView_->expectedHeight();
  if (leftSize.width() > 0) {
    tx += leftSize.width() + horizontalSpacing;
    tw -= leftSize.width() + horizontalSpacing;
  }
  if (showTextViewBorder_) {
    tx += textViewBorderPadding.left;
    tw -= textViewBorderPadding.left + textViewBorderPadding.right;
  }
  if (showsRight && rightSize.width() > 0) tw -= rightSize.width() + horizontalSpacing;
  const QRectF textFrame(tx, ty, tw, th);
  textView_->setFrame(textFrame);
  disableView_->setFrame(textFrame);
  const EdgeInsets& p = textViewBorderPadding;
  textViewBorderView_->setFrame(insetRect(textFrame, {-p.top, -p.left, -p.bottom, -p.right}));
}

void ALTextInputBar::textViewHeightChanged(ALTextView&, double newHeight) {
  if (lastCalculatedHeight_ == newHeight) return;
  const double padding = defaultHeight - textView_->minimumHeight();
  const double barHeight = padding + newHeight;
  if (Application::safeArea().bottom == 0) setHeightConstraintConstants(std::max(barHeight, defaultHeight));
  QRectF f = frame();
  f.setHeight(barHeight);
  setFrame(f);
  if (keyboardObserver) keyboardObserver->updateHeight(barHeight);
  if (delegate) delegate->inputBarDidChangeHeight(barHeight);
  QRectF t = textView_->frame();
  t.setHeight(newHeight);
  textView_->setFrame(t);
  lastCalculatedHeight_ = newHeight;
}

void ALTextInputBar::textViewDidChange(TextView&) {
  textView_->textViewDidChange();
  const bool hasText = !textView_->text().isEmpty();
  if (hasText != showRightButton_ && !alwaysShowRightButton) {
    showRightButton_ = hasText;
    updateViews(true);
  }
  if (delegate) delegate->textViewDidChange(*textView_);
}

bool ALTextInputBar::textViewShouldBeginEditing(TextView&) {
  if (delegate) (void)delegate->textViewShouldBeginEditing(*textView_);
  return true;
}

bool ALTextInputBar::textViewShouldEndEditing(TextView&) {
  return delegate ? delegate->textViewShouldEndEditing(*textView_).value_or(true) : true;
}

void ALTextInputBar::textViewDidBeginEditing(TextView&) {
  if (delegate) delegate->textViewDidBeginEditing(*textView_);
}

void ALTextInputBar::textViewDidEndEditing(TextView&) {
  if (delegate) delegate->textViewDidEndEditing(*textView_);
}

void ALTextInputBar::textViewDidChangeSelection(TextView&) {
  if (delegate) delegate->textViewDidChangeSelection(*textView_);
}

bool ALTextInputBar::textViewShouldChangeText(TextView&, TextRange range, const QString& replacement) {
  return delegate ? delegate->textViewShouldChangeText(*textView_, range, replacement).value_or(true) : true;
}

}  // namespace tavrel::ui
