#pragma once
// ProgressView: the spinner, an open ring of three quarters of a circle that
// turns once a second for ever, from construction until the view goes away.

#include "tavrel/ui/shape_layer.h"
#include "tavrel/ui/view.h"

namespace tavrel::ui {

class ProgressView : public View {
  Q_OBJECT
 public:
  // A square of 2 × radius at the origin.
  explicit ProgressView(double radius = 5.0, const QColor& color = Qt::black, double width = 1.0);
  ProgressView(const QRectF& frame, const QColor& color, double width);

  // The ring's colour; the one given at construction is kept as it was.
  void setRingColor(const QColor& color);
  ShapeLayer& ring() { return *progress_; }

 private:
  void setupView();

  ShapeLayer* progress_ = nullptr;
  QColor color_;
  double width_;
};

}  // namespace tavrel::ui
