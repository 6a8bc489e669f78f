// Streams and operators: order of delivery, termination, disposal, errors.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "rx/recorder.h"
#include "tavrel/core/log.h"
#include "tavrel/rx/rx.h"

namespace tavrel::rx {
namespace {

using namespace std::chrono_literals;
using rxtest::boom;
using rxtest::CapturedLines;
using rxtest::Log;
using rxtest::record;
using rxtest::Recorder;

// Emits the values, ends as told, then goes on talking as a careless producer
// would: the grammar guard must drop the rest.
Observable<int> sloppy(std::vector<int> values, bool fail) {
  return Observable<int>::create([=](const Observer<int>& o) {
    for (int v : values) o.onNext(v);
    fail ? o.onError(boom()) : o.onCompleted();
    o.onNext(99);
    o.onCompleted();
    o.onError(boom());
    return Disposable();
  });
}

TEST(Observable, SourcesEndAtTheFirstTerminalEvent) {
  EXPECT_EQ(record(sloppy({1, 2}, false)), (Log{"1", "2", "C"}));
  EXPECT_EQ(record(sloppy({1}, true)), (Log{"1", "E:boom"}));
  EXPECT_EQ(record(Observable<int>()), Log{"C"});
  EXPECT_EQ(record(error<int>(boom())), Log{"E:boom"});
  EXPECT_EQ(record(Observable<int>::create([](const Observer<int>& o) -> Disposable {
              o.onNext(1);
              throw std::runtime_error("in create");
            })),
            (Log{"1", "E:in create"}));
}

TEST(Observable, ElementOperators) {
  auto src = sloppy({1, 2, 2, 3, 1}, false);
  EXPECT_EQ(record(src.map([](int x) { return x * 10; })), (Log{"10", "20", "20", "30", "10", "C"}));
  EXPECT_EQ(record(src.startWith(8, 9).filter([](int x) { return x != 2; })), (Log{"8", "9", "1", "3", "1", "C"}));
  EXPECT_EQ(record(sloppy({}, true).startWith(0)), (Log{"0", "E:boom"}));
  EXPECT_EQ(record(src.distinctUntilChanged()), (Log{"1", "2", "3", "1", "C"}));
  EXPECT_EQ(record(src.map([](int x) {
              if (x == 2) throw std::runtime_error("two");
              return x;
            })),
            (Log{"1", "E:two"}));
}

TEST(Observable, CatchErrorReplacesTheFailedStream) {
  EXPECT_EQ(record(sloppy({1}, true).catchError([](std::exception_ptr e) {
              return just(static_cast<int>(detail::describeError(e).size())).startWith(0);
            })),
            (Log{"1", "0", "4", "C"}));
  EXPECT_EQ(record(sloppy({1}, true).catchError([](std::exception_ptr) -> Observable<int> {
              throw std::runtime_error("h");
            })),
            (Log{"1", "E:h"}));
  EXPECT_EQ(record(sloppy({2}, false).catchError([](std::exception_ptr) { return just(0); })), (Log{"2", "C"}));
  EXPECT_EQ(record(sloppy({1}, true).catchErrorJustReturn(-1)), (Log{"1", "-1", "C"}));
  EXPECT_EQ(record(sloppy({}, true).catchError([](std::exception_ptr) { return Single<int>::just(3); })),
            (Log{"3", "C"}));
}

TEST(Observable, MaterializeAndItsInverses) {
  // The loading monitor's path: an error becomes an element, and the stream
  // then completes normally; elements() and errors() split it again.
  auto kinds = [](const auto& events) {
    return record(events.map([](const Event<int>& e) {
      return e.isNext() ? std::to_string(*e.element()) : e.isError() ? "error" : "completed";
    }));
  };
  auto events = sloppy({1}, true).materialize();
  EXPECT_EQ(kinds(events), (Log{"1", "error", "C"}));
  EXPECT_EQ(kinds(just(5).materialize()), (Log{"5", "completed", "C"}));
  EXPECT_EQ(record(events.elements()), (Log{"1", "C"}));
  EXPECT_EQ(record(events.errors()), (Log{"boom", "C"}));
  EXPECT_EQ(record(just(std::optional<int>(0)).startWith(std::nullopt).unwrap()), (Log{"0", "C"}));
}

TEST(Observable, FlatMapMergesInnerStreamsAndEndsWithTheFirstError) {
  PublishSubject<int> outer;
  std::vector<PublishSubject<std::string>> inners(3);
  Recorder<std::string> r;
  r.subscribe(outer.asObservable().flatMap([&](int i) { return inners[i].asObservable(); }));
  outer.onNext(0);
  outer.onNext(1);
  inners[1].onNext("b1");
  inners[0].onNext("a1");
  outer.onCompleted();  // inner streams still running: no completion yet
  inners[0].onCompleted();
  EXPECT_EQ(r.log, (Log{"b1", "a1"}));
  inners[1].onCompleted();
  EXPECT_EQ(r.log, (Log{"b1", "a1", "C"}));

  PublishSubject<int> outer2;
  Recorder<std::string> failing;
  failing.subscribe(outer2.asObservable().flatMap([&](int i) { return inners[i].asObservable(); }));
  outer2.onNext(2);
  inners[2].onError(boom());
  outer2.onNext(0);  // ignored: the merged stream has ended
  EXPECT_EQ(failing.log, (Log{"E:boom"}));
  EXPECT_FALSE(outer2.hasObservers());

  EXPECT_EQ(record(sloppy({1, 2}, false).flatMap([](int x) { return Single<int>::just(x * 100); })),
            (Log{"100", "200", "C"}));
  EXPECT_EQ(record(sloppy({1, 2}, false).flatMap([](int x) -> Observable<int> {
              if (x == 2) throw std::runtime_error("sel");
              return just(x);
            })),
            (Log{"1", "E:sel"}));
}

TEST(Observable, CombineLatestWaitsForAllAndCompletesWhenAllComplete) {
  PublishSubject<int> a;
  PublishSubject<std::string> b;
  Recorder<std::string> r;
  r.subscribe(combineLatest(a.asObservable(), b.asObservable()).map([](const std::tuple<int, std::string>& t) {
    return std::to_string(std::get<0>(t)) + std::get<1>(t);
  }));
  a.onNext(1);
  a.onNext(2);
  b.onNext("x");
  a.onCompleted();
  b.onNext("y");
  EXPECT_EQ(r.log, (Log{"2x", "2y"}));
  b.onCompleted();
  EXPECT_EQ(r.log, (Log{"2x", "2y", "C"}));

  // Three sources, the way a boolean picks one of two streams; an error ends all.
  EXPECT_EQ(record(combineLatest(just(false), just(1), sloppy({2}, true)).map([](const auto& t) {
              return std::get<0>(t) ? std::get<1>(t) : std::get<2>(t);
            })),
            (Log{"2", "E:boom"}));
}

TEST(Observable, DisposalReachesTheProducerAndBagsEndWhatTheyHold) {
  // Disposal reaches the producer, and what it still says is dropped.
  bool producerStopped = false;
  Observer<int> producer;
  auto manual = Observable<int>::create([&](const Observer<int>& o) {
    producer = o;
    return Disposable::create([&] { producerStopped = true; });
  });
  Recorder<int> seen;
  auto e = seen.subscribe(manual.map([](int x) { return x + 1; }));
  producer.onNext(1);
  e.dispose();
  EXPECT_TRUE(producerStopped);
  producer.onNext(2);
  producer.onCompleted();
  EXPECT_EQ(seen.log, Log{"2"});

  // A bag ends what it holds, also when reassigned.
  PublishSubject<int> t;
  int count = 0;
  {
    DisposeBag bag;
    t.asObservable().subscribe([&](int) { ++count; }).disposed(bag);
    t.onNext(0);
    bag = DisposeBag();
    t.onNext(0);
    t.asObservable().subscribe([&](int) { ++count; }).disposed(bag);
    t.onNext(0);
  }
  t.onNext(0);
  EXPECT_EQ(count, 2);
  EXPECT_FALSE(t.hasObservers());
}

TEST(Observable, SubscriberExceptionsAreReportedAndLeaveTheOperatorsWorking) {
  CapturedLines captured;
  auto scheduler = std::make_shared<TestScheduler>();
  PublishSubject<int> s;
  auto delivered = s.asObservable().observeOn(scheduler);
  auto shared = delivered.shareReplay1();
  std::vector<int> observed, other;
  // Thrown by an observer straight after observeOn, and by a callback behind a share.
  delivered.subscribe(Observer<int>([&](int x) {
    observed.push_back(x);
    if (x == 1) throw std::runtime_error("observer failed");
  }));
  shared.subscribe([](int x) {
    if (x == 1) throw std::runtime_error("handler failed");
  });
  shared.subscribe([&](int x) { other.push_back(x); }, [&](std::exception_ptr) { other.push_back(-1); });
  s.onNext(1);
  EXPECT_TRUE(observed.empty());  // observeOn delivers only when its scheduler runs
  scheduler->advanceBy(0ms);
  s.onNext(2);
  s.onError(boom());
  EXPECT_EQ(observed, (std::vector<int>{1}));
  scheduler->advanceBy(0ms);
  EXPECT_EQ(observed, (std::vector<int>{1, 2}));
  EXPECT_EQ(other, (std::vector<int>{1, 2, -1}));
  EXPECT_EQ(captured.lines,
            (std::vector<std::string>{"rx: onNext threw: observer failed", "rx: onNext threw: handler failed"}));
}

TEST(Observable, DebugPrintsTheLifeOfASubscription) {
  struct NotPrintable {};
  CapturedLines captured;
  just(std::string("hi")).debug("RTS CONNECTED").subscribe([](const std::string&) {});
  PublishSubject<NotPrintable> units;
  auto u = units.asObservable().debug("retryAction").subscribe([](const NotPrintable&) {});
  units.onNext(NotPrintable{});
  u.dispose();
  std::vector<std::string> tails;
  for (const auto& line : captured.lines) {
    ASSERT_GT(line.size(), 25u) << line;
    EXPECT_EQ(line.substr(23, 2), ": ") << line;  // "yyyy-MM-dd HH:mm:ss.SSS: "
    tails.push_back(line.substr(25));
  }
  EXPECT_EQ(tails, (std::vector<std::string>{"RTS CONNECTED -> subscribed", "RTS CONNECTED -> Event next(hi)",
                                             "RTS CONNECTED -> Event completed", "RTS CONNECTED -> isDisposed",
                                             "retryAction -> subscribed", "retryAction -> Event next(<value>)",
                                             "retryAction -> isDisposed"}));
}

TEST(Single, ExactlyOneElementOrAnError) {
  auto outcome = [](const Single<int>& s) {
    Log got;
    s.subscribe([&](int v) { got.push_back(std::to_string(v)); },
                [&](std::exception_ptr e) { got.push_back("E:" + detail::describeError(e)); });
    return got;
  };
  auto twice = Single<int>::create([](const SingleObserver<int>& o) {
    o.onSuccess(1);
    o.onSuccess(2);
    o.onError(boom());
    return Disposable();
  });
  EXPECT_EQ(outcome(twice), Log{"1"});
  EXPECT_EQ(outcome(Single<int>::just(4).map([](int x) { return x + 1; })), Log{"5"});
  EXPECT_EQ(outcome(Single<int>::just(4).flatMap([](int x) { return Single<int>::just(x * 2); })), Log{"8"});
  EXPECT_EQ(outcome(empty<int>().asSingle()), Log{"E:sequence completed without elements"});
  EXPECT_EQ(outcome(sloppy({1, 2}, false).asSingle()), Log{"E:sequence has more than one element"});
  EXPECT_EQ(outcome(sloppy({1}, true).asSingle()), Log{"E:boom"});
  EXPECT_EQ(record(twice.asObservable()), (Log{"1", "C"}));
}

}  // namespace
}  // namespace tavrel::rx
