#include "tavrel/device/notification_center.h"

#include <algorithm>
#include <exception>
#include <thread>

#include "tavrel/core/exception_text.h"
#include "tavrel/core/log.h"

namespace tavrel {

struct NotificationCenter::Entry {
  const void* observer;
  std::string name;
  InfoCallback callback;
  // Both guarded by the centre's mutex.
  bool removed = false;
  std::vector<std::thread::id> callers;  // threads inside the callback now
};

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

void NotificationCenter::addObserver(const void* observer, std::string_view name, Callback callback) {
  addObserver(observer, name, InfoCallback([callback = std::move(callback)](const UserInfo&) { callback(); }));
}

void NotificationCenter::addObserver(const void* observer, std::string_view name, InfoCallback callback) {
  auto entry = std::make_shared<Entry>(Entry{observer, std::string(name), std::move(callback), false, {}});
  std::lock_guard lock(mutex_);
  entries_.push_back(std::move(entry));
}

template <class Match>
void NotificationCenter::remove(Match match) {
  std::unique_lock lock(mutex_);
  std::vector<std::shared_ptr<Entry>> removed;
  std::erase_if(entries_, [&](const std::shared_ptr<Entry>& e) {
    if (!match(*e)) return false;
    e->removed = true;
    removed.push_back(e);
    return true;
  });
  const auto self = std::this_thread::get_id();
  callbackLeft_.wait(lock, [&] {
    return std::ranges::all_of(removed, [&](const auto& e) {
      return std::ranges::all_of(e->callers, [&](auto id) { return id == self; });
    });
  });
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name) {
  remove([&](const Entry& e) { return e.observer == observer && e.name == name; });
}

void NotificationCenter::removeObserver(const void* observer) {
  remove([&](const Entry& e) { return e.observer == observer; });
}

void NotificationCenter::post(std::string_view name) { post(name, UserInfo{}); }

void NotificationCenter::post(std::string_view name, const UserInfo& userInfo) {
  std::vector<std::shared_ptr<Entry>> targets;
  {
    std::lock_guard lock(mutex_);
    for (const auto& e : entries_)
      if (e->name == name) targets.push_back(e);
  }
  const auto self = std::this_thread::get_id();
  for (const auto& e : targets) {
    {
      std::lock_guard lock(mutex_);
      if (e->removed) continue;
      e->callers.push_back(self);
    }
    try {
      e->callback(userInfo);
    } catch (...) {
      debugPrint("NotificationCenter: an observer of " + std::string(name) +
                 " threw: " + describeException(std::current_exception()));
    }
    {
      std::lock_guard lock(mutex_);
      e->callers.erase(std::ranges::find(e->callers, self));
    }
    callbackLeft_.notify_all();
  }
}

}  // namespace tavrel
