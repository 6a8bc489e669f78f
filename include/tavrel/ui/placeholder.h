#pragma once
// Placeholder: the one-colour image that stands in for a picture until it
// has loaded, and the crop of an image to its centred square clipped to a
// circle.

#include <QColor>
#include <QImage>
#include <QSizeF>
#include <optional>

namespace tavrel::ui {

class Placeholder {
 public:
  // An image of `size` points filled with `color`, at the screen's pixel
  // ratio; nothing for an empty size.
  static std::optional<Placeholder> make(const QColor& color, const QSizeF& size = {1, 1});
  explicit Placeholder(QImage image) : image_(std::move(image)) {}

  const QImage& image() const { return image_; }
  // In points: pixels over the image's pixel ratio.
  QSizeF size() const { return image_.deviceIndependentSize(); }
  bool isPortrait() const { return size().height() > size().width(); }
  bool isLandscape() const { return size().width() > size().height(); }
  double breadth() const { return std::min(size().width(), size().height()); }
  QSizeF breadthSize() const { return {breadth(), breadth()}; }
  QRectF breadthRect() const { return {QPointF(0, 0), breadthSize()}; }
  // Where the centred square is cut from, in points.
  QRectF cropRect() const;
  // The centred square clipped to a circle; nothing for an empty image.
  std::optional<QImage> circleMasked() const;

 private:
  QImage image_;
};

}  // namespace tavrel::ui
