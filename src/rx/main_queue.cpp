#include "tavrel/rx/main_queue.h"

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

MainQueue& MainQueue::shared() {
  static MainQueue* queue = new MainQueue();  // never destroyed: tasks may outlive statics
  return *queue;
}

void MainQueue::post(std::function<void()> task) {
  std::shared_ptr<const std::function<void()>> hook;
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    ++changes_;
    hook = wakeHook_;
  }
  wake_.notify_all();
  if (hook) (*hook)();
}

Disposable MainQueue::postAfter(Duration delay, std::function<void()> task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  std::shared_ptr<const std::function<void()>> hook;
  {
    std::lock_guard lock(mutex_);
    timers_.emplace(Clock::now() + delay, Timer{std::move(task), cancelled});
    ++changes_;
    hook = wakeHook_;
  }
  wake_.notify_all();
  if (hook) (*hook)();
  return Disposable::create([cancelled] { cancelled->store(true); });
}

void MainQueue::runTask(const std::function<void()>& task) {
  try {
    task();
  } catch (...) {
    detail::reportCallbackException("main queue task", std::current_exception());
  }
}

void MainQueue::enterDrain() {
  const auto me = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  drainerLeft_.wait(lock, [&] { return drainDepth_ == 0 || drainer_ == me; });
  drainer_ = me;
  ++drainDepth_;
  mainThread_.store(me);
}

void MainQueue::leaveDrain() {
  {
    std::lock_guard lock(mutex_);
    if (--drainDepth_ > 0) return;
    drainer_ = {};
  }
  drainerLeft_.notify_all();
}

std::size_t MainQueue::drainPending() {
  enterDrain();
  struct Leave {
    MainQueue& queue;
    ~Leave() { queue.leaveDrain(); }
  } leave{*this};
  // Tasks are taken one at a time, so that a nested drain keeps the order.
  std::uint64_t end = 0;
  TimePoint now;
  {
    std::lock_guard lock(mutex_);
    end = taken_ + tasks_.size();
    now = Clock::now();
  }
  std::size_t ran = 0;
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (taken_ >= end || tasks_.empty()) break;
      task = std::move(tasks_.front());
      tasks_.pop_front();
      ++taken_;
    }
    runTask(task);
    ++ran;
  }
  for (;;) {
    Timer timer;
    {
      std::lock_guard lock(mutex_);
      if (timers_.empty() || timers_.begin()->first > now) break;
      timer = std::move(timers_.begin()->second);
      timers_.erase(timers_.begin());
    }
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
    const auto now = Clock::now();
    if (now >= deadline) return false;
    if (!tasks_.empty() || (!timers_.empty() && timers_.begin()->first <= now)) continue;
    auto wakeAt = deadline;
    if (!timers_.empty() && timers_.begin()->first < wakeAt) wakeAt = timers_.begin()->first;
    // Any new task or timer ends the wait: a timer added by another thread
    // may be due before `wakeAt`.
    const auto seen = changes_;
    wake_.wait_until(lock, wakeAt, [&] { return changes_ != seen; });
  }
}

void MainQueue::runFor(Duration duration) {
  runUntil([] { return false; }, duration);
}

void MainQueue::setWakeHook(std::function<void()> hook) {
  std::lock_guard lock(mutex_);
  wakeHook_ = hook ? std::make_shared<const std::function<void()>>(std::move(hook)) : nullptr;
}

std::optional<TimePoint> MainQueue::nextTimerDue() const {
  std::lock_guard lock(mutex_);
  if (timers_.empty()) return std::nullopt;
  return timers_.begin()->first;
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
