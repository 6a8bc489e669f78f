#pragma once
// ShapeLayer: a path stroked and filled over its bounds, turned by a
// rotation about its centre. It takes no touches.

#include <QPainterPath>
#include <optional>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class ShapeLayer : public View {
  Q_OBJECT
 public:
  explicit ShapeLayer(const QRectF& frame = {});

  void setPath(const QPainterPath& path);
  const QPainterPath& path() const { return path_; }
  void setStrokeColor(std::optional<QColor> color);
  std::optional<QColor> strokeColor() const { return stroke_; }
  void setFillColor(std::optional<QColor> color);
  void setLineWidth(double width);
  double lineWidth() const { return lineWidth_; }
  void setLineCap(Qt::PenCapStyle cap);
  // Radians, clockwise on screen.
  void setRotation(double radians);
  double rotation() const { return rotation_; }

  // Turns the layer from `from` to `to` radians over `seconds`, again and
  // again until the layer goes away; on the animation clock.
  void addRepeatingRotation(double from, double to, double seconds);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPainterPath path_;
  std::optional<QColor> stroke_ = QColor(Qt::black);
  std::optional<QColor> fill_ = QColor(Qt::black);
  double lineWidth_ = 1;
  Qt::PenCapStyle cap_ = Qt::FlatCap;
  double rotation_ = 0;
};

}  // namespace tavrel::ui
