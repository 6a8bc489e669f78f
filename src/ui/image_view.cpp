#include "tavrel/ui/image_view.h"

#include <QPainter>
#include <map>
#include <string>

#include "tavrel/core/resources.h"

namespace tavrel::ui {
namespace {

// The question mark in a circle of the input bar's help button, as a
// template: only its alpha counts.
QImage questionCircle() {
  QImage image(64, 64, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing);
  p.setPen(QPen(Qt::black, 5));
  p.drawEllipse(QRectF(4, 4, 56, 56));
  QFont font;
  font.setPixelSize(40);
  font.setBold(true);
  p.setFont(font);
  p.drawText(QRectF(0, 2, 64, 60), Qt::AlignCenter, QStringLiteral("?"));
  return image;
}

std::map<std::string, QImage, std::less<>>& catalogue() {
  static auto* images = new std::map<std::string, QImage, std::less<>>{
      {std::string(R::drawable::questionCircle), questionCircle()}};
  return *images;
}

}  // namespace

ImageView::ImageView(const QRectF& frame, std::optional<QImage> image) : View(frame), image_(std::move(image)) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void ImageView::setImage(std::optional<QImage> image) {
  image_ = std::move(image);
  update();
}

void ImageView::setRenderingMode(RenderingMode mode) {
  mode_ = mode;
  update();
}

std::optional<QImage> ImageView::imageNamed(std::string_view name) {
  auto& images = catalogue();
  auto it = images.find(name);
  if (it == images.end()) return std::nullopt;
  return it->second;
}

void ImageView::registerImage(std::string_view name, const QImage& image) {
  catalogue().insert_or_assign(std::string(name), image);
}

void ImageView::paintEvent(QPaintEvent* event) {
  View::paintEvent(event);
  if (!image_ || image_->isNull() || width() <= 0 || height() <= 0) return;
  const qreal ratio = devicePixelRatioF();
  QImage shown = image_->scaled(QSize(int(width() * ratio), int(height() * ratio)), Qt::IgnoreAspectRatio,
                                Qt::SmoothTransformation)
                     .convertToFormat(QImage::Format_ARGB32_Premultiplied);
  if (mode_ == RenderingMode::alwaysTemplate) {
    QPainter tint(&shown);
    tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
    tint.fillRect(shown.rect(), tintColor());
  }
  shown.setDevicePixelRatio(ratio);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.fillPath(clipPath(), QBrush(shown));
}

}  // namespace tavrel::ui
