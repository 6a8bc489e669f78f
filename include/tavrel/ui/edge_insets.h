#pragma once
// Insets of a rectangle: top, left, bottom, right, in points.

#include <QRectF>

namespace tavrel::ui {

struct EdgeInsets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;

  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

// `rect` shrunk by the insets (grown by negative ones).
inline QRectF insetRect(const QRectF& rect, const EdgeInsets& in) {
  return {rect.x() + in.left, rect.y() + in.top, rect.width() - in.left - in.right,
          rect.height() - in.top - in.bottom};
}

}  // namespace tavrel::ui
