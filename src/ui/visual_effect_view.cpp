#include "tavrel/ui/visual_effect_view.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <vector>

namespace tavrel::ui {
namespace {

// Draws into `target` (whose top left is `area`'s, in `window`'s
// coordinates) what lies below `self`: at each level from the window down,
// the level's background and the siblings under the path to `self`. The
// pane and whatever lies above it stay out of the picture.
void renderBelow(const QWidget* self, QWidget* window, QImage& target, const QRect& area) {
  std::vector<const QWidget*> path;
  for (const QWidget* w = self; w && w != window; w = w->parentWidget()) path.push_back(w);
  QPainter painter(&target);
  for (auto it = path.rbegin(); it != path.rend(); ++it) {
    const QWidget* parent = (*it)->parentWidget();
    const QPoint origin = parent->mapTo(window, QPoint(0, 0));
    if (const auto* view = qobject_cast<const View*>(parent); view && view->backgroundColor())
      painter.fillRect(QRect(origin - area.topLeft(), parent->size()), *view->backgroundColor());
    for (QObject* child : parent->children()) {
      if (child == *it) break;
      auto* sibling = qobject_cast<QWidget*>(child);
      if (!sibling || sibling->isWindow() || !sibling->isVisible()) continue;
      const QRect shown = QRect(sibling->mapTo(window, QPoint(0, 0)), sibling->size()).intersected(area);
      if (shown.isEmpty()) continue;
      sibling->render(&painter, shown.topLeft() - area.topLeft(),
                      QRegion(shown.translated(-sibling->mapTo(window, QPoint(0, 0)))),
                      QWidget::DrawWindowBackground | QWidget::DrawChildren);
    }
  }
}

// One box pass of half-width `r` along a line of `n` pixels, `stride` apart.
void boxLine(QRgb* line, int n, int stride, int r, std::vector<QRgb>& buffer) {
  buffer.resize(n);
  for (int i = 0; i < n; ++i) buffer[i] = line[i * stride];
  long sum[4] = {0, 0, 0, 0};
  auto add = [&](QRgb p, int sign) {
    sum[0] += sign * qAlpha(p);
    sum[1] += sign * qRed(p);
    sum[2] += sign * qGreen(p);
    sum[3] += sign * qBlue(p);
  };
  const int width = 2 * r + 1;
  auto at = [&](int i) { return buffer[std::clamp(i, 0, n - 1)]; };  // edges repeat
  for (int i = -r; i <= r; ++i) add(at(i), 1);
  for (int i = 0; i < n; ++i) {
    line[i * stride] = qRgba(int(sum[1] / width), int(sum[2] / width), int(sum[3] / width), int(sum[0] / width));
    add(at(i + r + 1), 1);
    add(at(i - r), -1);
  }
}

}  // namespace

VisualEffectView::VisualEffectView(const QRectF& frame) : View(frame) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void VisualEffectView::setColorTint(const QColor& color) {
  colorTint_ = color;
  QWidget::update();
}

void VisualEffectView::setColorTintAlpha(double alpha) {
  colorTintAlpha_ = alpha;
  QWidget::update();
}

void VisualEffectView::setBlurRadius(double radius) {
  blurRadius_ = radius;
  QWidget::update();
}

void VisualEffectView::blur(QImage& image, double radius) {
  // Three box passes each way come close to a Gaussian of this spread.
  const int r = static_cast<int>(std::lround(radius / 2));
  if (r <= 0 || image.isNull()) return;
  image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  const int w = image.width(), h = image.height();
  std::vector<QRgb> buffer;
  for (int pass = 0; pass < 3; ++pass) {
    for (int y = 0; y < h; ++y) boxLine(reinterpret_cast<QRgb*>(image.scanLine(y)), w, 1, r, buffer);
    auto* bits = reinterpret_cast<QRgb*>(image.bits());
    const int stride = static_cast<int>(image.bytesPerLine() / 4);
    for (int x = 0; x < w; ++x) boxLine(bits + x, h, stride, r, buffer);
  }
}

void VisualEffectView::paintEvent(QPaintEvent* event) {
  View::paintEvent(event);
  QPainter painter(this);
  QWidget* window = this->window();
  if (blurRadius_ > 0 && window != this) {
    // The picture under the pane, with a margin of the radius so that the
    // blur's edges take their colours from the content around.
    const double ratio = devicePixelRatioF();
    const int margin = static_cast<int>(std::ceil(blurRadius_));
    const QRect own(mapTo(window, QPoint(0, 0)), size());
    const QRect area = own.adjusted(-margin, -margin, margin, margin).intersected(window->rect());
    QImage below((area.size() * ratio), QImage::Format_ARGB32_Premultiplied);
    below.setDevicePixelRatio(ratio);
    below.fill(Qt::transparent);
    renderBelow(this, window, below, area);
    blur(below, blurRadius_ * ratio);
    painter.drawImage(QPointF(area.topLeft() - own.topLeft()), below);
  }
  QColor tint = colorTint_;
  tint.setAlphaF(static_cast<float>(colorTintAlpha_));
  painter.fillRect(rect(), tint);
}

}  // namespace tavrel::ui
