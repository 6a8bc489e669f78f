#pragma once
// A success value or the error to show for it.

#include <concepts>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "tavrel/core/ui_error.h"

namespace tavrel {

template <class T>
class Result {
  static_assert(!std::is_same_v<T, UIRepresentableError>, "a Result holds a value or an error, not both kinds");

 public:
  using value_type = T;

  // A success.
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit by design
  // An error.
  Result(UIRepresentableError error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT

  // True for a success.
  bool succeed() const noexcept { return state_.index() == 0; }

  // The success value, or nothing for an error.
  std::optional<T> success() const& {
    return succeed() ? std::optional<T>(std::get<0>(state_)) : std::nullopt;
  }
  std::optional<T> success() && {
    return succeed() ? std::optional<T>(std::get<0>(std::move(state_))) : std::nullopt;
  }

  // The error, or nothing for a success.
  std::optional<UIRepresentableError> error() const {
    return succeed() ? std::nullopt : std::optional<UIRepresentableError>(std::get<1>(state_));
  }

  // A Result of another type: maps a success value, passes an error through.
  template <class F>
  auto translate(F&& mapping) const& -> Result<std::invoke_result_t<F, const T&>> {
    if (succeed()) return std::invoke(std::forward<F>(mapping), std::get<0>(state_));
    return std::get<1>(state_);
  }
  template <class F>
  auto translate(F&& mapping) && -> Result<std::invoke_result_t<F, T&&>> {
    if (succeed()) return std::invoke(std::forward<F>(mapping), std::get<0>(std::move(state_)));
    return std::get<1>(std::move(state_));
  }

  // For a Result of boolean: the boolean of a success, false for an error.
  bool requestSucceed() const noexcept
    requires std::same_as<T, bool>
  {
    return succeed() && std::get<0>(state_);
  }

  friend bool operator==(const Result& a, const Result& b)
    requires std::equality_comparable<T>
  {
    return a.state_ == b.state_;
  }

 private:
  std::variant<T, UIRepresentableError> state_;
};

}  // namespace tavrel
