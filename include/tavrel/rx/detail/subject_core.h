#pragma once
// The shared machinery of subjects, relays and `shareReplay1`: a list of
// observers and, depending on the kind, a current value.
//
// Emissions are serialized per subject without holding a lock while
// observers run: an event goes into the subject's queue, and whichever thread
// finds the subject idle delivers the queue in order, including what other
// threads add meanwhile. So several threads may feed one subject, each
// observer sees one event at a time in the order they were accepted, and an
// emission, subscription or disposal from inside a callback never deadlocks:
// an event emitted from a callback is delivered after that callback returns.
// The price: under contention `onNext` may return before its element has been
// delivered (another thread is delivering it).

#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/event.h"
#include "tavrel/rx/observer.h"

namespace tavrel::rx::detail {

// How a subject treats late subscribers.
enum class ReplayMode {
  none,          // publish: nothing replayed; after the end, only the end
  latest,        // behavior: the current value; after the end, only the end
  latestAndEnd,  // replay of one: the last value, and after the end, it and the end
};

template <class T>
class SubjectCore final : public ObserverBase<T>, public std::enable_shared_from_this<SubjectCore<T>> {
 public:
  explicit SubjectCore(ReplayMode mode) : mode_(mode), observers_(std::make_shared<const Observers>()) {}
  SubjectCore(ReplayMode mode, T initial) : SubjectCore(mode) { value_.emplace(std::move(initial)); }

  void onNext(const T& value) override {
    std::unique_lock lock(mutex_);
    if (stopped_) return;
    if (mode_ != ReplayMode::none) value_ = value;
    queue_.push_back(Pending{Event<T>::next(value), std::nullopt, sequence_++});
    drain(lock);
  }
  void onError(std::exception_ptr error) override { stop(Event<T>::error(std::move(error))); }
  void onCompleted() override { stop(Event<T>::completed()); }

  Disposable subscribe(const Observer<T>& observer) {
    std::unique_lock lock(mutex_);
    if (stopped_) {
      if (mode_ == ReplayMode::latestAndEnd && value_) {
        queue_.push_back(Pending{Event<T>::next(*value_), observer, sequence_});
      }
      queue_.push_back(Pending{end_ ? *end_ : Event<T>::completed(), observer, sequence_});
      drain(lock);
      return Disposable();
    }
    const std::uint64_t id = nextId_++;
    auto next = std::make_shared<Observers>(*observers_);
    next->push_back(Entry{id, observer, sequence_});
    observers_ = std::move(next);
    if (mode_ != ReplayMode::none && value_) {
      queue_.push_back(Pending{Event<T>::next(*value_), observer, sequence_});
    }
    drain(lock);
    std::weak_ptr<SubjectCore> weak = this->shared_from_this();
    return Disposable::create([weak, id] {
      if (auto core = weak.lock()) core->unsubscribe(id);
    });
  }

  // The current value; for a behavior subject it always exists.
  std::optional<T> value() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  bool hasObservers() const {
    std::lock_guard lock(mutex_);
    return !observers_->empty();
  }

 private:
  struct Entry {
    std::uint64_t id;
    Observer<T> observer;
    std::uint64_t firstSequence;  // events accepted before the subscription are not its
  };
  using Observers = std::vector<Entry>;
  struct Pending {
    Event<T> event;
    std::optional<Observer<T>> target;  // one late subscriber, or everyone
    std::uint64_t sequence;
  };

  void stop(Event<T> end) {
    std::unique_lock lock(mutex_);
    if (stopped_) return;
    stopped_ = true;
    end_ = end;
    queue_.push_back(Pending{std::move(end), std::nullopt, sequence_++});
    drain(lock);
  }

  // Delivers the queue unless another call is already doing so.
  void drain(std::unique_lock<std::mutex>& lock) {
    if (draining_) return;
    draining_ = true;
    while (!queue_.empty()) {
      Pending item = std::move(queue_.front());
      queue_.pop_front();
      std::shared_ptr<const Observers> snapshot;
      if (!item.target) {
        snapshot = observers_;
        if (item.event.isStopEvent()) observers_ = std::make_shared<const Observers>();
      }
      lock.unlock();
      if (item.target) {
        deliver(*item.target, item.event);
      } else {
        for (const auto& entry : *snapshot) {
          if (entry.firstSequence <= item.sequence) deliver(entry.observer, item.event);
        }
      }
      snapshot.reset();
      lock.lock();
    }
    draining_ = false;
  }

  static void deliver(const Observer<T>& observer, const Event<T>& event) {
    try {
      observer.on(event);
    } catch (...) {
      reportCallbackException("subject observer", std::current_exception());
    }
  }

  void unsubscribe(std::uint64_t id) {
    std::shared_ptr<const Observers> old;
    std::lock_guard lock(mutex_);
    auto next = std::make_shared<Observers>();
    next->reserve(observers_->size());
    for (const auto& e : *observers_) {
      if (e.id != id) next->push_back(e);
    }
    old = std::move(observers_);  // released after the lock
    observers_ = std::move(next);
  }

  const ReplayMode mode_;
  mutable std::mutex mutex_;
  std::optional<T> value_;
  std::optional<Event<T>> end_;
  std::shared_ptr<const Observers> observers_;
  std::deque<Pending> queue_;
  bool draining_ = false;
  std::uint64_t sequence_ = 0;
  std::uint64_t nextId_ = 0;
  bool stopped_ = false;
};

}  // namespace tavrel::rx::detail
