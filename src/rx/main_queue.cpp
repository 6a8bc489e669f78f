#include "tavrel/rx/main_queue.h"

#include <vector>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

MainQueue& MainQueue::shared() {
  static MainQueue* queue = new MainQueue();  // never destroyed: tasks may outlive statics
  return *queue;
}

void MainQueue::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_all();
}

Disposable MainQueue::postAfter(Duration delay, std::function<void()> task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  {
    std::lock_guard lock(mutex_);
    timers_.emplace(Clock::now() + delay, Timer{std::move(task), cancelled});
  }
  wake_.notify_all();
  return Disposable::create([cancelled] { cancelled->store(true); });
}

void MainQueue::runTask(const std::function<void()>& task) {
  try {
    task();
  } catch (...) {
    detail::reportCallbackException("main queue task", std::current_exception());
  }
}

std::size_t MainQueue::drainPending() {
  makeCurrentThread();
  std::deque<std::function<void()>> tasks;
  std::vector<Timer> due;
  {
    std::lock_guard lock(mutex_);
    tasks.swap(tasks_);
    auto end = timers_.upper_bound(Clock::now());
    for (auto it = timers_.begin(); it != end; ++it) due.push_back(std::move(it->second));
    timers_.erase(timers_.begin(), end);
  }
  std::size_t ran = 0;
  for (auto& task : tasks) {
    runTask(task);
    ++ran;
  }
  for (auto& timer : due) {
    if (timer.cancelled->load()) continue;
    runTask(timer.task);
    ++ran;
  }
  return ran;
}

bool MainQueue::runUntil(const std::function<bool()>& done, Duration timeout) {
  const auto deadline = Clock::now() + timeout;
  for (;;) {
    drainPending();
    if (done()) return true;
    std::unique_lock lock(mutex_);
    if (!tasks_.empty()) continue;
    auto wakeAt = deadline;
    if (!timers_.empty() && timers_.begin()->first < wakeAt) wakeAt = timers_.begin()->first;
    if (Clock::now() >= deadline) return false;
    wake_.wait_until(lock, wakeAt, [this] { return !tasks_.empty(); });
  }
}

void MainQueue::runFor(Duration duration) {
  runUntil([] { return false; }, duration);
}

void MainQueue::makeCurrentThread() { mainThread_.store(std::this_thread::get_id()); }

bool MainQueue::isCurrent() const { return mainThread_.load() == std::this_thread::get_id(); }

std::shared_ptr<MainScheduler> MainScheduler::instance() {
  static auto scheduler = std::make_shared<MainScheduler>();
  return scheduler;
}

TimePoint MainScheduler::now() const { return Clock::now(); }

Disposable MainScheduler::schedule(std::function<void()> task) {
  auto& queue = MainQueue::shared();
  if (queued_.fetch_add(1) == 0 && queue.isCurrent()) {
    try {
      task();
    } catch (...) {
      detail::reportCallbackException("main scheduler task", std::current_exception());
    }
    queued_.fetch_sub(1);
    return Disposable();
  }
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  queue.post([this, task = std::move(task), cancelled] {
    struct Done {
      std::atomic<std::int64_t>& queued;
      ~Done() { queued.fetch_sub(1); }
    } done{queued_};
    if (!cancelled->load()) task();
  });
  return Disposable::create([cancelled] { cancelled->store(true); });
}

Disposable MainScheduler::scheduleAfter(Duration delay, std::function<void()> task) {
  return MainQueue::shared().postAfter(delay, std::move(task));
}

}  // namespace tavrel::rx
