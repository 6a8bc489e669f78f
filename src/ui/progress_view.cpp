#include "tavrel/ui/progress_view.h"

#include <numbers>

#include "tavrel/ui/colors.h"
#include "tavrel/ui/loading_view.h"

namespace tavrel::ui {

ProgressView::ProgressView(double radius, const QColor& color, double width)
    : ProgressView(QRectF(0, 0, 2 * radius, 2 * radius), color, width) {}

ProgressView::ProgressView(const QRectF& frame, const QColor& color, double width)
    : View(frame), color_(color), width_(width) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setupView();
}

void ProgressView::setupView() {
  const double w = frame().width();
  progress_ = new ShapeLayer(QRectF(0, 0, (w / 2) * 2, (w / 2) * 2));
  progress_->setStrokeColor(color_);
  progress_->setLineWidth(width_);
  progress_->setFillColor(std::nullopt);
  progress_->setLineCap(Qt::RoundCap);
  // From 3 o'clock, clockwise on screen, three quarters round.
  const double r = w / 2 - width_ / 2;
  const QRectF circle(w / 2 - r, w / 2 - r, 2 * r, 2 * r);
  QPainterPath arc;
  arc.arcMoveTo(circle, 0);
  arc.arcTo(circle, 0, -270);
  progress_->setPath(arc);
  addSubview(progress_);
  progress_->addRepeatingRotation(0, std::numbers::pi * 2, 1.0);
}

void ProgressView::setRingColor(const QColor& color) { progress_->setStrokeColor(color); }

LoadingView::LoadingView(const QRectF& frame) : View(frame) {
  setBackgroundColor(colors::white());
  progressView_ = new ProgressView(22.5, colors::black(), 2.0);
  addSubview(progressView_);
}

void LoadingView::setTintColor(std::optional<QColor> color) {
  View::setTintColor(color);
  progressView_->setRingColor(tintColor());
}

void LoadingView::layoutSubviews() {
  View::layoutSubviews();
  // The own centre, from the superview's coordinates into the view's own.
  progressView_->setCenter(center() - frame().topLeft());
}

}  // namespace tavrel::ui
