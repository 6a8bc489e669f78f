#include "tavrel/ui/image_button.h"

#include <QPointer>

#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/colors.h"

namespace tavrel::ui {

ImageButton::ImageButton(std::optional<QImage> icon)
    : Control(QRectF(0, 0, 52.0, 43.5)),
      icon_(new ImageView(QRectF(15.0, 11.0, 22.0, 22.0), std::move(icon))),
      tempTintColor_(colors::hex(0x999999)) {
  icon_->setRenderingMode(ImageView::RenderingMode::alwaysTemplate);
  icon_->setTintColor(tempTintColor_);
  setClipsToBounds(true);
  addSubview(icon_);
  QPointer<ImageButton> self(this);
  disposeBag_.insert(isEnabledRelay.asObservable()
                         .observeOn(rx::MainScheduler::instance())
                         .subscribe([self](const bool& enabled) {
                           // A repeat of the state it is in changes nothing: a
                           // second false must not take the grey for the colour
                           // to bring back.
                           if (!self || self->enabled_ == enabled) return;
                           self->enabled_ = enabled;
                           self->setUserInteractionEnabled(enabled);
                           if (enabled) {
                             self->icon_->setTintColor(self->tempTintColor_);
                           } else {
                             self->tempTintColor_ = self->icon_->tintColor();
                             self->icon_->setTintColor(colors::hex(0xC6C6C6));
                           }
                         }));
}

ImageButton::ImageButton(std::optional<QImage> icon, const QColor& tintColor) : ImageButton(std::move(icon)) {
  tempTintColor_ = tintColor;
  icon_->setTintColor(tintColor);
}

void ImageButton::setRightPadding(double padding) {
  rightPadding_ = padding;
  updateFrame();
}

void ImageButton::setTopPadding(double padding) {
  topPadding_ = padding;
  updateFrame();
}

void ImageButton::setIconSize(double size) {
  iconSize_ = size;
  updateFrame();
}

void ImageButton::setDefaultHeight(double height) {
  defaultHeight_ = height;
  updateFrame();
}

void ImageButton::updateFrame() {
  setFrame({frame().x(), frame().y(), iconSize_ + (rightPadding_ + rightPadding_), defaultHeight_});
  setNeedsLayout();
}

void ImageButton::layoutSubviews() {
  Control::layoutSubviews();
  icon_->setFrame({rightPadding_, topPadding_, iconSize_, iconSize_});
}

}  // namespace tavrel::ui
