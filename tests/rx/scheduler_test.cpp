// Time and threads: virtual-time debounce, share, the main queue and Driver.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rx/recorder.h"
#include "tavrel/rx/rx.h"

namespace tavrel::rx {
namespace {

using namespace std::chrono_literals;
using rxtest::boom;
using rxtest::CapturedLines;
using rxtest::Log;

// Milliseconds since the virtual clock's start.
long long at(const TestScheduler& s) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(s.now().time_since_epoch()).count();
}

TEST(TestScheduler, RunsTasksInTimeOrderAndHonoursCancellation) {
  TestScheduler s;
  std::vector<std::string> log;
  auto note = [&](std::string what) { return [&, what] { log.push_back(what + "@" + std::to_string(at(s))); }; };
  s.scheduleAfter(30ms, note("c"));
  s.scheduleAfter(10ms, note("a"));
  s.scheduleAfter(10ms, note("b"));
  s.scheduleAfter(20ms, note("cancelled")).dispose();
  s.scheduleAfter(15ms, [&] {
    log.push_back("nested@" + std::to_string(at(s)));
    s.schedule(note("now"));
    s.scheduleAfter(100ms, note("late"));
  });
  s.schedule([] { throw std::runtime_error("task failed"); });
  CapturedLines captured;
  s.advanceBy(20ms);
  EXPECT_EQ(log, (std::vector<std::string>{"a@10", "b@10", "nested@15", "now@15"}));
  EXPECT_EQ(at(s), 20);
  EXPECT_EQ(captured.lines, (std::vector<std::string>{"rx: test scheduler task threw: task failed"}));
  s.start();
  EXPECT_EQ(log, (std::vector<std::string>{"a@10", "b@10", "nested@15", "now@15", "c@30", "late@115"}));
}

TEST(Operators, DebounceOnVirtualTime) {
  // (time in ms, value); a negative value completes, zero fails.
  struct Case {
    const char* name;
    std::vector<std::pair<int, int>> input;
    Log expected;  // "value@time"
  };
  const std::vector<Case> cases = {
      {"a burst keeps its last", {{0, 1}, {100, 2}, {199, 3}, {500, 4}}, {"3@399", "4@700"}},
      {"exactly the due time", {{0, 1}, {200, 2}}, {"1@200", "2@400"}},
      {"completion flushes the pending value", {{0, 1}, {50, 2}, {60, -1}}, {"2@60", "C@60"}},
      {"error drops the pending value", {{0, 1}, {50, 0}}, {"E:boom@50"}},
  };
  for (const auto& c : cases) {
    auto scheduler = std::make_shared<TestScheduler>();
    PublishSubject<int> source;
    Log got;
    auto stamp = [&](const std::string& s) { got.push_back(s + "@" + std::to_string(at(*scheduler))); };
    auto d = source.asObservable().debounce(200ms, scheduler).subscribe(
        [&](int v) { stamp(std::to_string(v)); }, [&](std::exception_ptr e) { stamp("E:" + detail::describeError(e)); },
        [&] { stamp("C"); });
    for (auto [time, value] : c.input) {
      scheduler->advanceTo(TimePoint{} + std::chrono::milliseconds(time));
      if (value > 0) source.onNext(value);
      if (value < 0) source.onCompleted();
      if (value == 0) source.onError(boom());
    }
    scheduler->start();
    EXPECT_EQ(got, c.expected) << c.name;
    d.dispose();
  }
}

// A source that counts its subscriptions and disposals and hands its
// observer to the test.
struct Probe {
  int subscriptions = 0;
  int disposals = 0;
  Observer<std::string> producer;
  Observable<std::string> stream() {
    return Observable<std::string>::create([this](const Observer<std::string>& o) {
      ++subscriptions;
      producer = o;
      return Disposable::create([this] { ++disposals; });
    });
  }
};

TEST(Operators, ShareReplay1WhileConnectedEndsWithItsSource) {
  Probe p;
  auto shared = p.stream().shareReplay1();
  rxtest::Recorder<std::string> a, b, c, d;
  a.subscribe(shared);
  p.producer.onNext("first");
  b.subscribe(shared);  // in flight: the last element at once
  p.producer.onError(boom());
  EXPECT_EQ(p.subscriptions, 1);
  EXPECT_EQ(b.log, (Log{"first", "E:boom"}));
  // Neither an error nor an answer outlives its connection: a later
  // subscriber asks the source again.
  c.subscribe(shared);
  EXPECT_EQ(p.subscriptions, 2);
  p.producer.onNext("second");
  p.producer.onCompleted();
  EXPECT_EQ(c.log, (Log{"second", "C"}));
  auto last = d.subscribe(shared);
  EXPECT_EQ(p.subscriptions, 3);
  EXPECT_EQ(p.disposals, 2);
  last.dispose();  // the last subscriber leaves: the source subscription ends
  EXPECT_EQ(p.disposals, 3);
  EXPECT_TRUE(d.log.empty());

  // A source that ends while it is being connected runs again for the next.
  int runs = 0;
  auto once = Observable<int>::create([&](const Observer<int>& o) {
                ++runs;
                o.onNext(runs);
                o.onError(boom());
                return Disposable();
              }).shareReplay1();
  EXPECT_EQ(rxtest::record(once), (Log{"1", "E:boom"}));
  EXPECT_EQ(rxtest::record(once), (Log{"2", "E:boom"}));
}

TEST(Operators, ShareReplay1ForeverKeepsOneReplay) {
  Probe p;
  auto kept = p.stream().shareReplay1(SubjectLifetimeScope::forever);
  rxtest::Recorder<std::string> a, b;
  auto first = a.subscribe(kept);
  p.producer.onNext("stale");
  first.dispose();  // the last subscriber leaves: disconnected
  EXPECT_EQ(p.disposals, 1);
  b.subscribe(kept);  // connects again, with the same replay
  p.producer.onNext("answer");
  p.producer.onError(boom());
  EXPECT_EQ(rxtest::record(kept), (Log{"answer", "E:boom"}));
  EXPECT_EQ(p.subscriptions, 2);
  EXPECT_EQ(b.log, (Log{"stale", "answer", "E:boom"}));
}

// The main queue is process-wide: each test starts from an empty one.
void drainLeftovers() {
  while (MainQueue::shared().drainPending() > 0) {
  }
}

TEST(MainQueue, RunsPostedTasksOnTheDrainingThreadAndContainsExceptions) {
  auto& queue = MainQueue::shared();
  drainLeftovers();
  CapturedLines captured;
  std::vector<std::string> log;
  std::thread poster([&] {
    EXPECT_FALSE(queue.isCurrent());
    queue.post([&] { log.push_back(queue.isCurrent() ? "main" : "other"); });
    queue.post([] { throw std::runtime_error("bad task"); });
    queue.post([&] {
      log.push_back("after");
      queue.post([&] { log.push_back("next drain"); });
    });
  });
  poster.join();
  queue.postAfter(0ms, [&] { log.push_back("timer"); });
  queue.postAfter(0ms, [&] { log.push_back("cancelled"); }).dispose();
  EXPECT_EQ(queue.drainPending(), 4u);
  EXPECT_TRUE(queue.isCurrent());
  EXPECT_EQ(log, (std::vector<std::string>{"main", "after", "timer"}));
  EXPECT_EQ(captured.lines, (std::vector<std::string>{"rx: main queue task threw: bad task"}));
  queue.drainPending();
  EXPECT_EQ(log.back(), "next drain");
}

// The one test that measures real time: a timer added by another thread while
// runUntil waits must wake it, not wait for the deadline.
TEST(MainQueue, ATimerAddedByAnotherThreadFiresOnTime) {
  auto& queue = MainQueue::shared();
  drainLeftovers();
  std::promise<void> waiting;
  TimePoint scheduled, fired;
  bool hasFired = false;
  bool first = true;
  std::thread worker([&] {
    waiting.get_future().wait();
    scheduled = Clock::now();
    queue.postAfter(50ms, [&] {
      fired = Clock::now();
      hasFired = true;
    });
  });
  EXPECT_TRUE(queue.runUntil(
      [&] {
        if (std::exchange(first, false)) waiting.set_value();  // about to wait
        return hasFired;
      },
      3s));
  worker.join();
  const auto late = std::chrono::duration_cast<std::chrono::milliseconds>(fired - scheduled).count();
  EXPECT_GE(late, 50);
  EXPECT_LE(late, 150);
}

TEST(MainQueue, OneThreadDrainsAtATimeAndTasksKeepTheirOrder) {
  auto& queue = MainQueue::shared();
  drainLeftovers();
  constexpr int kTasks = 3000;
  std::atomic<int> inside{0}, next{0};
  std::atomic<bool> overlapped{false}, reordered{false};
  std::thread feeder([&] {
    for (int i = 0; i < kTasks; ++i) {
      queue.post([&, i] {
        if (inside.fetch_add(1) != 0) overlapped = true;
        if (next.fetch_add(1) != i) reordered = true;
        std::this_thread::yield();  // widens the window another drainer could use
        inside.fetch_sub(1);
      });
    }
  });
  auto drainAll = [&] { return queue.runUntil([&] { return next.load() == kTasks; }, 10s); };
  std::thread other([&] { EXPECT_TRUE(drainAll()); });
  EXPECT_TRUE(drainAll());
  feeder.join();
  other.join();
  EXPECT_FALSE(overlapped);
  EXPECT_FALSE(reordered);
}

TEST(Driver, DeliversOnTheMainQueueAndNeverFails) {
  auto& queue = MainQueue::shared();
  drainLeftovers();
  queue.makeCurrentThread();

  PublishSubject<int> source;
  std::vector<std::string> log;
  auto d = source.asObservable()
               .asDriver(-1)
               .drive([&](int v) { log.push_back(std::to_string(v) + (queue.isCurrent() ? " main" : " other")); },
                      [&] { log.push_back("C"); });
  std::thread background([&] {
    source.onNext(1);
    source.onNext(2);
  });
  background.join();
  EXPECT_TRUE(log.empty());
  queue.drainPending();
  EXPECT_EQ(log, (std::vector<std::string>{"1 main", "2 main"}));
  source.onNext(3);  // on the main thread with nothing queued: at once
  source.onError(boom());
  EXPECT_EQ(log, (std::vector<std::string>{"1 main", "2 main", "3 main", "-1 main", "C"}));

  // All that drive from one Driver share one subscription; a newcomer gets
  // the latest element at once.
  int subscriptions = 0;
  BehaviorSubject<int> counted(7);
  auto driver = Observable<int>::create([&](const Observer<int>& o) {
                  ++subscriptions;
                  return counted.asObservable().subscribe(o);
                }).asDriver(-1);
  std::vector<int> first, second;
  DisposeBag driving;
  driver.drive([&](int v) { first.push_back(v); }).disposed(driving);
  driver.drive([&](int v) { second.push_back(v); }).disposed(driving);
  counted.onNext(8);
  EXPECT_EQ(subscriptions, 1);
  EXPECT_EQ(first, (std::vector<int>{7, 8}));
  EXPECT_EQ(second, (std::vector<int>{7, 8}));
}

}  // namespace
}  // namespace tavrel::rx
