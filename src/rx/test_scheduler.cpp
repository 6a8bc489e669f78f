#include "tavrel/rx/test_scheduler.h"

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

TimePoint TestScheduler::now() const {
  std::lock_guard lock(mutex_);
  return now_;
}

Disposable TestScheduler::schedule(std::function<void()> task) { return scheduleAfter(Duration::zero(), std::move(task)); }

Disposable TestScheduler::scheduleAfter(Duration delay, std::function<void()> task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  {
    std::lock_guard lock(mutex_);
    auto at = now_ + (delay > Duration::zero() ? delay : Duration::zero());
    tasks_.emplace(std::make_pair(at, sequence_++), Task{std::move(task), cancelled});
  }
  return Disposable::create([cancelled] { cancelled->store(true); });
}

bool TestScheduler::runNext(const TimePoint* limit) {
  Task task;
  {
    std::lock_guard lock(mutex_);
    if (tasks_.empty()) return false;
    auto it = tasks_.begin();
    if (limit && it->first.first > *limit) return false;
    if (it->first.first > now_) now_ = it->first.first;
    task = std::move(it->second);
    tasks_.erase(it);
  }
  if (task.cancelled->load()) return true;
  try {
    task.run();
  } catch (...) {
    detail::reportCallbackException("test scheduler task", std::current_exception());
  }
  return true;
}

void TestScheduler::advanceBy(Duration delta) { advanceTo(now() + delta); }

void TestScheduler::advanceTo(TimePoint time) {
  while (runNext(&time)) {
  }
  std::lock_guard lock(mutex_);
  if (time > now_) now_ = time;
}

void TestScheduler::start() {
  while (runNext(nullptr)) {
  }
}

}  // namespace tavrel::rx
