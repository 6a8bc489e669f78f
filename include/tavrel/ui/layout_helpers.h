#pragma once
// Layout helpers the views share: the safe area of the application's window
// and the device classes, worked out from the screen.

#include <QScreen>
#include <optional>

#include "tavrel/ui/edge_insets.h"

class QWidget;

namespace tavrel::ui {

class Application {
 public:
  // The insets of the active window (else the first top-level one) that its
  // content must keep clear of, as the platform reports them: a notch, a
  // home indicator, a status bar; all 0 without a window or on a desktop.
  // A host whose platform reports none can set its own.
  static EdgeInsets safeArea();
  static void setSafeAreaOverride(std::optional<EdgeInsets> insets);
};

class Device {
 public:
  // A tablet: a screen whose shorter side is 768 points or more.
  static bool isIPad(const QScreen* screen = nullptr);
  // A phone: any other screen.
  static bool isIPhone(const QScreen* screen = nullptr);
  // A phone whose screen is less than 568 points high.
  static bool isIPhone4(const QScreen* screen = nullptr);
};

}  // namespace tavrel::ui
