#pragma once
// `Single<T>`: a stream of exactly one element, or an error.

#include <functional>
#include <optional>
#include <utility>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

// The receiving end of a `Single`, handed to `Single<T>::create`. The first of
// `onSuccess` and `onError` wins; later calls are dropped.
template <class T>
class SingleObserver {
 public:
  explicit SingleObserver(Observer<T> observer) : observer_(std::move(observer)) {}
  void onSuccess(const T& value) const {
    observer_.onNext(value);
    observer_.onCompleted();
  }
  void onError(std::exception_ptr error) const { observer_.onError(std::move(error)); }

 private:
  Observer<T> observer_;
};

template <class T>
class Single {
 public:
  using Element = T;
  using SubscribeFunction = std::function<Disposable(const SingleObserver<T>& observer)>;

  // A single whose producer is `subscribe`, run once per subscription.
  static Single create(SubscribeFunction subscribe) {
    return Single(Observable<T>::create([subscribe = std::move(subscribe)](const Observer<T>& o) {
      return subscribe(SingleObserver<T>(o));
    }));
  }
  // Succeeds with `value` at once.
  static Single just(T value) { return Single(rx::just(std::move(value))); }
  // Fails with `error` at once.
  static Single error(std::exception_ptr error) { return Single(rx::error<T>(std::move(error))); }

  // Subscribes callbacks; either may be empty.
  Disposable subscribe(std::function<void(const T&)> onSuccess,
                       std::function<void(std::exception_ptr)> onError = {}) const {
    return source_.subscribe(std::move(onSuccess), std::move(onError));
  }

  // The value through `f`; an exception from `f` becomes the error.
  template <class F>
  auto map(F f) const {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return Single<U>(source_.map(std::move(f)));
  }
  // The single that `f` makes of the value.
  template <class F>
  auto flatMap(F f) const {
    using U = typename std::invoke_result_t<F&, const T&>::Element;
    return Single<U>(source_.flatMap(std::move(f)));
  }

  // The same as an `Observable`: one element and completion, or the error.
  Observable<T> asObservable() const { return source_; }

 private:
  template <class U>
  friend class Single;
  template <class U>
  friend class Observable;
  explicit Single(Observable<T> source) : source_(std::move(source)) {}

  Observable<T> source_;
};

template <class T>
auto Observable<T>::asSingle() const {
  return Single<T>(Observable<T>::create([src = *this](const Observer<T>& o) {
    // The element is held until completion shows it was the only one.
    auto value = std::make_shared<std::optional<T>>();
    return src.subscribe(detail::link, detail::makeObserver<T>(
        [o, value](const T& v) {
          if (*value) {
            o.onError(std::make_exception_ptr(MoreThanOneElementError()));
            return;
          }
          *value = v;
        },
        [o](std::exception_ptr e) { o.onError(std::move(e)); },
        [o, value] {
          if (!*value) {
            o.onError(std::make_exception_ptr(NoElementsError()));
            return;
          }
          o.onNext(**value);
          o.onCompleted();
        }));
  }));
}

}  // namespace tavrel::rx
