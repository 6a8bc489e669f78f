#include "tavrel/rx/disposable.h"

#include <atomic>

namespace tavrel::rx {
namespace {

class ActionDisposable final : public detail::DisposableBase {
 public:
  explicit ActionDisposable(std::function<void()> action) : action_(std::move(action)) {}
  void dispose() override {
    if (done_.exchange(true)) return;
    std::function<void()> action;
    {
      std::lock_guard lock(mutex_);
      action.swap(action_);
    }
    if (action) action();
  }

 private:
  std::atomic<bool> done_{false};
  std::mutex mutex_;
  std::function<void()> action_;
};

}  // namespace

Disposable Disposable::create(std::function<void()> action) {
  return Disposable(std::make_shared<ActionDisposable>(std::move(action)));
}

void Disposable::disposed(DisposeBag& bag) const { bag.insert(*this); }

DisposeBag::DisposeBag(DisposeBag&& other) noexcept {
  std::lock_guard lock(other.mutex_);
  items_.swap(other.items_);
}

DisposeBag& DisposeBag::operator=(DisposeBag&& other) noexcept {
  if (this == &other) return *this;
  std::vector<Disposable> taken;
  {
    std::lock_guard lock(other.mutex_);
    taken.swap(other.items_);
  }
  std::vector<Disposable> old;
  {
    std::lock_guard lock(mutex_);
    old.swap(items_);
    items_.swap(taken);
    disposed_ = false;
  }
  for (auto& d : old) d.dispose();
  return *this;
}

DisposeBag::~DisposeBag() { disposeAll(); }

void DisposeBag::insert(Disposable disposable) {
  {
    std::lock_guard lock(mutex_);
    if (!disposed_) {
      items_.push_back(std::move(disposable));
      return;
    }
  }
  disposable.dispose();
}

void DisposeBag::disposeAll() {
  std::vector<Disposable> taken;
  {
    std::lock_guard lock(mutex_);
    disposed_ = true;
    taken.swap(items_);
  }
  for (auto& d : taken) d.dispose();
}

}  // namespace tavrel::rx
