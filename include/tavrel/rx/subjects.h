#pragma once
// Subjects and relays: streams that code feeds by hand.
//
// All four are handles: copies share one stream, so a subject can be kept in
// a field and captured in callbacks alike. Any thread may feed them; see
// detail/subject_core.h for the ordering and re-entrancy rules. An exception
// thrown by one observer is reported through `debugPrint` and does not keep
// the others from their event.

#include <memory>
#include <utility>

#include "tavrel/rx/detail/subject_core.h"
#include "tavrel/rx/driver.h"
#include "tavrel/rx/observable.h"

namespace tavrel::rx {

// A stream without a current value: subscribers get what is emitted after
// they subscribed. After the end, a new subscriber gets only the end.
template <class T>
class PublishSubject {
 public:
  PublishSubject() : core_(std::make_shared<detail::SubjectCore<T>>(detail::ReplayMode::none)) {}

  void onNext(const T& value) const { core_->onNext(value); }
  void onError(std::exception_ptr error) const { core_->onError(std::move(error)); }
  void onCompleted() const { core_->onCompleted(); }

  // Whether anyone is subscribed right now.
  bool hasObservers() const { return core_->hasObservers(); }
  Observable<T> asObservable() const { return detail::subjectObservable(core_); }
  // An observer that feeds this subject (to subscribe it to another stream).
  Observer<T> asObserver() const { return Observer<T>(core_); }

 private:
  std::shared_ptr<detail::SubjectCore<T>> core_;
};

// A stream with a current value, given to each new subscriber before what
// follows. After the end, a new subscriber gets only the end.
template <class T>
class BehaviorSubject {
 public:
  explicit BehaviorSubject(T initial)
      : core_(std::make_shared<detail::SubjectCore<T>>(detail::ReplayMode::latest, std::move(initial))) {}

  void onNext(const T& value) const { core_->onNext(value); }
  void onError(std::exception_ptr error) const { core_->onError(std::move(error)); }
  void onCompleted() const { core_->onCompleted(); }

  // The current value (the last one emitted, also after the end).
  T value() const { return *core_->value(); }
  bool hasObservers() const { return core_->hasObservers(); }
  Observable<T> asObservable() const { return detail::subjectObservable(core_); }
  Observer<T> asObserver() const { return Observer<T>(core_); }

 private:
  std::shared_ptr<detail::SubjectCore<T>> core_;
};

// A `PublishSubject` that never ends: it only accepts elements.
template <class T>
class PublishRelay {
 public:
  PublishRelay() : core_(std::make_shared<detail::SubjectCore<T>>(detail::ReplayMode::none)) {}

  void accept(const T& value) const { core_->onNext(value); }
  Observable<T> asObservable() const { return detail::subjectObservable(core_); }
  // On the main queue (a relay never fails).
  Driver<T> asDriver() const { return Driver<T>::fromInfallible(asObservable()); }

 private:
  std::shared_ptr<detail::SubjectCore<T>> core_;
};

// A `BehaviorSubject` that never ends: it holds a current value and accepts
// new ones.
template <class T>
class BehaviorRelay {
 public:
  explicit BehaviorRelay(T initial)
      : core_(std::make_shared<detail::SubjectCore<T>>(detail::ReplayMode::latest, std::move(initial))) {}

  void accept(const T& value) const { core_->onNext(value); }
  // The current value.
  T value() const { return *core_->value(); }
  Observable<T> asObservable() const { return detail::subjectObservable(core_); }
  // On the main queue (a relay never fails).
  Driver<T> asDriver() const { return Driver<T>::fromInfallible(asObservable()); }

 private:
  std::shared_ptr<detail::SubjectCore<T>> core_;
};

}  // namespace tavrel::rx
