#pragma once
// ImageButton: the small icon control of the bars, one tinted template icon
// in a padded box of fixed height. Its enabled state lives in
// `isEnabledRelay`; a disabled button greys its icon and remembers the colour
// for when it comes back.

#include <optional>

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/ui/control.h"
#include "tavrel/ui/image_view.h"

namespace tavrel::ui {

class ImageButton : public Control {
  // No meta-object: its members hold reactive types, which moc cannot read.
 public:
  explicit ImageButton(std::optional<QImage> icon);
  ImageButton(std::optional<QImage> icon, const QColor& tintColor);

  double rightPadding() const { return rightPadding_; }
  void setRightPadding(double padding);
  double topPadding() const { return topPadding_; }
  void setTopPadding(double padding);
  double iconSize() const { return iconSize_; }
  void setIconSize(double size);
  double defaultHeight() const { return defaultHeight_; }
  void setDefaultHeight(double height);

  // Accepts true to enable the button, false to disable it.
  rx::BehaviorRelay<bool> isEnabledRelay{true};
  ImageView& icon() { return *icon_; }

  void layoutSubviews() override;

 private:
  void updateFrame();

  double rightPadding_ = 15.0;
  double topPadding_ = 11.0;
  double iconSize_ = 22.0;
  double defaultHeight_ = 43.5;
  ImageView* icon_;
  std::optional<QColor> tempTintColor_;
  std::optional<bool> enabled_;  // the state shown
  rx::DisposeBag disposeBag_;
};

}  // namespace tavrel::ui
