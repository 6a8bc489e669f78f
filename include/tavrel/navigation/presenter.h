#pragma once
// The presenter contract of the navigation shell: a presenter is attached to
// the object it presents, held weakly, and may be detached from it.

#include <memory>

namespace tavrel::navigation {

// A reference type that presenters of `Item` stand for.
template <class Item>
class PresenterObject {
 public:
  using PresenterItem = Item;
  virtual ~PresenterObject() = default;
};

// A presenter of `Item`: `object` is the presented item, never owned.
template <class Item>
class Presenter {
 public:
  virtual ~Presenter() = default;
  virtual void attach(const std::shared_ptr<Item>& item) = 0;
  // Does nothing unless a presenter says otherwise.
  virtual void dettach() {}

  std::weak_ptr<Item> object;
};

}  // namespace tavrel::navigation
