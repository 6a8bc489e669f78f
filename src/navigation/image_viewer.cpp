#include "tavrel/navigation/image_viewer.h"

#include <QMouseEvent>
#include <QPointer>
#include <algorithm>

#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/image_loader.h"

namespace tavrel::navigation {

QString ImageViewer::closeButtonText = QStringLiteral("Close");

ImageViewer::ImageViewer(std::vector<std::string> urls, long startIndex)
    : urls_(std::move(urls)),
      image_(new ui::ImageView()),
      counter_(new ui::Label()),
      close_(new ui::Control()),
      closeLabel_(new ui::Label()) {
  setBackgroundColor(ui::colors::black());
  addSubview(image_);
  counter_->setTextColor(ui::colors::white());
  counter_->setFont(ui::Font::system(15));
  counter_->setTextAlignment(Qt::AlignCenter);
  addSubview(counter_);
  closeLabel_->setText(closeButtonText);
  closeLabel_->setFont(ui::Font::system(22));
  closeLabel_->setTextColor(ui::colors::white());
  closeLabel_->setTextAlignment(Qt::AlignCenter);
  closeLabel_->setUserInteractionEnabled(false);
  close_->addSubview(closeLabel_);
  addSubview(close_);
  connect(close_, &ui::Control::touchUpInside, this, &ImageViewer::close);
  showImage(startIndex);
}

void ImageViewer::showImage(long index) {
  if (urls_.empty()) {
    counter_->setText({});
    return;
  }
  index_ = std::clamp(index, 0L, static_cast<long>(urls_.size()) - 1);
  counter_->setText(QStringLiteral("%1 / %2").arg(index_ + 1).arg(urls_.size()));
  image_->setImage(std::nullopt);
  QPointer<ImageViewer> self(this);
  const long wanted = index_;
  ui::ImageLoader::shared().load(urls_[static_cast<std::size_t>(index_)], [self, wanted](std::optional<QImage> image) {
    if (self && self->index_ == wanted) self->image_->setImage(std::move(image));
  });
}

void ImageViewer::close() {
  removeFromSuperview();
  deleteLater();
}

void ImageViewer::layoutSubviews() {
  const QRectF b = bounds();
  // The image keeps its proportions, as large as fits.
  QSizeF size = image_->image() ? QSizeF(image_->image()->size()) : QSizeF(b.width(), b.width());
  size.scale(b.size() - QSizeF(0, 120), Qt::KeepAspectRatio);
  image_->setFrame(QRectF(QPointF((b.width() - size.width()) / 2, (b.height() - size.height()) / 2), size));
  counter_->setFrame(QRectF(60, 20, b.width() - 120, 44));
  close_->setFrame(QRectF(b.width() - 60, 16, 52, 52));
  closeLabel_->setFrame(close_->bounds());
}

void ImageViewer::mouseReleaseEvent(QMouseEvent* event) {
  const double x = event->position().x();
  if (x < bounds().width() / 3) showImage(index_ - 1);
  else if (x > bounds().width() * 2 / 3) showImage(index_ + 1);
  ui::Control::mouseReleaseEvent(event);
}

}  // namespace tavrel::navigation
