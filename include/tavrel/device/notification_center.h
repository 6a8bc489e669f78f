#pragma once
// NotificationCenter: named notifications, delivered to the observers of that
// name synchronously, on the thread that posts. The host posts the two
// application notifications below when its application leaves and regains
// the foreground; AppStateService listens to them.
//
//     auto& center = NotificationCenter::defaultCenter();
//     center.addObserver(this, UIApplicationDidBecomeActiveNotification, [this] { ... });
//     center.post(UIApplicationDidBecomeActiveNotification);
//     center.removeObserver(this, UIApplicationDidBecomeActiveNotification);
//
// Thread-safe. No lock is held while an observer's callback runs, so a
// callback may post, add observers, or remove any observer, itself included.
// Once `removeObserver` returns, that observer's callbacks no longer start,
// and none is still running on another thread (one running on the calling
// thread, the observer removing itself, is not waited for). So never remove
// an observer while holding a lock that its callback takes, and do not have
// two callbacks on two threads remove each other at the same moment.

#include <any>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel {

// Posted when the application is about to leave the foreground (a system
// dialog or the task switcher counts).
inline constexpr std::string_view UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";
// Posted when the application has come (back) to the foreground.
inline constexpr std::string_view UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";

class NotificationCenter {
 public:
  using Callback = std::function<void()>;
  // What a notification carries besides its name, by key.
  using UserInfo = std::map<std::string, std::any, std::less<>>;
  using InfoCallback = std::function<void(const UserInfo&)>;

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // The process-wide centre, where the application notifications are posted.
  static NotificationCenter& defaultCenter();

  // Calls `callback` on every later post of `name`. The observer is an
  // identity only (usually `this`); it is never dereferenced. One observer may
  // watch several names, and the same name more than once.
  void addObserver(const void* observer, std::string_view name, Callback callback);
  // The same, for an observer that reads what the post carries.
  void addObserver(const void* observer, std::string_view name, InfoCallback callback);
  // Ends every registration of `observer` for `name`.
  void removeObserver(const void* observer, std::string_view name);
  // Ends every registration of `observer`.
  void removeObserver(const void* observer);

  // Calls the observers of `name` registered when the post began, in the
  // order they were added, on this thread; each one removed meanwhile is
  // skipped. An exception from a callback is written to the debug sink and
  // the next observer is called.
  void post(std::string_view name);
  // The same, handing `userInfo` to each observer.
  void post(std::string_view name, const UserInfo& userInfo);

 private:
  struct Entry;
  template <class Match>
  void remove(Match match);

  std::mutex mutex_;
  std::condition_variable callbackLeft_;
  std::vector<std::shared_ptr<Entry>> entries_;
};

}  // namespace tavrel
