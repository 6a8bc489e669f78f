#pragma once
// Loading monitors: `monitorLoading` turns any stream into one stream of
// `LoadingResult`s with a loading flag, and `loading`, `data` and `errors`
// split that stream again, so that one source drives a loading indicator, a
// data consumer and an error consumer without shared mutable state.
//
//     auto monitored = monitorLoading(service.articles()).shareReplay1();
//     loading(monitored).subscribe(showSpinner);
//     data(monitored).subscribe(showArticles);
//     errors(monitored).subscribe(showError);
//
// Each of `loading`, `data` and `errors` subscribes to the stream it is
// given: share a stream that is split (as above), or its source runs once
// per consumer. The operators add no scheduling: everything runs on the
// thread of the source.

#include <concepts>
#include <exception>
#include <optional>
#include <tuple>
#include <utility>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

// A stream element with a loading flag: a loading marker (`data` empty), or
// one event of the source (`data` set, `loading` false).
template <class E>
struct LoadingResult {
  using ElementType = E;

  explicit LoadingResult(bool isLoading) : loading(isLoading) {}
  explicit LoadingResult(Event<E> event) : data(std::move(event)) {}

  std::optional<Event<E>> data;
  bool loading = false;
};

// What `loading`, `data` and `errors` read: `ElementType`, `data` and `loading`.
template <class R>
concept LoadingDataConvertible = requires(const R& r) {
  typename R::ElementType;
  { r.data } -> std::convertible_to<std::optional<Event<typename R::ElementType>>>;
  { r.loading } -> std::convertible_to<bool>;
};

// A marker with loading true, then every event of the source (its error and
// completion included) as an element with loading false; then completes.
// The source's error ends the source only: the output completes normally.
template <class E>
Observable<LoadingResult<E>> monitorLoading(const Observable<E>& source) {
  return source.materialize()
      .map([](const Event<E>& event) { return LoadingResult<E>(event); })
      .startWith(LoadingResult<E>(true));
}

// The flag of each element: true first, false from the first event on.
template <LoadingDataConvertible R>
Observable<bool> loading(const Observable<R>& stream) {
  return stream.map([](const R& r) -> bool { return r.loading; });
}

namespace detail {
// The source's events, markers dropped.
template <LoadingDataConvertible R>
auto events(const Observable<R>& stream) {
  return stream.filter([](const R& r) { return !r.loading; })
      .map([](const R& r) { return std::optional<Event<typename R::ElementType>>(r.data); })
      .unwrap();
}
}  // namespace detail

// The source's elements; its error is not one of them.
template <LoadingDataConvertible R>
Observable<typename R::ElementType> data(const Observable<R>& stream) {
  return detail::events(stream).elements();
}

// The source's error, as an element.
template <LoadingDataConvertible R>
Observable<std::exception_ptr> errors(const Observable<R>& stream) {
  return detail::events(stream).errors();
}

// For each boolean of `condition`, the latest element of `whenTrue` (true)
// or of `whenFalse` (false). Both are subscribed for every boolean, whichever
// is chosen, so nothing comes out until both have emitted; the streams of
// earlier booleans go on as well.
template <class T>
Observable<T> ifThenElse(const Observable<bool>& condition, Observable<T> whenTrue,
                         Observable<T> whenFalse) {
  return condition.flatMap([whenTrue, whenFalse](const bool& value) {
    return combineLatest(just(value), whenTrue, whenFalse)
        .map([](const std::tuple<bool, T, T>& t) { return std::get<0>(t) ? std::get<1>(t) : std::get<2>(t); });
  });
}

}  // namespace tavrel::rx
