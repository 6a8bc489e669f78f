#pragma once
// The library's main queue and the scheduler on top of it.
//
// The library starts no thread for its "main thread": the host drains
// `MainQueue::shared()` from its own loop (a UI loop calls `drainPending()`
// on every turn, a command-line tool calls `runUntil`). The thread that drains
// is the main thread for `isCurrent()`.
//
// One thread drains at a time. A second thread that calls `drainPending`,
// `runUntil` or `runFor` while another is running tasks waits until that
// pass is over, then drains in its turn and becomes the main thread; so never
// drain from a thread that a main-queue task is waiting for. The draining
// thread may drain again from inside a task (a nested loop): it runs the
// queue's oldest tasks, and the outer pass goes on after them, in order.
//
// Timers fire on time whoever schedules them: `runUntil` wakes for a new
// timer as it does for a new task.
//
// A task that throws is caught by the queue, reported through `debugPrint`,
// and the queue goes on with the next task.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/scheduler.h"

namespace tavrel::rx {

class MainQueue {
 public:
  // The one main queue of the process.
  static MainQueue& shared();

  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  // Queues `task` to run on the main thread, after what is already queued.
  // Any thread.
  void post(std::function<void()> task);
  // Queues `task` once `delay` has passed; disposing cancels it. Any thread.
  Disposable postAfter(Duration delay, std::function<void()> task);

  // Runs the tasks queued before this call and the timers due by now, on the
  // calling thread, which becomes the main thread. Tasks posted meanwhile wait
  // for the next drain. Returns how many tasks ran.
  std::size_t drainPending();
  // Drains, waiting for new tasks and timers in between, until `done()` is
  // true (checked after each drain) or `timeout` has passed. Returns `done()`.
  bool runUntil(const std::function<bool()>& done, Duration timeout);
  // Drains, waiting for new tasks and timers in between, for `duration`.
  void runFor(Duration duration);

  // Called, on the posting thread and outside the queue's lock, after each
  // `post` and `postAfter`: a host loop that sleeps in its own wait (a UI
  // toolkit's) wakes there and drains. Set it before posting starts, from
  // the main thread; an empty function removes it.
  void setWakeHook(std::function<void()> hook);
  // When the earliest timer still queued is due, if any.
  std::optional<TimePoint> nextTimerDue() const;

  // Registers the calling thread as the main thread without draining.
  void makeCurrentThread();
  // Whether the calling thread is the main thread (the one that drains or
  // registered itself).
  bool isCurrent() const;

 private:
  MainQueue() = default;
  struct Timer {
    std::function<void()> task;
    std::shared_ptr<std::atomic<bool>> cancelled;
  };
  void runTask(const std::function<void()>& task);
  // Makes the calling thread the one that drains; waits while another does.
  void enterDrain();
  void leaveDrain();

  mutable std::mutex mutex_;
  std::condition_variable wake_;          // a task or a timer was added
  std::condition_variable drainerLeft_;  // no thread drains any more
  std::deque<std::function<void()>> tasks_;
  std::uint64_t taken_ = 0;    // tasks taken off the queue so far
  std::multimap<TimePoint, Timer> timers_;
  std::uint64_t changes_ = 0;  // tasks and timers added so far
  std::thread::id drainer_{};  // the thread draining now, if any
  int drainDepth_ = 0;         // nested drains of that thread
  std::atomic<std::thread::id> mainThread_{};
  std::shared_ptr<const std::function<void()>> wakeHook_;  // guarded by mutex_
};

// A scheduler on the main queue. `schedule` runs the task at once when called
// on the main thread with nothing of this scheduler's still queued (so that a
// `Driver` fed from the main thread delivers synchronously); otherwise it
// posts. Delays use the queue's timers.
class MainScheduler final : public Scheduler {
 public:
  static std::shared_ptr<MainScheduler> instance();

  TimePoint now() const override;
  Disposable schedule(std::function<void()> task) override;
  Disposable scheduleAfter(Duration delay, std::function<void()> task) override;

 private:
  std::atomic<std::int64_t> queued_{0};
};

}  // namespace tavrel::rx
