// Streams and operators: order of delivery, termination, disposal, errors.

#include <gtest/gtest.h>

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

using rxtest::boom;
using rxtest::CapturedLines;
using rxtest::Log;
using rxtest::Recorder;

// A source that emits the given values then ends as told, and then goes on
// talking as a careless producer would: the grammar guard must drop the rest.
Observable<int> sloppy(std::vector<int> values, bool fail) {
  return Observable<int>::create([=](const Observer<int>& o) {
    for (int v : values) o.onNext(v);
    if (fail) {
      o.onError(boom());
    } else {
      o.onCompleted();
    }
    o.onNext(99);
    o.onCompleted();
    o.onError(boom());
    return Disposable();
  });
}

struct Case {
  const char* name;
  Observable<int> stream;
  Log expected;
};

void expectAll(const std::vector<Case>& cases) {
  for (const auto& c : cases) {
    Recorder<int> r;
    r.subscribe(c.stream);
    EXPECT_EQ(r.log, c.expected) << c.name;
  }
}

TEST(Observable, SourcesEndAtTheFirstTerminalEvent) {
  expectAll({
      {"completes", sloppy({1, 2, 3}, false), {"1", "2", "3", "C"}},
      {"fails", sloppy({1}, true), {"1", "E:boom"}},
      {"just", just(7), {"7", "C"}},
      {"empty", empty<int>(), {"C"}},
      {"default is empty", Observable<int>(), {"C"}},
      {"error", error<int>(boom()), {"E:boom"}},
      {"create throws",
       Observable<int>::create([](const Observer<int>& o) -> Disposable {
         o.onNext(1);
         throw std::runtime_error("in create");
       }),
       {"1", "E:in create"}},
  });
}

TEST(Observable, ElementOperators) {
  auto src = sloppy({1, 2, 2, 3, 3, 3, 1}, false);
  expectAll({
      {"map", src.map([](int x) { return x * 10; }), {"10", "20", "20", "30", "30", "30", "10", "C"}},
      {"filter", src.filter([](int x) { return x != 2; }), {"1", "3", "3", "3", "1", "C"}},
      {"startWith", src.startWith(8, 9).filter([](int x) { return x > 2; }), {"8", "9", "3", "3", "3", "C"}},
      {"startWith before error", sloppy({}, true).startWith(0), {"0", "E:boom"}},
      {"distinctUntilChanged", src.distinctUntilChanged(), {"1", "2", "3", "1", "C"}},
      {"map throws",
       src.map([](int x) {
         if (x == 3) throw std::runtime_error("three");
         return x;
       }),
       {"1", "2", "2", "E:three"}},
      {"filter throws",
       src.filter([](int x) -> bool {
         if (x == 2) throw std::runtime_error("two");
         return true;
       }),
       {"1", "E:two"}},
      {"map keeps error", sloppy({4}, true).map([](int x) { return -x; }), {"-4", "E:boom"}},
  });
}

TEST(Observable, CatchErrorReplacesTheFailedStream) {
  expectAll({
      {"replaced", sloppy({1}, true).catchError([](std::exception_ptr) { return just(5).startWith(4); }),
       {"1", "4", "5", "C"}},
      {"handler sees the error",
       sloppy({}, true).catchError([](std::exception_ptr e) {
         return just(static_cast<int>(detail::describeError(e).size()));
       }),
       {"4", "C"}},
      {"handler throws",
       sloppy({1}, true).catchError([](std::exception_ptr) -> Observable<int> { throw std::runtime_error("h"); }),
       {"1", "E:h"}},
      {"replacement fails too", sloppy({}, true).catchError([](std::exception_ptr) { return error<int>(boom()); }),
       {"E:boom"}},
      {"completion untouched", sloppy({2}, false).catchError([](std::exception_ptr) { return just(0); }),
       {"2", "C"}},
      {"just return", sloppy({1}, true).catchErrorJustReturn(-1), {"1", "-1", "C"}},
      {"replacement is a single",
       sloppy({}, true).catchError([](std::exception_ptr) { return Single<int>::just(3); }), {"3", "C"}},
  });
}

TEST(Observable, MaterializeAndItsInverses) {
  // The loading monitor's path: an error becomes an element, and the stream
  // then completes normally; elements() and errors() split it again.
  auto events = sloppy({1, 2}, true).materialize();
  Recorder<Event<int>> all;
  std::vector<Event<int>> seen;
  events.subscribe([&](const Event<int>& e) { seen.push_back(e); }, {}, [&] { all.log.push_back("C"); });
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(*seen[0].element(), 1);
  EXPECT_EQ(*seen[1].element(), 2);
  EXPECT_TRUE(seen[2].isError());
  EXPECT_EQ(all.log, Log{"C"});

  Recorder<int> elements;
  elements.subscribe(events.elements());
  EXPECT_EQ(elements.log, (Log{"1", "2", "C"}));

  Recorder<std::exception_ptr> errors;
  errors.subscribe(events.errors());
  EXPECT_EQ(errors.log, (Log{"boom", "C"}));

  Recorder<Event<int>> completed;
  std::vector<Event<int>> end;
  just(5).materialize().subscribe([&](const Event<int>& e) { end.push_back(e); });
  ASSERT_EQ(end.size(), 2u);
  EXPECT_TRUE(end[1].isCompleted());

  Recorder<int> unwrapped;
  auto optionals = Observable<std::optional<int>>::create([](const Observer<std::optional<int>>& o) {
    o.onNext(std::nullopt);
    o.onNext(3);
    o.onNext(std::nullopt);
    o.onNext(0);
    o.onCompleted();
    return Disposable();
  });
  unwrapped.subscribe(optionals.unwrap());
  EXPECT_EQ(unwrapped.log, (Log{"3", "0", "C"}));
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
  inners[1].onNext("b2");
  outer.onCompleted();  // inner streams still running: no completion yet
  inners[0].onCompleted();
  EXPECT_EQ(r.log, (Log{"b1", "a1", "b2"}));
  inners[1].onCompleted();
  EXPECT_EQ(r.log, (Log{"b1", "a1", "b2", "C"}));

  PublishSubject<int> outer2;
  Recorder<std::string> failing;
  failing.subscribe(outer2.asObservable().flatMap([&](int i) { return inners[i].asObservable(); }));
  outer2.onNext(2);
  inners[2].onNext("c1");
  inners[2].onError(boom());
  outer2.onNext(0);  // ignored: the merged stream has ended
  EXPECT_EQ(failing.log, (Log{"c1", "E:boom"}));
  EXPECT_FALSE(outer2.hasObservers());

  Recorder<int> singles;
  singles.subscribe(sloppy({1, 2}, false).flatMap([](int x) { return Single<int>::just(x * 100); }));
  EXPECT_EQ(singles.log, (Log{"100", "200", "C"}));

  Recorder<int> selectorThrows;
  selectorThrows.subscribe(sloppy({1, 2}, false).flatMap([](int x) -> Observable<int> {
    if (x == 2) throw std::runtime_error("sel");
    return just(x);
  }));
  EXPECT_EQ(selectorThrows.log, (Log{"1", "E:sel"}));
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
  EXPECT_TRUE(r.log.empty());
  b.onNext("x");
  a.onNext(3);
  a.onCompleted();
  b.onNext("y");
  EXPECT_EQ(r.log, (Log{"2x", "3x", "3y"}));
  b.onCompleted();
  EXPECT_EQ(r.log, (Log{"2x", "3x", "3y", "C"}));

  // Three sources, the way a boolean picks one of two streams.
  Recorder<int> pick;
  pick.subscribe(combineLatest(just(false), just(1), sloppy({2, 3}, false)).map([](const auto& t) {
    return std::get<0>(t) ? std::get<1>(t) : std::get<2>(t);
  }));
  EXPECT_EQ(pick.log, (Log{"2", "3", "C"}));

  Recorder<int> failing;
  failing.subscribe(combineLatest(just(1), sloppy({}, true)).map([](const auto& t) { return std::get<0>(t); }));
  EXPECT_EQ(failing.log, (Log{"E:boom"}));
}

TEST(Observable, DisposalStopsDeliveryAtOnceAlsoFromInsideOnNext) {
  PublishSubject<int> s;
  std::vector<int> got;
  Disposable d;
  d = s.asObservable().map([](int x) { return x; }).subscribe([&](int x) {
    got.push_back(x);
    if (x == 2) d.dispose();
  });
  s.onNext(1);
  s.onNext(2);
  s.onNext(3);
  EXPECT_EQ(got, (std::vector<int>{1, 2}));
  EXPECT_FALSE(s.hasObservers());

  // Disposal reaches the producer, and what it still says is dropped.
  bool producerStopped = false;
  Observer<int> producer;
  auto manual = Observable<int>::create([&](const Observer<int>& o) {
    producer = o;
    return Disposable::create([&] { producerStopped = true; });
  });
  std::vector<int> seen;
  auto e = manual.map([](int x) { return x + 1; }).subscribe([&](int x) { seen.push_back(x); });
  producer.onNext(1);
  e.dispose();
  EXPECT_TRUE(producerStopped);
  producer.onNext(2);
  producer.onCompleted();
  EXPECT_EQ(seen, (std::vector<int>{2}));

  // A bag ends what it holds, also when reassigned.
  PublishSubject<int> t;
  int count = 0;
  {
    DisposeBag bag;
    t.asObservable().subscribe([&](int) { ++count; }).disposed(bag);
    t.asObservable().subscribe([&](int) { ++count; }).disposed(bag);
    t.onNext(0);
    bag = DisposeBag();
    t.onNext(0);
    t.asObservable().subscribe([&](int) { ++count; }).disposed(bag);
    t.onNext(0);
  }
  t.onNext(0);
  EXPECT_EQ(count, 3);
  EXPECT_FALSE(t.hasObservers());
}

TEST(Observable, CallbackExceptionsAreReportedAndContained) {
  CapturedLines captured;
  PublishSubject<int> s;
  std::vector<int> other;
  s.asObservable().subscribe([](int x) {
    if (x == 1) throw std::runtime_error("handler failed");
  });
  s.asObservable().subscribe([&](int x) { other.push_back(x); }, [&](std::exception_ptr) { other.push_back(-1); });
  s.onNext(1);
  s.onNext(2);
  s.onError(boom());  // the first subscriber has no onError: nothing to report
  EXPECT_EQ(other, (std::vector<int>{1, 2, -1}));
  EXPECT_EQ(captured.lines, (std::vector<std::string>{"rx: onNext threw: handler failed"}));
}

TEST(Observable, DebugPrintsTheLifeOfASubscription) {
  struct NotPrintable {};
  CapturedLines captured;
  just(std::string("hi")).debug("RTS CONNECTED").subscribe([](const std::string&) {});
  auto d = just(NotPrintable{}).debug("retryAction").subscribe([](const NotPrintable&) {});
  auto units = PublishSubject<Unit>();
  auto u = units.asObservable().debug("errorRetryAction").subscribe([](Unit) {});
  units.onNext(Unit{});
  u.dispose();
  std::vector<std::string> tails;
  for (const auto& line : captured.lines) {
    ASSERT_GT(line.size(), 25u) << line;
    EXPECT_EQ(line.substr(23, 2), ": ") << line;  // "yyyy-MM-dd HH:mm:ss.SSS: "
    tails.push_back(line.substr(25));
  }
  EXPECT_EQ(tails, (std::vector<std::string>{
                       "RTS CONNECTED -> subscribed", "RTS CONNECTED -> Event next(hi)",
                       "RTS CONNECTED -> Event completed", "RTS CONNECTED -> isDisposed",
                       "retryAction -> subscribed", "retryAction -> Event next(<value>)",
                       "retryAction -> Event completed", "retryAction -> isDisposed",
                       "errorRetryAction -> subscribed", "errorRetryAction -> Event next(())",
                       "errorRetryAction -> isDisposed"}));
}

TEST(Single, ExactlyOneElementOrAnError) {
  std::vector<std::string> got;
  auto record = [&](const Single<int>& s) {
    got.clear();
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
  EXPECT_EQ(record(twice), Log{"1"});
  EXPECT_EQ(record(Single<int>::error(boom())), Log{"E:boom"});
  EXPECT_EQ(record(Single<int>::just(4).map([](int x) { return x + 1; })), Log{"5"});
  EXPECT_EQ(record(Single<int>::just(4).flatMap([](int x) { return Single<int>::just(x * 2); })), Log{"8"});
  EXPECT_EQ(record(just(3).asSingle()), Log{"3"});
  EXPECT_EQ(record(empty<int>().asSingle()), Log{"E:sequence completed without elements"});
  EXPECT_EQ(record(sloppy({1, 2}, false).asSingle()), Log{"E:sequence has more than one element"});
  EXPECT_EQ(record(sloppy({1}, true).asSingle()), Log{"E:boom"});

  Recorder<int> asObs;
  asObs.subscribe(twice.asObservable());
  EXPECT_EQ(asObs.log, (Log{"1", "C"}));
}

}  // namespace
}  // namespace tavrel::rx
