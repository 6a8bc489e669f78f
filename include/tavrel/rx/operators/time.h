#pragma once
// Operators that involve a scheduler: `debounce` and `observeOn`. Included by
// observable.h.

#include <deque>
#include <optional>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

namespace detail {

template <class T>
struct DebounceState {
  DebounceState(Observer<T> o, Duration d, SchedulerPtr s)
      : downstream(std::move(o)), dueTime(d), scheduler(std::move(s)) {}

  void disposeAll() {
    {
      std::lock_guard lock(mutex);
      stopped = true;
      pending.reset();
    }
    timer.dispose();
    source.dispose();
  }

  std::recursive_mutex mutex;
  Observer<T> downstream;
  Duration dueTime;
  SchedulerPtr scheduler;
  std::optional<T> pending;
  std::uint64_t generation = 0;
  bool stopped = false;
  SerialAssignment timer;
  SingleAssignment source;
};

template <class T>
struct ObserveOnState {
  ObserveOnState(Observer<T> o, SchedulerPtr s) : downstream(std::move(o)), scheduler(std::move(s)) {}

  void push(Event<T> event, const std::shared_ptr<ObserveOnState>& self) {
    {
      std::lock_guard lock(mutex);
      if (disposed) return;
      queue.push_back(std::move(event));
      if (draining) return;
      draining = true;
    }
    std::weak_ptr<ObserveOnState> weak = self;
    scheduler->schedule([weak] {
      if (auto st = weak.lock()) st->drain();
    });
  }
  void drain() {
    for (;;) {
      std::optional<Event<T>> event;
      {
        std::lock_guard lock(mutex);
        if (disposed || queue.empty()) {
          draining = false;
          return;
        }
        event.emplace(std::move(queue.front()));
        queue.pop_front();
      }
      // The subscription catches its subscriber's exceptions; this is a
      // backstop so that nothing can leave the state draining for ever.
      try {
        downstream.on(*event);
      } catch (...) {
        reportCallbackException("observeOn", std::current_exception());
      }
    }
  }
  void disposeAll() {
    {
      std::lock_guard lock(mutex);
      disposed = true;
      queue.clear();
    }
    source.dispose();
  }

  std::mutex mutex;
  Observer<T> downstream;
  SchedulerPtr scheduler;
  std::deque<Event<T>> queue;
  bool draining = false;
  bool disposed = false;
  SingleAssignment source;
};

}  // namespace detail

template <class T>
Observable<T> Observable<T>::debounce(Duration dueTime, SchedulerPtr scheduler) const {
  return create([src = *this, dueTime, scheduler](const Observer<T>& o) {
    auto state = std::make_shared<detail::DebounceState<T>>(o, dueTime, scheduler);
    std::weak_ptr<detail::DebounceState<T>> weak = state;
    state->source.set(src.subscribe(detail::link, detail::makeObserver<T>(
        [weak](const T& v) {
          auto st = weak.lock();
          if (!st) return;
          std::uint64_t generation = 0;
          {
            std::lock_guard lock(st->mutex);
            if (st->stopped) return;
            st->pending = v;
            generation = ++st->generation;
          }
          st->timer.set(st->scheduler->scheduleAfter(st->dueTime, [weak, generation] {
            auto self = weak.lock();
            if (!self) return;
            std::lock_guard lock(self->mutex);
            if (self->stopped || self->generation != generation || !self->pending) return;
            T value = std::move(*self->pending);
            self->pending.reset();
            self->downstream.onNext(value);
          }));
        },
        [weak](std::exception_ptr e) {
          auto st = weak.lock();
          if (!st) return;
          {
            std::lock_guard lock(st->mutex);
            if (st->stopped) return;
            st->stopped = true;
            st->pending.reset();
          }
          st->downstream.onError(std::move(e));
          st->disposeAll();
        },
        [weak] {
          auto st = weak.lock();
          if (!st) return;
          std::optional<T> last;
          {
            std::lock_guard lock(st->mutex);
            if (st->stopped) return;
            st->stopped = true;
            last.swap(st->pending);
          }
          // Outside the lock, as in combine.h; `stopped` keeps the timer quiet.
          if (last) st->downstream.onNext(*last);
          st->downstream.onCompleted();
          st->disposeAll();
        })));
    return Disposable::create([state] { state->disposeAll(); });
  });
}

template <class T>
Observable<T> Observable<T>::observeOn(SchedulerPtr scheduler) const {
  return create([src = *this, scheduler](const Observer<T>& o) {
    auto state = std::make_shared<detail::ObserveOnState<T>>(o, scheduler);
    std::weak_ptr<detail::ObserveOnState<T>> weak = state;
    state->source.set(src.subscribe(detail::link, detail::makeObserver<T>(
        [weak](const T& v) {
          if (auto st = weak.lock()) st->push(Event<T>::next(v), st);
        },
        [weak](std::exception_ptr e) {
          if (auto st = weak.lock()) st->push(Event<T>::error(std::move(e)), st);
        },
        [weak] {
          if (auto st = weak.lock()) st->push(Event<T>::completed(), st);
        })));
    return Disposable::create([state] { state->disposeAll(); });
  });
}

}  // namespace tavrel::rx
