#include "tavrel/ui/app_state_bridge.h"

#include <QGuiApplication>

#include "tavrel/device/notification_center.h"

namespace tavrel::ui {

AppStateBridge::AppStateBridge() : active_(QGuiApplication::applicationState() == Qt::ApplicationActive) {
  connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, &AppStateBridge::applicationStateChanged);
}

void AppStateBridge::applicationStateChanged(Qt::ApplicationState state) {
  const bool active = state == Qt::ApplicationActive;
  if (active == active_) return;
  active_ = active;
  NotificationCenter::defaultCenter().post(active ? UIApplicationDidBecomeActiveNotification
                                                  : UIApplicationWillResignActiveNotification);
}

}  // namespace tavrel::ui
