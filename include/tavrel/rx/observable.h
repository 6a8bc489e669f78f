#pragma once
// `Observable<T>`: a stream of elements that ends with completion or an error.
//
// Observables are cold values: each `subscribe` runs the producer again,
// unless the stream was shared (`shareReplay1()`). Copies are cheap and share
// the producer. Operators are member functions so that they chain:
//
//     auto names = users.filter(isActive).map(nameOf).distinctUntilChanged();
//     names.subscribe([](const std::string& n) { ... }).disposed(bag);
//
// Exceptions. An exception thrown by an operator's function (`map`, `filter`,
// `flatMap`, `catchError`'s handler, a `create` function) becomes the stream's
// error. An exception thrown by a subscriber's own callback is caught at the
// subscription, reported through `debugPrint`, and the subscription goes on
// receiving later events; it never reaches the producer.

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/event.h"
#include "tavrel/rx/observer.h"
#include "tavrel/rx/scheduler.h"

namespace tavrel::rx {

template <class T>
class Observable;

namespace detail {

template <class X>
struct IsObservable : std::false_type {};
template <class X>
struct IsObservable<Observable<X>> : std::true_type {};

template <class X>
struct IsOptional : std::false_type {};
template <class X>
struct IsOptional<std::optional<X>> : std::true_type {};

// The observer that a producer talks to: drops whatever breaks the grammar
// and disposes the producer's subscription once the stream has ended.
template <class T>
class ForwardSink final : public ObserverBase<T>, public DisposableBase {
 public:
  explicit ForwardSink(Observer<T> downstream) : downstream_(std::move(downstream)) {}
  void onNext(const T& value) override {
    if (!stopped_.load(std::memory_order_acquire)) downstream_.onNext(value);
  }
  void onError(std::exception_ptr error) override {
    if (stopped_.exchange(true)) return;
    downstream_.onError(std::move(error));
    upstream_.dispose();
  }
  void onCompleted() override {
    if (stopped_.exchange(true)) return;
    downstream_.onCompleted();
    upstream_.dispose();
  }
  void dispose() override {
    stopped_.store(true, std::memory_order_release);
    upstream_.dispose();
  }
  void setUpstream(Disposable d) { upstream_.set(std::move(d)); }

 private:
  Observer<T> downstream_;
  std::atomic<bool> stopped_{false};
  SingleAssignment upstream_;
};

// The end of a chain: a subscriber's callbacks behind a gate, so that once
// `dispose()` returns no callback starts (see `Disposable`).
template <class T>
class CallbackSink final : public ObserverBase<T>, public DisposableBase {
 public:
  CallbackSink(std::function<void(const T&)> n, std::function<void(std::exception_ptr)> e,
               std::function<void()> c)
      : next_(std::move(n)), error_(std::move(e)), completed_(std::move(c)) {}
  void onNext(const T& value) override {
    std::lock_guard lock(gate_);
    if (stopped_) return;
    if (!next_) return;
    try {
      next_(value);
    } catch (...) {
      reportCallbackException("onNext", std::current_exception());
    }
  }
  void onError(std::exception_ptr error) override {
    {
      std::lock_guard lock(gate_);
      if (stopped_) return;
      stopped_ = true;
      if (error_) {
        try {
          error_(std::move(error));
        } catch (...) {
          reportCallbackException("onError", std::current_exception());
        }
      }
    }
    upstream_.dispose();
  }
  void onCompleted() override {
    {
      std::lock_guard lock(gate_);
      if (stopped_) return;
      stopped_ = true;
      if (completed_) {
        try {
          completed_();
        } catch (...) {
          reportCallbackException("onCompleted", std::current_exception());
        }
      }
    }
    upstream_.dispose();
  }
  void dispose() override {
    {
      std::lock_guard lock(gate_);
      stopped_ = true;
    }
    upstream_.dispose();
  }
  void setUpstream(Disposable d) { upstream_.set(std::move(d)); }

 private:
  std::recursive_mutex gate_;
  bool stopped_ = false;
  std::function<void(const T&)> next_;
  std::function<void(std::exception_ptr)> error_;
  std::function<void()> completed_;
  SingleAssignment upstream_;
};

}  // namespace detail

template <class T>
class Observable {
 public:
  using Element = T;
  // Starts the producer for one observer; returns what ends it.
  using SubscribeFunction = std::function<Disposable(const Observer<T>& observer)>;

  // An observable that completes at once without elements.
  Observable();

  // A stream whose producer is `subscribe`, run once per subscription. The
  // observer handed to it may be called from any thread, but not from two
  // threads at once. An exception from `subscribe` becomes the stream's error.
  static Observable create(SubscribeFunction subscribe) {
    return Observable(std::make_shared<const SubscribeFunction>(std::move(subscribe)));
  }

  // Subscribes an observer. Returns what ends the subscription.
  Disposable subscribe(const Observer<T>& observer) const {
    auto sink = std::make_shared<detail::ForwardSink<T>>(observer);
    sink->setUpstream(run(Observer<T>(sink)));
    return Disposable(sink);
  }

  // Subscribes callbacks; any of them may be empty (an error without
  // `onError` just ends the subscription).
  Disposable subscribe(std::function<void(const T&)> onNext,
                       std::function<void(std::exception_ptr)> onError = {},
                       std::function<void()> onCompleted = {}) const {
    auto sink = std::make_shared<detail::CallbackSink<T>>(std::move(onNext), std::move(onError),
                                                          std::move(onCompleted));
    sink->setUpstream(run(Observer<T>(sink)));
    return Disposable(sink);
  }

  // --- Transforming (operators/transform.h) ---

  // Each element through `f`.
  template <class F>
  auto map(F f) const -> Observable<std::decay_t<std::invoke_result_t<F&, const T&>>>;
  // Only the elements for which `predicate` is true.
  template <class P>
  Observable filter(P predicate) const;
  // `values` first, in order, then the source.
  template <class... V>
  Observable startWith(V&&... values) const;
  // Drops an element equal to the one before it.
  Observable distinctUntilChanged() const
    requires std::equality_comparable<T>;
  // Every event, completion and error included, as an element; then completes.
  Observable<Event<T>> materialize() const;
  // On a stream of `Event<U>`: the elements of the `next` events.
  auto elements() const
    requires detail::IsEvent<T>::value;
  // On a stream of `Event<U>`: the errors of the `error` events.
  Observable<std::exception_ptr> errors() const
    requires detail::IsEvent<T>::value;
  // On a stream of `std::optional<U>`: the values, absences dropped.
  auto unwrap() const
    requires detail::IsOptional<T>::value;
  // Prints subscription, each event and disposal through `debugPrint`, as
  // "<time>: <identifier> -> Event next(<value>)" and so on.
  Observable debug(std::string identifier) const;

  // --- Combining (operators/combine.h) ---

  // Each element starts the stream `f(element)`; all of them are merged into
  // one. Ends with the first error of the source or of any inner stream, and
  // completes when the source and every inner stream have completed.
  template <class F>
  auto flatMap(F f) const;
  // On error, continues with the stream that `handler(error)` returns.
  template <class H>
  Observable catchError(H handler) const;
  // On error, emits `value` and completes.
  Observable catchErrorJustReturn(T value) const;

  // --- Time and threads (operators/time.h) ---

  // Emits an element only after `dueTime` passed with no newer element; on
  // completion, emits the pending element first.
  Observable debounce(Duration dueTime, SchedulerPtr scheduler) const;
  // Delivers every event through `scheduler`, in order.
  Observable observeOn(SchedulerPtr scheduler) const;

  // --- Sharing (operators/share.h) ---

  // One subscription to the source, made by the first subscriber and kept for
  // ever; the last element is replayed to every later subscriber, and so is
  // the end of the stream once the source has ended.
  Observable shareReplay1() const;

  // --- Conversions (single.h, driver.h) ---

  // A `Single` of the only element; fails with `NoElementsError` or
  // `MoreThanOneElementError` otherwise.
  auto asSingle() const;
  // Delivered on the main queue; an error becomes `onErrorJustReturn` and the end.
  auto asDriver(T onErrorJustReturn) const;

 private:
  // Runs the producer for `observer`, turning an exception into an error.
  Disposable run(const Observer<T>& observer) const {
    try {
      return (*subscribe_)(observer);
    } catch (...) {
      observer.onError(std::current_exception());
      return Disposable();
    }
  }

  explicit Observable(std::shared_ptr<const SubscribeFunction> fn) : subscribe_(std::move(fn)) {}

  std::shared_ptr<const SubscribeFunction> subscribe_;
};

// --- Sources ---

// One element, then completion.
template <class T>
Observable<std::decay_t<T>> just(T&& value) {
  using V = std::decay_t<T>;
  return Observable<V>::create([v = V(std::forward<T>(value))](const Observer<V>& o) {
    o.onNext(v);
    o.onCompleted();
    return Disposable();
  });
}

// Completion at once.
template <class T>
Observable<T> empty() {
  return Observable<T>();
}

// The error at once.
template <class T>
Observable<T> error(std::exception_ptr e) {
  return Observable<T>::create([e](const Observer<T>& o) {
    o.onError(e);
    return Disposable();
  });
}

template <class T>
Observable<T>::Observable()
    : subscribe_(std::make_shared<const SubscribeFunction>([](const Observer<T>& o) {
        o.onCompleted();
        return Disposable();
      })) {}

}  // namespace tavrel::rx

#include "tavrel/rx/operators/transform.h"
#include "tavrel/rx/operators/combine.h"
#include "tavrel/rx/operators/time.h"
#include "tavrel/rx/operators/share.h"
// The conversions declared above.
#include "tavrel/rx/single.h"
#include "tavrel/rx/driver.h"
