#include "tavrel/device/app_state_service.h"

#include "tavrel/device/notification_center.h"

namespace tavrel {

AppStateService& AppStateService::shared() {
  // Never destroyed: observers may still post while the process exits.
  static auto* instance = new AppStateService();
  return *instance;
}

AppStateService::AppStateService() {
  auto& center = NotificationCenter::defaultCenter();
  center.addObserver(this, UIApplicationWillResignActiveNotification,
                     [this] { appMovedToBackground(); });
  center.addObserver(this, UIApplicationDidBecomeActiveNotification,
                     [this] { appMovedToForeground(); });
}

AppStateService::~AppStateService() {
  auto& center = NotificationCenter::defaultCenter();
  center.removeObserver(this, UIApplicationWillResignActiveNotification);
  center.removeObserver(this, UIApplicationDidBecomeActiveNotification);
}

void AppStateService::appMovedToBackground() { isBackground.accept(true); }

void AppStateService::appMovedToForeground() { isBackground.accept(false); }

rx::Observable<rx::Unit> AppStateService::onBackground() const {
  return isBackground.asObservable()
      .distinctUntilChanged()
      .filter([](bool background) { return background; })
      .map([](bool) { return rx::Unit{}; });
}

rx::Observable<rx::Unit> AppStateService::onForeground() const {
  return isBackground.asObservable()
      .distinctUntilChanged()
      .filter([](bool background) { return !background; })
      .map([](bool) { return rx::Unit{}; });
}

}  // namespace tavrel
