#include "tavrel/rx/loading_monitor.h"

#include <gtest/gtest.h>

#include "rx/recorder.h"

namespace tavrel::rx {
namespace {

using rxtest::boom;
using rxtest::Log;
using rxtest::record;

// Elements as text, then an error ("boom") when `fails`, else completion.
Observable<std::string> source(std::vector<std::string> elements, bool fails, int* runs = nullptr) {
  return Observable<std::string>::create([=](const Observer<std::string>& o) {
    if (runs) ++*runs;
    for (const auto& e : elements) o.onNext(e);
    if (fails) {
      o.onError(boom());
    } else {
      o.onCompleted();
    }
    return Disposable();
  });
}

std::string describe(const LoadingResult<std::string>& r) {
  if (!r.data) return r.loading ? "marker" : "marker off";
  const auto& e = *r.data;
  const std::string flag = r.loading ? " loading" : "";
  if (e.isNext()) return "next " + *e.element() + flag;
  return (e.isError() ? "error" : "completed") + flag;
}

TEST(LoadingMonitor, MarkerThenEventsAndTheSplitsOfThem) {
  struct Row {
    std::vector<std::string> elements;
    bool fails;
    Log monitored, loadingFlags, data, errors;
  };
  const Row rows[] = {
      {{"A", "B"}, false,
       {"marker", "next A", "next B", "completed", "C"},
       {"true", "false", "false", "false", "C"},
       {"A", "B", "C"}, {"C"}},
      {{}, false, {"marker", "completed", "C"}, {"true", "false", "C"}, {"C"}, {"C"}},
      // The error becomes an element; the monitored stream completes.
      {{}, true, {"marker", "error", "C"}, {"true", "false", "C"}, {"C"}, {"boom", "C"}},
      {{"A"}, true, {"marker", "next A", "error", "C"}, {"true", "false", "false", "C"},
       {"A", "C"}, {"boom", "C"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.monitored.size());
    auto monitored = monitorLoading(source(row.elements, row.fails));
    EXPECT_EQ(record(monitored.map(describe)), row.monitored);
    EXPECT_EQ(record(loading(monitored)), row.loadingFlags);
    EXPECT_EQ(record(data(monitored)), row.data);
    EXPECT_EQ(record(errors(monitored)), row.errors);
  }
  // Three flags and completion for a source of three elements.
  EXPECT_EQ(record(loading(monitorLoading(source({"a", "b", "c"}, false)))),
            (Log{"true", "false", "false", "false", "false", "C"}));
}

TEST(LoadingMonitor, ASplitStreamRunsItsSourceOncePerConsumerUnlessShared) {
  for (bool shared : {false, true}) {
    int runs = 0;
    PublishSubject<std::string> answers;  // a source that answers later, as a request does
    auto request = Observable<std::string>::create([&](const Observer<std::string>& o) {
      ++runs;
      return answers.asObservable().subscribe(o);
    });
    auto monitored = monitorLoading(request);
    if (shared) monitored = monitored.shareReplay1();
    Log flags, elements, failures;
    DisposeBag bag;
    loading(monitored).subscribe([&](bool f) { flags.push_back(f ? "t" : "f"); }).disposed(bag);
    data(monitored).subscribe([&](const std::string& e) { elements.push_back(e); }).disposed(bag);
    errors(monitored).subscribe([&](std::exception_ptr) { failures.push_back("e"); }).disposed(bag);
    answers.onNext("A");
    answers.onError(boom());
    EXPECT_EQ(runs, shared ? 1 : 3) << "shared " << shared;
    EXPECT_EQ(elements, (Log{"A"}));  // errors kept off data
    EXPECT_EQ(failures, (Log{"e"}));
    EXPECT_EQ(flags, (Log{"t", "f", "f"}));
  }
}

TEST(LoadingMonitor, IfThenElseWaitsForBothSidesAndKeepsEarlierChoices) {
  PublishSubject<bool> condition;
  PublishSubject<std::string> yes, no;
  Log out;
  DisposeBag bag;
  ifThenElse(condition.asObservable(), yes.asObservable(), no.asObservable())
      .subscribe([&](const std::string& v) { out.push_back(v); })
      .disposed(bag);
  condition.onNext(true);
  yes.onNext("y1");
  EXPECT_TRUE(out.empty()) << "nothing before the side not chosen has emitted";
  no.onNext("n1");
  EXPECT_EQ(out, (Log{"y1"}));
  condition.onNext(false);  // waits again for both: the new inner stream subscribed after them
  EXPECT_EQ(out, (Log{"y1"}));
  yes.onNext("y2");
  no.onNext("n2");
  // Both inner streams live: the true one picks y2 then its latest on n2;
  // the false one emits once both have emitted since it started.
  EXPECT_EQ(out, (Log{"y1", "y2", "y2", "n2"}));

  Log never;
  ifThenElse(just(true), just(std::string("x")), Observable<std::string>::create([](const auto&) {
               return Disposable();
             }))
      .subscribe([&](const std::string& v) { never.push_back(v); })
      .disposed(bag);
  EXPECT_TRUE(never.empty());
}

}  // namespace
}  // namespace tavrel::rx
