#include "tavrel/ui/avatar.h"

#include <QPainter>
#include <QPainterPath>
#include <QPointer>

#include "tavrel/ui/colors.h"
#include "tavrel/ui/placeholder.h"

namespace tavrel::ui {
namespace {

// The picture with its corners rounded to `radius` points of the view,
// scaled to the image's own size.
QImage roundCorners(const QImage& image, double radius, double viewWidth) {
  QImage out(image.size(), QImage::Format_ARGB32_Premultiplied);
  out.fill(Qt::transparent);
  const double r = viewWidth > 0 ? radius * image.width() / viewWidth : 0;
  QPainter painter(&out);
  painter.setRenderHint(QPainter::Antialiasing);
  QPainterPath shape;
  shape.addRoundedRect(QRectF(out.rect()), r, r);
  painter.fillPath(shape, QBrush(image));
  return out;
}

}  // namespace

Avatar::Avatar(const QRectF& frame, std::optional<QColor> color) : View(frame) {
  setupView();
  setBackgroundColor(color);
}

void Avatar::setupView() {
  setBackgroundColor(colors::clear());
  avatarNode_ = new ImageView(QRectF(0, 0, frame().width(), frame().height()));
  addSubview(avatarNode_);
  setCornerRadius(frame().width() / 2);
  setClipsToBounds(true);
}

void Avatar::setup(const Person& person) {
  const double radius = frame().width() / 2;
  const QColor colour = backgroundColor().value_or(colors::red());
  std::optional<QImage> disc;
  if (auto placeholder = Placeholder::make(colour, frame().size())) disc = placeholder->circleMasked();
  avatarNode_->setImage(disc);
  const unsigned generation = ++generation_;
  QPointer<Avatar> self(this);
  const double width = frame().width();
  ImageLoader& loader = loader_ ? *loader_ : ImageLoader::shared();
  loader.load(person.avatar, [self, generation, radius, width](std::optional<QImage> image) {
    if (!self || self->generation_ != generation) return;
    if (image) self->avatarNode_->setImage(roundCorners(*image, radius, width));
    if (self->onLoadFinished) self->onLoadFinished(image.has_value());
  });
}

void Avatar::setAvatarImage(std::optional<QImage> image) { avatarNode_->setImage(std::move(image)); }

void Avatar::layoutSubviews() {
  View::layoutSubviews();
  QRectF f = frame();
  f.setWidth(avatarNode_->frame().width());
  setFrame(f);
  f.setHeight(avatarNode_->frame().height());
  setFrame(f);
}

}  // namespace tavrel::ui
