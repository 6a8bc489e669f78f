#pragma once
// The safe area as a view sees it: the part of its bounds that lies inside
// the safe area of its window (Application::safeArea), in the view's own
// coordinates. A view outside any window, or on a desktop without insets,
// gets its whole bounds.

#include <QRectF>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

QRectF compatibleSafeAreaLayoutGuide(const View& view);

}  // namespace tavrel::ui
