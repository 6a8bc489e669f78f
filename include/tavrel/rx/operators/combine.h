#pragma once
// Operators that join several streams: `flatMap`, `catchError` and the free
// function `combineLatest`. Included by observable.h.
//
// The joined output is serialized: sources may emit from different threads,
// the downstream observer sees one event at a time. That serialization uses a
// recursive lock held while delivering elements, so re-entrant calls from the
// same thread are fine; a downstream callback must not wait for another thread
// that is emitting into the same operator. The end of the stream is delivered
// after the lock is released (the operator is marked stopped first, so no
// element follows it): ending disposes the sources, and disposing a source
// waits for its deliveries, which may be waiting for this lock.

#include <array>
#include <map>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

namespace detail {

// `x` itself if it is an `Observable`, otherwise `x.asObservable()` (a
// `Single`, a `Driver`).
template <class X>
auto toObservable(X&& x) {
  if constexpr (IsObservable<std::decay_t<X>>::value) {
    return std::forward<X>(x);
  } else {
    return x.asObservable();
  }
}

template <class U>
struct FlatMapState {
  explicit FlatMapState(Observer<U> o) : downstream(std::move(o)) {}

  void error(std::exception_ptr e) {
    {
      std::lock_guard lock(mutex);
      if (stopped) return;
      stopped = true;
    }
    downstream.onError(std::move(e));
    disposeAll();
  }
  // One of the active streams (the source or an inner one) completed.
  void completeOne() {
    {
      std::lock_guard lock(mutex);
      if (stopped || --active != 0) return;
      stopped = true;
    }
    downstream.onCompleted();
    disposeAll();
  }
  void disposeAll() {
    std::map<std::uint64_t, Disposable> taken;
    {
      std::lock_guard lock(mutex);
      stopped = true;
      taken.swap(inners);
    }
    source.dispose();
    for (auto& [id, d] : taken) d.dispose();
  }

  std::recursive_mutex mutex;
  Observer<U> downstream;
  bool stopped = false;
  std::size_t active = 1;  // the source counts as one
  std::uint64_t nextId = 0;
  std::map<std::uint64_t, Disposable> inners;
  SingleAssignment source;
};

template <class... Ts>
struct CombineLatestState {
  static constexpr std::size_t N = sizeof...(Ts);
  using Out = std::tuple<Ts...>;
  explicit CombineLatestState(Observer<Out> o) : downstream(std::move(o)) {}

  template <std::size_t I, class V>
  void next(const V& v) {
    std::lock_guard lock(mutex);
    if (stopped) return;
    auto& slot = std::get<I>(latest);
    if (!slot) ++haveValue;
    slot = v;
    if (haveValue == N) emit(std::index_sequence_for<Ts...>{});
  }
  template <std::size_t... Is>
  void emit(std::index_sequence<Is...>) {
    downstream.onNext(Out(*std::get<Is>(latest)...));
  }
  void error(std::exception_ptr e) {
    {
      std::lock_guard lock(mutex);
      if (stopped) return;
      stopped = true;
    }
    downstream.onError(std::move(e));
    disposeAll();
  }
  void completed() {
    {
      std::lock_guard lock(mutex);
      if (stopped || ++done < N) return;
      stopped = true;
    }
    downstream.onCompleted();
    disposeAll();
  }
  void disposeAll() {
    {
      std::lock_guard lock(mutex);
      stopped = true;
    }
    for (auto& s : subscriptions) s.dispose();
  }

  std::recursive_mutex mutex;
  Observer<Out> downstream;
  std::tuple<std::optional<Ts>...> latest;
  std::size_t haveValue = 0;
  std::size_t done = 0;
  bool stopped = false;
  std::array<SingleAssignment, N> subscriptions;
};

template <class S, class Tuple, std::size_t... Is>
void subscribeAll(const std::shared_ptr<S>& st, const Tuple& sources, std::index_sequence<Is...>) {
  (st->subscriptions[Is].set(std::get<Is>(sources).subscribe(detail::link,
       makeObserver<typename std::tuple_element_t<Is, Tuple>::Element>(
           [st](const auto& v) { st->template next<Is>(v); },
           [st](std::exception_ptr e) { st->error(std::move(e)); }, [st] { st->completed(); }))),
   ...);
}

}  // namespace detail

template <class T>
template <class F>
auto Observable<T>::flatMap(F f) const {
  using Inner = decltype(detail::toObservable(std::declval<std::invoke_result_t<F&, const T&>>()));
  using U = typename Inner::Element;
  return Observable<U>::create([src = *this, f = std::move(f)](const Observer<U>& o) {
    auto st = std::make_shared<detail::FlatMapState<U>>(o);
    st->source.set(src.subscribe(detail::link, detail::makeObserver<T>(
        [st, f](const T& v) mutable {
          std::optional<Inner> inner;
          try {
            inner.emplace(detail::toObservable(f(v)));
          } catch (...) {
            st->error(std::current_exception());
            return;
          }
          std::uint64_t id = 0;
          {
            std::lock_guard lock(st->mutex);
            if (st->stopped) return;
            id = st->nextId++;
            ++st->active;
            st->inners.emplace(id, Disposable());
          }
          auto d = inner->subscribe(detail::link, detail::makeObserver<U>(
              [st](const U& u) {
                std::lock_guard lock(st->mutex);
                if (!st->stopped) st->downstream.onNext(u);
              },
              [st](std::exception_ptr e) { st->error(std::move(e)); },
              [st, id] {
                {
                  std::lock_guard lock(st->mutex);
                  st->inners.erase(id);
                }
                st->completeOne();
              }));
          bool keep = false;
          {
            std::lock_guard lock(st->mutex);
            auto it = st->inners.find(id);
            if (it != st->inners.end() && !st->stopped) {
              it->second = d;
              keep = true;
            }
          }
          if (!keep) d.dispose();
        },
        [st](std::exception_ptr e) { st->error(std::move(e)); }, [st] { st->completeOne(); })));
    return Disposable::create([st] { st->disposeAll(); });
  });
}

template <class T>
template <class H>
Observable<T> Observable<T>::catchError(H handler) const {
  return create([src = *this, handler = std::move(handler)](const Observer<T>& o) {
    auto first = std::make_shared<detail::SingleAssignment>();
    auto second = std::make_shared<detail::SingleAssignment>();
    first->set(src.subscribe(detail::link, detail::makeObserver<T>(
        [o](const T& v) { o.onNext(v); },
        [o, handler, second](std::exception_ptr e) mutable {
          std::optional<Observable<T>> next;
          try {
            next.emplace(detail::toObservable(handler(std::move(e))));
          } catch (...) {
            o.onError(std::current_exception());
            return;
          }
          second->set(next->subscribe(detail::link, o));
        },
        [o] { o.onCompleted(); })));
    return Disposable::create([first, second] {
      first->dispose();
      second->dispose();
    });
  });
}

template <class T>
Observable<T> Observable<T>::catchErrorJustReturn(T value) const {
  return catchError([value = std::move(value)](std::exception_ptr) { return just(value); });
}

// The latest element of every source as a tuple, each time any of them emits,
// once all have emitted. Fails with the first error; completes when all
// sources have completed.
template <class... Ts>
Observable<std::tuple<Ts...>> combineLatest(const Observable<Ts>&... sources) {
  static_assert(sizeof...(Ts) >= 2, "combineLatest joins two or more streams");
  using Out = std::tuple<Ts...>;
  return Observable<Out>::create([sources = std::make_tuple(sources...)](const Observer<Out>& o) {
    auto st = std::make_shared<detail::CombineLatestState<Ts...>>(o);
    detail::subscribeAll(st, sources, std::index_sequence_for<Ts...>{});
    return Disposable::create([st] { st->disposeAll(); });
  });
}

}  // namespace tavrel::rx
