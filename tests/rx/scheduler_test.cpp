// Time and threads: virtual-time debounce, observeOn, share, the main queue
// and Driver.

#include <gtest/gtest.h>

#include <chrono>
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

  // Disposal cancels the pending element.
  auto scheduler = std::make_shared<TestScheduler>();
  PublishSubject<int> source;
  rxtest::Recorder<int> r;
  auto d = r.subscribe(source.asObservable().debounce(200ms, scheduler));
  source.onNext(1);
  d.dispose();
  scheduler->start();
  EXPECT_TRUE(r.log.empty());
}

TEST(Operators, ObserveOnDeliversInOrderOnlyWhenTheSchedulerRuns) {
  auto scheduler = std::make_shared<TestScheduler>();
  PublishSubject<int> source;
  rxtest::Recorder<int> r;
  auto d = r.subscribe(source.asObservable().observeOn(scheduler));
  source.onNext(1);
  source.onNext(2);
  EXPECT_TRUE(r.log.empty());
  scheduler->advanceBy(0ms);
  source.onNext(3);
  source.onCompleted();
  EXPECT_EQ(r.log, (Log{"1", "2"}));
  scheduler->advanceBy(0ms);
  EXPECT_EQ(r.log, (Log{"1", "2", "3", "C"}));

  rxtest::Recorder<int> cut;  // disposed of before the scheduler runs: nothing
  PublishSubject<int> other;
  auto e = cut.subscribe(other.asObservable().observeOn(scheduler));
  other.onNext(1);
  e.dispose();
  scheduler->start();
  EXPECT_TRUE(cut.log.empty());
}

TEST(Operators, ShareReplay1SubscribesOnceAndReplaysForLateSubscribers) {
  int subscriptions = 0;
  Observer<std::string> producer;
  auto request = Observable<std::string>::create([&](const Observer<std::string>& o) {
    ++subscriptions;
    producer = o;
    return Disposable();
  });
  auto shared = request.shareReplay1();
  rxtest::Recorder<std::string> a, c;
  auto da = a.subscribe(shared);
  c.subscribe(shared).dispose();
  EXPECT_EQ(subscriptions, 1);
  producer.onNext("answer");
  da.dispose();  // nobody left: the source stays connected all the same
  c.subscribe(shared);
  producer.onCompleted();
  EXPECT_EQ(subscriptions, 1);
  EXPECT_EQ(a.log, (Log{"answer"}));
  EXPECT_EQ(c.log, (Log{"answer", "C"}));
  EXPECT_EQ(rxtest::record(shared), (Log{"answer", "C"}));

  // A synchronous source: its element reaches the first subscriber and stays.
  int runs = 0;
  auto once = Observable<int>::create([&](const Observer<int>& o) {
                ++runs;
                o.onNext(1);
                o.onError(boom());
                return Disposable();
              }).shareReplay1();
  EXPECT_EQ(rxtest::record(once), (Log{"1", "E:boom"}));
  EXPECT_EQ(rxtest::record(once), (Log{"1", "E:boom"}));
  EXPECT_EQ(runs, 1);
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
  queue.postAfter(1h, [&] { log.push_back("far"); }).dispose();
  EXPECT_EQ(queue.drainPending(), 4u);
  EXPECT_TRUE(queue.isCurrent());
  EXPECT_EQ(log, (std::vector<std::string>{"main", "after", "timer"}));
  EXPECT_EQ(captured.lines, (std::vector<std::string>{"rx: main queue task threw: bad task"}));

  // runUntil waits for work from another thread, without a sleep in the test.
  bool done = false;
  std::thread later([&] { queue.post([&] { done = true; }); });
  EXPECT_TRUE(queue.runUntil([&] { return done; }, 10s));
  later.join();
  EXPECT_EQ(log.back(), "next drain");
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

  BehaviorRelay<std::string> relay("first");
  std::vector<std::string> texts;
  DisposeBag bag;
  relay.asDriver().drive([&](const std::string& s) { texts.push_back(s); }).disposed(bag);
  std::thread([&] { relay.accept("from worker"); }).join();
  auto pending = relay.asDriver().drive([&](const std::string& s) { texts.push_back("second " + s); });
  pending.dispose();  // its replay was queued behind the worker's value: dropped
  queue.drainPending();
  EXPECT_EQ(texts, (std::vector<std::string>{"first", "from worker"}));
}

}  // namespace
}  // namespace tavrel::rx
