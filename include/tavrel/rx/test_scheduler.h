#pragma once
// A scheduler on a virtual clock, for tests: nothing runs until the test
// moves the clock, and no test sleeps.
//
//     auto scheduler = std::make_shared<TestScheduler>();
//     subject.asObservable().debounce(200ms, scheduler).subscribe(...);
//     subject.onNext(1);
//     scheduler->advanceBy(199ms);  // nothing yet
//     scheduler->advanceBy(1ms);    // 1 arrives

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

#include "tavrel/rx/scheduler.h"

namespace tavrel::rx {

class TestScheduler final : public Scheduler {
 public:
  // The clock starts at `TimePoint{}`.
  TestScheduler() = default;

  TimePoint now() const override;
  // Runs at the current virtual time, when the clock is next moved (or on
  // `advanceBy(0)`).
  Disposable schedule(std::function<void()> task) override;
  Disposable scheduleAfter(Duration delay, std::function<void()> task) override;

  // Runs, in time order, every task due up to now + `delta`, setting the
  // clock to each task's time as it runs; ends with the clock at now + `delta`.
  void advanceBy(Duration delta);
  // The same, up to `time` (no effect on a time in the past).
  void advanceTo(TimePoint time);
  // Runs every task until none is left, moving the clock as far as needed.
  void start();

 private:
  struct Task {
    std::function<void()> run;
    std::shared_ptr<std::atomic<bool>> cancelled;
  };
  bool runNext(const TimePoint* limit);

  mutable std::mutex mutex_;
  TimePoint now_{};
  std::uint64_t sequence_ = 0;
  std::map<std::pair<TimePoint, std::uint64_t>, Task> tasks_;
};

}  // namespace tavrel::rx
