#include "tavrel/ui/placeholder.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <cmath>

namespace tavrel::ui {

std::optional<Placeholder> Placeholder::make(const QColor& color, const QSizeF& size) {
  const QScreen* screen = QGuiApplication::primaryScreen();
  const double ratio = screen ? screen->devicePixelRatio() : 1.0;
  const QSize pixels(static_cast<int>(std::lround(size.width() * ratio)),
                     static_cast<int>(std::lround(size.height() * ratio)));
  if (pixels.isEmpty()) return std::nullopt;
  QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(color);
  return Placeholder(std::move(image));
}

QRectF Placeholder::cropRect() const {
  double x = 0, y = 0;
  if (isLandscape()) x = std::floor((size().width() - size().height()) / 2);
  if (isPortrait()) y = std::floor((size().height() - size().width()) / 2);
  return {QPointF(x, y), breadthSize()};
}

std::optional<QImage> Placeholder::circleMasked() const {
  if (image_.isNull()) return std::nullopt;
  const double ratio = image_.devicePixelRatio();
  const QRectF crop = cropRect();
  const QRect pixels(static_cast<int>(crop.x() * ratio), static_cast<int>(crop.y() * ratio),
                     static_cast<int>(crop.width() * ratio), static_cast<int>(crop.height() * ratio));
  const QImage square = image_.copy(pixels);
  QImage out(square.size(), QImage::Format_ARGB32_Premultiplied);
  out.fill(Qt::transparent);
  {
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath circle;
    circle.addEllipse(QRectF(out.rect()));
    painter.fillPath(circle, QBrush(square));
  }
  out.setDevicePixelRatio(ratio);
  return out;
}

}  // namespace tavrel::ui
