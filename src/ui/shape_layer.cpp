#include "tavrel/ui/shape_layer.h"

#include <QPainter>
#include <QVariantAnimation>
#include <numbers>

#include "tavrel/ui/animation_clock.h"

namespace tavrel::ui {

ShapeLayer::ShapeLayer(const QRectF& frame) : View(frame) { setAttribute(Qt::WA_TransparentForMouseEvents); }

void ShapeLayer::setPath(const QPainterPath& path) {
  path_ = path;
  update();
}

void ShapeLayer::setStrokeColor(std::optional<QColor> color) {
  stroke_ = color;
  update();
}

void ShapeLayer::setFillColor(std::optional<QColor> color) {
  fill_ = color;
  update();
}

void ShapeLayer::setLineWidth(double width) {
  lineWidth_ = width;
  update();
}

void ShapeLayer::setLineCap(Qt::PenCapStyle cap) {
  cap_ = cap;
  update();
}

void ShapeLayer::setRotation(double radians) {
  rotation_ = radians;
  update();
}

void ShapeLayer::addRepeatingRotation(double from, double to, double seconds) {
  auto* spin = new QVariantAnimation(this);
  spin->setStartValue(from);
  spin->setEndValue(to);
  spin->setDuration(static_cast<int>(seconds * 1000));
  spin->setLoopCount(-1);
  connect(spin, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) { setRotation(v.toDouble()); });
  AnimationClock::shared().run(spin);
}

void ShapeLayer::paintEvent(QPaintEvent* event) {
  View::paintEvent(event);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QPointF mid = bounds().center();
  painter.translate(mid);
  painter.rotate(rotation_ * 180 / std::numbers::pi);
  painter.translate(-mid);
  if (fill_) painter.fillPath(path_, *fill_);
  if (stroke_ && lineWidth_ > 0) {
    QPen pen(*stroke_, lineWidth_);
    pen.setCapStyle(cap_);
    painter.strokePath(path_, pen);
  }
}

}  // namespace tavrel::ui
