#include "tavrel/rx/loading_monitor.h"

#include <gtest/gtest.h>

#include "rx/recorder.h"

namespace tavrel::rx {
namespace {

using rxtest::boom;
using rxtest::Log;
using rxtest::record;

// Elements as text, then an error ("boom") when `fails`, else completion.
Observable<std::string> source(std::vector<std::string> elements, bool fails) {
  return Observable<std::string>::create([=](const Observer<std::string>& o) {
    for (const auto& e : elements) o.onNext(e);
    fails ? o.onError(boom()) : o.onCompleted();
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
      // The error becomes an element; the monitored stream completes.
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
}

}  // namespace
}  // namespace tavrel::rx
