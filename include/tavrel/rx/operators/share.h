#pragma once
// `shareReplay1`: one source subscription for many subscribers. Included by
// observable.h.

#include "tavrel/rx/detail/subject_core.h"
#include "tavrel/rx/observable.h"

namespace tavrel::rx {

namespace detail {

// The stream of a subject: each subscription registers with `core`.
template <class T>
Observable<T> subjectObservable(const std::shared_ptr<SubjectCore<T>>& core) {
  return Observable<T>::create([core](const Observer<T>& o) { return core->subscribe(o); });
}

template <class T>
struct ShareState {
  explicit ShareState(Observable<T> s)
      : source(std::move(s)), core(std::make_shared<SubjectCore<T>>(ReplayMode::latestAndEnd)) {}

  Observable<T> source;
  std::shared_ptr<SubjectCore<T>> core;
  std::atomic<bool> connected{false};
};

}  // namespace detail

// The source subscription is never ended, even when every subscriber has gone
// (the lifetime is "forever"): a shared request runs once and its answer stays
// for whoever subscribes later.
template <class T>
Observable<T> Observable<T>::shareReplay1() const {
  auto st = std::make_shared<detail::ShareState<T>>(*this);
  return create([st](const Observer<T>& o) {
    auto subscription = st->core->subscribe(o);
    if (!st->connected.exchange(true)) {
      // The connection lives as long as the source keeps it; it is not kept
      // here, so nothing is disposed when the last handle goes away.
      st->source.subscribe(Observer<T>(st->core));
    }
    return subscription;
  });
}

}  // namespace tavrel::rx
