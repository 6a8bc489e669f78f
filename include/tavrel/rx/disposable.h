#pragma once
// Ending a subscription: `Disposable` is a handle that stops delivery and
// releases what a subscription holds; `DisposeBag` ends many at once.

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tavrel::rx {

namespace detail {

// What a `Disposable` ends. `dispose` may be called more than once and from
// any thread; only the first call does anything.
class DisposableBase {
 public:
  virtual ~DisposableBase() = default;
  virtual void dispose() = 0;
};

}  // namespace detail

class DisposeBag;

// A copyable handle to one subscription (or scheduled task, or resource).
// All copies end the same thing. A default-constructed one does nothing.
//
// For a subscription made with callbacks, once `dispose()` returns no callback
// of it starts any more. A callback already running on another thread is
// waited for; one running on the calling thread (disposal from inside
// `onNext`) is not. So never dispose while holding a lock that the
// subscription's callbacks take, and do not have two threads' callbacks
// dispose each other's subscriptions at the same moment.
//
// A subscription lives until its stream ends or it is disposed, whether or
// not anyone keeps the handle: the producer holds it. One that never ends and
// is never disposed stays alive with its producer's captures; keep such
// subscriptions in a `DisposeBag`.
class Disposable {
 public:
  Disposable() = default;
  explicit Disposable(std::shared_ptr<detail::DisposableBase> impl) : impl_(std::move(impl)) {}

  // A disposable that runs `action` on the first `dispose()`, outside any lock.
  static Disposable create(std::function<void()> action);

  // Ends what this handle stands for. Idempotent, thread-safe.
  void dispose() const {
    if (impl_) impl_->dispose();
  }

  // Hands this subscription to `bag`, which ends it when the bag goes away.
  void disposed(DisposeBag& bag) const;

 private:
  std::shared_ptr<detail::DisposableBase> impl_;
};

// Ends every subscription put into it when it is destroyed (or reassigned:
// `bag = DisposeBag()` ends the old contents). Thread-safe; a disposable
// inserted into a bag that is being torn down is disposed at once.
class DisposeBag {
 public:
  DisposeBag() = default;
  DisposeBag(const DisposeBag&) = delete;
  DisposeBag& operator=(const DisposeBag&) = delete;
  DisposeBag(DisposeBag&& other) noexcept;
  DisposeBag& operator=(DisposeBag&& other) noexcept;
  ~DisposeBag();

  // Keeps `disposable` until the bag ends.
  void insert(Disposable disposable);

 private:
  void disposeAll();

  std::mutex mutex_;
  std::vector<Disposable> items_;
  bool disposed_ = false;
};

namespace detail {

// Holds one upstream disposable that may arrive after disposal was asked for
// (then it is disposed as soon as it arrives). Thread-safe.
class SingleAssignment {
 public:
  void set(Disposable d) {
    {
      std::lock_guard lock(mutex_);
      if (!disposed_) {
        current_ = std::move(d);
        return;
      }
    }
    d.dispose();
  }
  void dispose() {
    Disposable d;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) return;
      disposed_ = true;
      d = std::move(current_);
    }
    d.dispose();
  }
  bool isDisposed() {
    std::lock_guard lock(mutex_);
    return disposed_;
  }

 private:
  std::mutex mutex_;
  Disposable current_;
  bool disposed_ = false;
};

// Holds one replaceable disposable; replacing disposes the previous one.
class SerialAssignment {
 public:
  void set(Disposable d) {
    Disposable old;
    bool now = false;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) {
        now = true;
      } else {
        old = std::move(current_);
        current_ = std::move(d);
      }
    }
    old.dispose();
    if (now) d.dispose();
  }
  void dispose() {
    Disposable d;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) return;
      disposed_ = true;
      d = std::move(current_);
    }
    d.dispose();
  }

 private:
  std::mutex mutex_;
  Disposable current_;
  bool disposed_ = false;
};

}  // namespace detail
}  // namespace tavrel::rx
