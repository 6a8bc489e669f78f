#pragma once
// The shared machinery of subjects, relays and `shareReplay1`: a list of
// observers and, depending on the kind, a current value.
//
// Emissions are serialized per subject (several threads may feed it; each
// observer sees one event at a time, in order). Observers are called without
// the lock that `subscribe` and disposal need, so subscribing or disposing
// from inside a callback is fine. Subjects that replay a value also take the
// emission lock in `subscribe`, so that the replayed value comes before any
// newer one; that lock is recursive, so subscribing from a callback on the
// emitting thread is fine, and a subscriber on another thread waits for the
// emission in progress.

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "tavrel/rx/disposable.h"
#include "tavrel/rx/observer.h"

namespace tavrel::rx::detail {

// How a subject treats late subscribers.
enum class ReplayMode {
  none,           // publish: nothing replayed; after the end, only the end
  latest,         // behavior: the current value; after the end, only the end
  latestAndEnd,   // replay of one: the last value, and after the end, it and the end
};

template <class T>
class SubjectCore final : public ObserverBase<T>, public std::enable_shared_from_this<SubjectCore<T>> {
 public:
  explicit SubjectCore(ReplayMode mode, std::optional<T> initial = std::nullopt)
      : mode_(mode), value_(std::move(initial)), observers_(std::make_shared<const Observers>()) {}

  void onNext(const T& value) override {
    std::lock_guard emit(emitMutex_);
    std::shared_ptr<const Observers> snapshot;
    {
      std::lock_guard lock(stateMutex_);
      if (stopped_) return;
      if (mode_ != ReplayMode::none) value_ = value;
      snapshot = observers_;
    }
    for (const auto& entry : *snapshot) {
      try {
        entry.observer.onNext(value);
      } catch (...) {
        reportCallbackException("subject onNext", std::current_exception());
      }
    }
  }
  void onError(std::exception_ptr error) override { stop(std::move(error), false); }
  void onCompleted() override { stop(nullptr, true); }

  Disposable subscribe(const Observer<T>& observer) {
    std::unique_lock<std::recursive_mutex> emit(emitMutex_, std::defer_lock);
    if (mode_ != ReplayMode::none) emit.lock();
    std::optional<T> replay;
    bool ended = false;
    std::exception_ptr endError;
    std::uint64_t id = 0;
    {
      std::lock_guard lock(stateMutex_);
      if (stopped_) {
        ended = true;
        endError = error_;
        if (mode_ == ReplayMode::latestAndEnd) replay = value_;
      } else {
        if (mode_ != ReplayMode::none) replay = value_;
        id = nextId_++;
        auto next = std::make_shared<Observers>(*observers_);
        next->push_back(Entry{id, observer});
        observers_ = std::move(next);
      }
    }
    if (replay) observer.onNext(*replay);
    if (!ended) {
      std::weak_ptr<SubjectCore> weak = this->shared_from_this();
      return Disposable::create([weak, id] {
        if (auto core = weak.lock()) core->unsubscribe(id);
      });
    }
    if (endError) {
      observer.onError(endError);
    } else {
      observer.onCompleted();
    }
    return Disposable();
  }

  // The current value; for a behavior subject it always exists.
  std::optional<T> value() const {
    std::lock_guard lock(stateMutex_);
    return value_;
  }

  bool hasObservers() const {
    std::lock_guard lock(stateMutex_);
    return !observers_->empty();
  }

 private:
  struct Entry {
    std::uint64_t id;
    Observer<T> observer;
  };
  using Observers = std::vector<Entry>;

  void stop(std::exception_ptr error, bool completed) {
    std::lock_guard emit(emitMutex_);
    std::shared_ptr<const Observers> snapshot;
    {
      std::lock_guard lock(stateMutex_);
      if (stopped_) return;
      stopped_ = true;
      error_ = error;
      snapshot = std::move(observers_);
      observers_ = std::make_shared<const Observers>();
    }
    for (const auto& entry : *snapshot) {
      try {
        if (completed) {
          entry.observer.onCompleted();
        } else {
          entry.observer.onError(error);
        }
      } catch (...) {
        reportCallbackException("subject end", std::current_exception());
      }
    }
  }

  void unsubscribe(std::uint64_t id) {
    std::shared_ptr<const Observers> old;
    std::lock_guard lock(stateMutex_);
    auto next = std::make_shared<Observers>();
    next->reserve(observers_->size());
    for (const auto& e : *observers_) {
      if (e.id != id) next->push_back(e);
    }
    old = std::move(observers_);  // released after the lock
    observers_ = std::move(next);
  }

  const ReplayMode mode_;
  std::recursive_mutex emitMutex_;
  mutable std::mutex stateMutex_;
  std::optional<T> value_;
  std::shared_ptr<const Observers> observers_;
  std::uint64_t nextId_ = 0;
  bool stopped_ = false;
  std::exception_ptr error_;
};

}  // namespace tavrel::rx::detail
