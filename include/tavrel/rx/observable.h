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
// error. An exception thrown by a subscriber's own code, its callbacks or the
// `Observer` it subscribed, is caught at the subscription, written to the
// debug sink ("rx: onNext threw: <what>"), and goes no further: the producer
// and the operators in between (`observeOn`, shares, subjects) carry on as if
// the call had returned, and the subscription goes on receiving later events.
//
// Disposal. Once `dispose()` returns, nothing more reaches that subscription,
// whichever way it subscribed; see `Disposable` for the threads involved.

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
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

// Marks a subscription made by an operator to its source (see `LinkSink`).
struct Link {};
inline constexpr Link link{};

// The sink of an operator's subscription to its source: it keeps the grammar
// and disposes the producer once the stream has ended, without a gate. The
// gate belongs to the subscriber's end of the chain (`Sink`); a gate on every
// link would be taken in both directions, by elements going down and by
// disposal going up from a sibling source's end.
template <class T>
class LinkSink final : public ObserverBase<T>, public DisposableBase {
 public:
  explicit LinkSink(Observer<T> downstream) : downstream_(std::move(downstream)) {}
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

// What lets `dispose()` wait for a delivery in progress without holding a
// lock while the subscriber's code runs (no lock is held across callbacks, so
// callbacks may feed and dispose other streams freely).
class Gate {
 public:
  // Starts one delivery; false once the gate is closed. `closing` closes it
  // in the same step (for the end of the stream).
  bool enter(bool closing) {
    std::lock_guard lock(mutex_);
    if (closed_) return false;
    closed_ = closing;
    ++inside_;
    thread_ = std::this_thread::get_id();
    return true;
  }
  void leave() {
    {
      std::lock_guard lock(mutex_);
      --inside_;
    }
    left_.notify_all();
  }
  // Closes the gate, then waits for a delivery still running on another
  // thread; one running on this thread (disposal from inside it) is not waited for.
  void close() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    left_.wait(lock, [&] { return inside_ == 0 || thread_ == std::this_thread::get_id(); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  bool closed_ = false;
  int inside_ = 0;
  std::thread::id thread_;
};

// The observer that a producer talks to, and the handle that ends the
// subscriber's subscription. It keeps the stream's grammar (nothing after the
// end or after disposal), disposes the producer's subscription once the
// stream has ended, and is the subscriber's boundary:
// - events pass a gate, so once `dispose()` returns no event starts and none
//   is still running on another thread (see `Disposable`);
// - an exception thrown by the code downstream is caught here, reported
//   through `debugPrint`, and goes no further up the chain.
template <class T>
class Sink final : public ObserverBase<T>, public DisposableBase {
 public:
  explicit Sink(Observer<T> downstream) : downstream_(std::move(downstream)) {}
  void onNext(const T& value) override {
    deliver(false, [&] { downstream_.onNext(value); }, "onNext");
  }
  void onError(std::exception_ptr error) override {
    if (deliver(true, [&] { downstream_.onError(std::move(error)); }, "onError")) upstream_.dispose();
  }
  void onCompleted() override {
    if (deliver(true, [&] { downstream_.onCompleted(); }, "onCompleted")) upstream_.dispose();
  }
  void dispose() override {
    gate_.close();
    upstream_.dispose();
  }
  void setUpstream(Disposable d) { upstream_.set(std::move(d)); }

 private:
  template <class F>
  bool deliver(bool last, F call, const char* where) {
    if (!gate_.enter(last)) return false;
    try {
      call();
    } catch (...) {
      reportCallbackException(where, std::current_exception());
    }
    gate_.leave();
    return true;
  }

  Gate gate_;
  Observer<T> downstream_;
  SingleAssignment upstream_;
};

}  // namespace detail

// How long the replay of a shared stream lives; see `shareReplay1`.
enum class SubjectLifetimeScope { whileConnected, forever };

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
    auto sink = std::make_shared<detail::Sink<T>>(observer);
    sink->setUpstream(run(Observer<T>(sink)));
    return Disposable(sink);
  }

  // The subscription of an operator to its source: no gate, no catch; the
  // subscriber's own subscription further down has both.
  Disposable subscribe(detail::Link, const Observer<T>& observer) const {
    auto sink = std::make_shared<detail::LinkSink<T>>(observer);
    sink->setUpstream(run(Observer<T>(sink)));
    return Disposable(sink);
  }

  // Subscribes callbacks; any of them may be empty (an error without
  // `onError` just ends the subscription).
  Disposable subscribe(std::function<void(const T&)> onNext,
                       std::function<void(std::exception_ptr)> onError = {},
                       std::function<void()> onCompleted = {}) const {
    return subscribe(Observer<T>(std::move(onNext), std::move(onError), std::move(onCompleted)));
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

  // One subscription to the source for all subscribers, with the last element
  // replayed to each newcomer (`share(replay: 1, scope:)`). The first
  // subscriber connects to the source; when the last one leaves, the source
  // subscription is disposed. `whileConnected` (the default): each connection
  // has its own replay, and once the source has ended, with completion or an
  // error, the next subscriber connects again; nothing outlives a connection.
  // `forever`: one replay for all connections, stale elements included; once
  // the source has ended, every later subscriber gets its last element and
  // its end, and the source is not subscribed again.
  Observable shareReplay1(SubjectLifetimeScope scope = SubjectLifetimeScope::whileConnected) const;

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
