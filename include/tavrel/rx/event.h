#pragma once
// The three things a stream can say: an element, an error, or completion.

#include <concepts>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace tavrel::rx {

// The element of a stream that carries no payload (a tap, a signal).
struct Unit {
  friend bool operator==(Unit, Unit) { return true; }
};

// Raised into a stream by `asSingle()` when the source ends with no element.
struct NoElementsError : std::runtime_error {
  NoElementsError() : std::runtime_error("sequence completed without elements") {}
};

// Raised into a stream by `asSingle()` when the source has a second element.
struct MoreThanOneElementError : std::runtime_error {
  MoreThanOneElementError() : std::runtime_error("sequence has more than one element") {}
};

// One event of a stream of `T`: `next(value)`, `error(exception)` or
// `completed`. Errors and completion end a stream; nothing follows them.
template <class T>
class Event {
 public:
  using Element = T;

  static Event next(T value) { return Event(std::in_place_index<0>, std::move(value)); }
  static Event error(std::exception_ptr e) { return Event(std::in_place_index<1>, std::move(e)); }
  static Event completed() { return Event(std::in_place_index<2>, Completed{}); }

  bool isNext() const { return data_.index() == 0; }
  bool isError() const { return data_.index() == 1; }
  bool isCompleted() const { return data_.index() == 2; }
  // True for error and completion.
  bool isStopEvent() const { return data_.index() != 0; }

  // The element of a `next` event, or null.
  const T* element() const { return std::get_if<0>(&data_); }
  // The error of an `error` event, or null.
  std::exception_ptr error() const {
    auto e = std::get_if<1>(&data_);
    return e ? *e : nullptr;
  }

  friend bool operator==(const Event& a, const Event& b)
    requires std::equality_comparable<T>
  {
    if (a.data_.index() != b.data_.index()) return false;
    if (a.isNext()) return *a.element() == *b.element();
    if (a.isError()) return a.error() == b.error();
    return true;
  }

 private:
  struct Completed {};
  template <std::size_t I, class V>
  Event(std::in_place_index_t<I> i, V&& v) : data_(i, std::forward<V>(v)) {}

  std::variant<T, std::exception_ptr, Completed> data_;
};

namespace detail {
template <class X>
struct IsEvent : std::false_type {};
template <class X>
struct IsEvent<Event<X>> : std::true_type {};
}  // namespace detail

}  // namespace tavrel::rx
