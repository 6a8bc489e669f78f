#pragma once
// Avatar: the small round picture of a conversation partner. An image view
// clipped to a circle; `setup` shows a disc of the view's background colour
// (red without one) at once, then the person's picture when the image loader
// has it. A failed load, or an avatar address that is no URL, leaves the
// disc.

#include <optional>

#include "tavrel/model/person.h"
#include "tavrel/ui/image_loader.h"
#include "tavrel/ui/image_view.h"

namespace tavrel::ui {

class Avatar : public View {
  // No meta-object: it sees reactive types, which moc cannot read.
 public:
  // The colour is the background, and so the placeholder's.
  Avatar(const QRectF& frame, std::optional<QColor> color);

  void setup(const Person& person);
  void setAvatarImage(std::optional<QImage> image);
  std::optional<QImage> getAvatarImage() const { return avatarNode_->image(); }

  // Called when the load of the latest `setup` ends, with whether it
  // brought a picture (a host may hide its own progress then).
  std::function<void(bool loaded)> onLoadFinished;

  // The loader `setup` uses; the shared one unless set.
  void setImageLoader(ImageLoader* loader) { loader_ = loader; }
  void layoutSubviews() override;

 private:
  void setupView();

  ImageView* avatarNode_ = nullptr;
  ImageLoader* loader_ = nullptr;
  unsigned generation_ = 0;  // of the latest `setup`; older loads are dropped
};

}  // namespace tavrel::ui
