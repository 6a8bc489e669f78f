#include "tavrel/ui/safe_area_layout_guide.h"

#include "tavrel/ui/layout_helpers.h"

namespace tavrel::ui {

QRectF compatibleSafeAreaLayoutGuide(const View& view) {
  const QWidget* window = view.window();
  const EdgeInsets in = Application::safeArea();
  const QRectF safe = QRectF(window->rect()).adjusted(in.left, in.top, -in.right, -in.bottom);
  const QPointF origin = view.mapFrom(window, QPointF(0, 0));
  return safe.translated(origin).intersected(view.bounds());
}

}  // namespace tavrel::ui
