// Subjects and relays: replay rules, ends, and feeding from several threads.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "rx/recorder.h"
#include "tavrel/rx/rx.h"

namespace tavrel::rx {
namespace {

using rxtest::boom;
using rxtest::Log;
using rxtest::record;
using rxtest::Recorder;

TEST(Subjects, WhatEarlyAndLateSubscribersGet) {
  PublishSubject<int> publish;
  Recorder<int> early, late;
  early.subscribe(publish.asObservable());
  publish.onNext(1);
  late.subscribe(publish.asObservable());
  publish.onNext(2);
  publish.onCompleted();
  publish.onNext(3);
  EXPECT_EQ(early.log, (Log{"1", "2", "C"}));
  EXPECT_EQ(late.log, (Log{"2", "C"}));
  EXPECT_EQ(record(publish.asObservable()), Log{"C"});

  BehaviorSubject<std::string> behavior("a");
  Recorder<std::string> b1, b2;
  b1.subscribe(behavior.asObservable());
  behavior.onNext("b");
  b2.subscribe(behavior.asObservable());
  behavior.onError(boom());
  behavior.onNext("c");
  EXPECT_EQ(b1.log, (Log{"a", "b", "E:boom"}));
  EXPECT_EQ(b2.log, (Log{"b", "E:boom"}));
  EXPECT_EQ(record(behavior.asObservable()), Log{"E:boom"});
  EXPECT_EQ(behavior.value(), "b");
}

TEST(Subjects, ReentrantSubscribeAndDisposeFromACallback) {
  PublishSubject<int> s;
  std::vector<std::string> log;
  DisposeBag bag;
  Disposable first;
  first = s.asObservable().subscribe([&](int x) {
    log.push_back("first " + std::to_string(x));
    if (x == 1) {
      // Subscribing from inside delivery: the newcomer starts with the next element.
      s.asObservable().subscribe([&](int y) { log.push_back("second " + std::to_string(y)); }).disposed(bag);
      first.dispose();
    }
  });
  s.onNext(1);
  s.onNext(2);
  EXPECT_EQ(log, (std::vector<std::string>{"first 1", "second 2"}));

  // An element emitted from a callback comes after that callback, for everyone.
  PublishSubject<int> echo;
  std::vector<std::string> order;
  echo.asObservable()
      .subscribe([&](int x) {
        order.push_back("a" + std::to_string(x));
        if (x == 1) echo.onNext(2);
        order.push_back("a" + std::to_string(x) + " done");
      })
      .disposed(bag);
  echo.asObservable().subscribe([&](int x) { order.push_back("b" + std::to_string(x)); }).disposed(bag);
  echo.onNext(1);
  EXPECT_EQ(order, (std::vector<std::string>{"a1", "a1 done", "b1", "a2", "a2 done", "b2"}));

  BehaviorSubject<int> b(1);
  std::vector<int> nested;
  b.asObservable()
      .subscribe([&](int x) {
        if (x == 1) b.asObservable().subscribe([&](int y) { nested.push_back(y); }).disposed(bag);
      })
      .disposed(bag);
  b.onNext(2);
  EXPECT_EQ(nested, (std::vector<int>{1, 2}));
}

TEST(Subjects, SeveralThreadsFeedingOneSubjectLoseNothingAndNeverOverlap) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 5000;
  PublishSubject<int> subject;
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  long long sum = 0;
  int count = 0;
  auto d = subject.asObservable().filter([](int) { return true; }).subscribe([&](int x) {
    if (inside.fetch_add(1) != 0) overlapped = true;
    sum += x;
    ++count;
    inside.fetch_sub(1);
  });
  // A second subscriber comes and goes while the feeders run.
  std::atomic<bool> feeding{true};
  std::thread churn([&] {
    while (feeding) subject.asObservable().subscribe([](int) {}).dispose();
  });
  std::vector<std::thread> feeders;
  for (int t = 0; t < kThreads; ++t) {
    feeders.emplace_back([&subject, t] {
      for (int i = 0; i < kPerThread; ++i) subject.onNext(t * kPerThread + i);
    });
  }
  for (auto& f : feeders) f.join();
  feeding = false;
  churn.join();
  const long long n = kThreads * kPerThread;
  EXPECT_EQ(count, n);
  EXPECT_EQ(sum, n * (n - 1) / 2);
  EXPECT_FALSE(overlapped);
  d.dispose();
}

TEST(Subjects, TwoThreadsFeedingSubjectsThatFeedEachOtherDoNotDeadlock) {
  // Odd numbers cross over once; even ones stay. Serializing by holding a lock
  // while delivering would deadlock here as soon as both threads cross.
  constexpr int kPerThread = 3000;
  PublishSubject<int> subjects[2];
  std::atomic<int> seen[2] = {0, 0};
  DisposeBag bag;
  std::vector<std::thread> feeders;
  for (int side : {0, 1}) {
    subjects[side]
        .asObservable()
        .subscribe([&, side](int x) {
          seen[side].fetch_add(1);
          if (x % 2 == 1) subjects[1 - side].onNext(x + 1);
        })
        .disposed(bag);
  }
  for (int side : {0, 1}) {
    feeders.emplace_back([&, side] {
      for (int i = 0; i < kPerThread; ++i) subjects[side].onNext(i);
    });
  }
  for (auto& f : feeders) f.join();
  for (int side : {0, 1}) EXPECT_EQ(seen[side].load(), kPerThread + kPerThread / 2);
}

TEST(Subjects, NothingArrivesOnceDisposeReturnsWhicheverWayItSubscribed) {
  for (bool asObserver : {false, true}) {
    BehaviorRelay<int> relay(0);
    std::atomic<int> delivered{0}, late{0};
    std::atomic<bool> disposed{false};
    auto onNext = [&](int) {
      if (disposed) late.fetch_add(1);
      std::this_thread::yield();  // widens the window that a disposal could slip into
      if (disposed) late.fetch_add(1);
      delivered.fetch_add(1);
    };
    auto stream = relay.asObservable().map([](int x) { return x; });
    auto d = asObserver ? stream.subscribe(Observer<int>(onNext)) : stream.subscribe(onNext);
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
      for (int i = 0; !stop; ++i) relay.accept(i);
    });
    while (delivered.load() < 1000) std::this_thread::yield();
    d.dispose();  // from this thread, while the feeder delivers
    disposed = true;
    const int target = relay.value() + 1000;  // the feeder runs on after it
    while (relay.value() < target) std::this_thread::yield();
    stop = true;
    feeder.join();
    EXPECT_EQ(late.load(), 0) << (asObserver ? "observer" : "callbacks");
  }
}

}  // namespace
}  // namespace tavrel::rx
