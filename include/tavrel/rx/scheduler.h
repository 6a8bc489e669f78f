#pragma once
// Where and when work runs: the interface behind `debounce`, `observeOn` and
// `Driver`. Implementations: `MainScheduler` (main_queue.h) and the
// virtual-time `TestScheduler` (test_scheduler.h).

#include <chrono>
#include <functional>
#include <memory>

#include "tavrel/rx/disposable.h"

namespace tavrel::rx {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = Clock::duration;

// Runs tasks in the order they were scheduled for the same time, one at a
// time. Exceptions thrown by a task are caught by the scheduler and reported
// through `debugPrint`; they never reach the code that scheduled the task.
class Scheduler {
 public:
  virtual ~Scheduler() = default;

  // The scheduler's clock (virtual for `TestScheduler`).
  virtual TimePoint now() const = 0;
  // Runs `task` as soon as the scheduler can; disposing cancels it if it has
  // not started.
  virtual Disposable schedule(std::function<void()> task) = 0;
  // Runs `task` once `delay` has passed on this scheduler's clock.
  virtual Disposable scheduleAfter(Duration delay, std::function<void()> task) = 0;
};

using SchedulerPtr = std::shared_ptr<Scheduler>;

}  // namespace tavrel::rx
