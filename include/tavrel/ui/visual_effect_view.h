#pragma once
// VisualEffectView: a translucent pane that blurs what lies below it in its
// window and lays a tint over the blur. It grabs the window's picture under
// its frame when it paints, without itself and its siblings above it.

#include <QColor>
#include <QImage>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class VisualEffectView : public View {
  Q_OBJECT
 public:
  explicit VisualEffectView(const QRectF& frame = {});

  QColor colorTint() const { return colorTint_; }
  void setColorTint(const QColor& color);
  double colorTintAlpha() const { return colorTintAlpha_; }
  void setColorTintAlpha(double alpha);
  // In points; 0 for no blur.
  double blurRadius() const { return blurRadius_; }
  void setBlurRadius(double radius);

  // `image` blurred in place with a Gaussian-like kernel of `radius`
  // pixels (three box passes each way).
  static void blur(QImage& image, double radius);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor colorTint_ = Qt::white;
  double colorTintAlpha_ = 0;
  double blurRadius_ = 0;
};

}  // namespace tavrel::ui
