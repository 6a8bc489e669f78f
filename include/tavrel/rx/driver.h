#pragma once
// `Driver<T>`: a stream for the user interface. It is delivered on the main
// queue and never fails.
//
// All that drive from one `Driver` (and its copies) share one subscription
// to its source, as `shareReplay1()` shares it: the first `drive` connects,
// each later one gets the latest element at once, and when the last one has
// gone the source subscription ends. Drive from the main thread: the latest
// element is handed over on the thread that calls `drive`.

#include <functional>
#include <utility>

#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/observable.h"

namespace tavrel::rx {

template <class T>
class Driver {
 public:
  using Element = T;

  // A driver of a stream that cannot fail (a relay): only moved to the main
  // queue.
  static Driver fromInfallible(const Observable<T>& source) {
    return Driver(source.observeOn(MainScheduler::instance()).shareReplay1());
  }

  // Subscribes on the main queue: `onNext` for each element, `onCompleted` at
  // the end. On the main thread with nothing queued, delivery is immediate.
  Disposable drive(std::function<void(const T&)> onNext, std::function<void()> onCompleted = {}) const {
    return source_.subscribe(std::move(onNext), {}, std::move(onCompleted));
  }

  Observable<T> asObservable() const { return source_; }

 private:
  template <class U>
  friend class Observable;
  explicit Driver(Observable<T> source) : source_(std::move(source)) {}

  Observable<T> source_;
};

template <class T>
auto Observable<T>::asDriver(T onErrorJustReturn) const {
  return Driver<T>(
      observeOn(MainScheduler::instance()).catchErrorJustReturn(std::move(onErrorJustReturn)).shareReplay1());
}

}  // namespace tavrel::rx
