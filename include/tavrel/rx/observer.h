#pragma once
// The receiving end of a stream.

#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "tavrel/rx/event.h"

namespace tavrel::rx {

namespace detail {

// Reports an exception that a subscriber's callback threw (see observable.h).
void reportCallbackException(const char* where, std::exception_ptr error) noexcept;

template <class T>
class ObserverBase {
 public:
  virtual ~ObserverBase() = default;
  virtual void onNext(const T& value) = 0;
  virtual void onError(std::exception_ptr error) = 0;
  virtual void onCompleted() = 0;
};

// Three callbacks, any of them empty. An exception from a callback goes to
// the caller; a subscription catches it (see observable.h).
template <class T>
class CallbackObserver final : public ObserverBase<T> {
 public:
  CallbackObserver(std::function<void(const T&)> n, std::function<void(std::exception_ptr)> e,
                   std::function<void()> c)
      : next_(std::move(n)), error_(std::move(e)), completed_(std::move(c)) {}
  void onNext(const T& value) override {
    if (next_) next_(value);
  }
  void onError(std::exception_ptr error) override {
    if (error_) error_(std::move(error));
  }
  void onCompleted() override {
    if (completed_) completed_();
  }

 private:
  std::function<void(const T&)> next_;
  std::function<void(std::exception_ptr)> error_;
  std::function<void()> completed_;
};

// An observer built from three callables, for the library's own operators
// (no `std::function` indirection).
template <class T, class N, class E, class C>
class LambdaObserver final : public ObserverBase<T> {
 public:
  LambdaObserver(N n, E e, C c) : n_(std::move(n)), e_(std::move(e)), c_(std::move(c)) {}
  void onNext(const T& value) override { n_(value); }
  void onError(std::exception_ptr error) override { e_(std::move(error)); }
  void onCompleted() override { c_(); }

 private:
  N n_;
  E e_;
  C c_;
};

}  // namespace detail

// A copyable handle to something that receives the events of a stream of `T`.
// The observer that `Observable<T>::create` hands to its function enforces the
// stream's grammar: events after an error, after completion or after disposal
// are dropped, so a producer may call it without checking.
template <class T>
class Observer {
 public:
  Observer() = default;
  explicit Observer(std::shared_ptr<detail::ObserverBase<T>> impl) : impl_(std::move(impl)) {}
  // An observer made of callbacks; an empty callback ignores its event.
  explicit Observer(std::function<void(const T&)> onNext,
                    std::function<void(std::exception_ptr)> onError = {},
                    std::function<void()> onCompleted = {})
      : impl_(std::make_shared<detail::CallbackObserver<T>>(std::move(onNext), std::move(onError),
                                                            std::move(onCompleted))) {}

  void onNext(const T& value) const {
    if (impl_) impl_->onNext(value);
  }
  void onError(std::exception_ptr error) const {
    if (impl_) impl_->onError(std::move(error));
  }
  void onCompleted() const {
    if (impl_) impl_->onCompleted();
  }
  // Delivers `event` as one of the three calls above.
  void on(const Event<T>& event) const {
    if (auto v = event.element()) {
      onNext(*v);
    } else if (event.isError()) {
      onError(event.error());
    } else {
      onCompleted();
    }
  }

 private:
  std::shared_ptr<detail::ObserverBase<T>> impl_;
};

namespace detail {

template <class T, class N, class E, class C>
Observer<T> makeObserver(N n, E e, C c) {
  return Observer<T>(std::make_shared<LambdaObserver<T, N, E, C>>(std::move(n), std::move(e), std::move(c)));
}

// An observer of `T` that hands elements to `n` and forwards the end of the
// stream to `downstream` unchanged.
template <class T, class U, class N>
Observer<T> forwardingObserver(const Observer<U>& downstream, N n) {
  return makeObserver<T>(
      std::move(n), [downstream](std::exception_ptr e) { downstream.onError(std::move(e)); },
      [downstream] { downstream.onCompleted(); });
}

}  // namespace detail
}  // namespace tavrel::rx
