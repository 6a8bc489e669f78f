#include "tavrel/ui/layout_helpers.h"

#include <QApplication>
#include <QGuiApplication>
#include <QWidget>

namespace tavrel::ui {
namespace {

std::optional<EdgeInsets>& safeAreaOverride() {
  static std::optional<EdgeInsets> insets;
  return insets;
}

QSizeF screenSize(const QScreen* screen) {
  if (!screen) screen = QGuiApplication::primaryScreen();
  return screen ? QSizeF(screen->size()) : QSizeF();
}

}  // namespace

void Application::setSafeAreaOverride(std::optional<EdgeInsets> insets) { safeAreaOverride() = insets; }

EdgeInsets Application::safeArea() {
  if (safeAreaOverride()) return *safeAreaOverride();
  QWidget* window = QApplication::activeWindow();
  if (!window) {
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget* w : windows)
      if (w->isVisible()) {
        window = w;
        break;
      }
  }
  if (!window) return {};
  // A widget that respects the safe area lays its contents inside it: what
  // the contents rectangle loses beyond the margins set by hand is the safe
  // area.
  const QMargins set = window->contentsMargins();
  const QRect inner = window->contentsRect();
  const QRect outer = window->rect();
  return {double(inner.top() - outer.top() - set.top()), double(inner.left() - outer.left() - set.left()),
          double(outer.bottom() - inner.bottom() - set.bottom()), double(outer.right() - inner.right() - set.right())};
}

bool Device::isIPad(const QScreen* screen) {
  const QSizeF size = screenSize(screen);
  return std::min(size.width(), size.height()) >= 768;
}

bool Device::isIPhone(const QScreen* screen) { return !isIPad(screen); }

bool Device::isIPhone4(const QScreen* screen) { return isIPhone(screen) && screenSize(screen).height() < 568; }

}  // namespace tavrel::ui
