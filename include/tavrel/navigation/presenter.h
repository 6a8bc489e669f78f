#pragma once
// The presenter contract of the navigation shell: a presenter is attached to
// the object it presents and may be detached from it. Presented objects are
// views, which their superviews (QObject parents) own; a presenter never
// owns one, and reads none once the view is gone: `object()` follows the
// view's QObject through a QPointer.

#include <QObject>
#include <QPointer>
#include <type_traits>

namespace tavrel::navigation {

// A reference type that presenters of `Item` stand for.
template <class Item>
class PresenterObject {
 public:
  using PresenterItem = Item;
  virtual ~PresenterObject() = default;
};

// A weak reference to an item that lives in a QObject (a view, or a view
// that implements an interface `Item`): null once that object is destroyed.
template <class Item>
class WeakItem {
 public:
  WeakItem() = default;
  // `item` must be a QObject, or a QObject must derive from its class.
  WeakItem(Item* item) : item_(item), owner_(asQObject(item)) {}  // NOLINT: implicit on purpose
  Item* get() const { return owner_ ? item_ : nullptr; }
  explicit operator bool() const { return get() != nullptr; }

 private:
  static QObject* asQObject(Item* item) {
    if constexpr (std::is_base_of_v<QObject, Item>) return item;
    else return dynamic_cast<QObject*>(item);
  }
  Item* item_ = nullptr;
  QPointer<QObject> owner_;
};

// A presenter of `Item`: `object` is the presented item, never owned.
template <class Item>
class Presenter {
 public:
  virtual ~Presenter() = default;
  virtual void attach(Item* item) = 0;
  // Does nothing unless a presenter says otherwise.
  virtual void dettach() {}

  // The item, or null: none attached, detached, or destroyed since.
  Item* object() const { return object_.get(); }
  void setObject(Item* item) { object_ = WeakItem<Item>(item); }

 private:
  WeakItem<Item> object_;
};

}  // namespace tavrel::navigation
