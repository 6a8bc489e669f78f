#pragma once
// AppStateService: whether the application is in the foreground, as streams.
// It watches the two application notifications of the default
// NotificationCenter (notification_center.h), which the host posts.

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/event.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

class AppStateService {
 public:
  // The one instance, made at first use; from then on it observes the
  // notifications. It lives until the process ends.
  static AppStateService& shared();

  AppStateService(const AppStateService&) = delete;
  AppStateService& operator=(const AppStateService&) = delete;
  ~AppStateService();

  // One event each time the application moves to the background. Nothing on
  // subscription in the foreground.
  rx::Observable<rx::Unit> onBackground() const;
  // One event each time the application comes back to the foreground, and one
  // at once on subscription while it is in the foreground.
  rx::Observable<rx::Unit> onForeground() const;

 private:
  AppStateService();
  // On UIApplicationWillResignActiveNotification.
  void appMovedToBackground();
  // On UIApplicationDidBecomeActiveNotification.
  void appMovedToForeground();

  rx::DisposeBag disposeBag;
  // True between resigning active and becoming active again.
  rx::BehaviorRelay<bool> isBackground{false};
};

}  // namespace tavrel
