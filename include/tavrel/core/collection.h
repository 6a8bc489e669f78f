#pragma once
// Helpers on collections.

#include <cstddef>
#include <functional>
#include <optional>
#include <ranges>
#include <unordered_set>
#include <vector>

namespace tavrel {

// The element at `index`, or nothing when the index is out of range.
template <std::ranges::random_access_range C>
auto safeAt(const C& collection, std::ptrdiff_t index)
    -> std::optional<std::ranges::range_value_t<C>> {
  if (index < 0 || index >= static_cast<std::ptrdiff_t>(std::ranges::size(collection))) return std::nullopt;
  return *(std::ranges::begin(collection) + index);
}

// The elements that are in exactly one of the two arrays, without duplicates,
// in no defined order.
template <class T, class Hash = std::hash<T>>
std::vector<T> difference(const std::vector<T>& self, const std::vector<T>& other) {
  const std::unordered_set<T, Hash> a(self.begin(), self.end());
  const std::unordered_set<T, Hash> b(other.begin(), other.end());
  std::vector<T> result;
  for (const auto& x : a)
    if (!b.contains(x)) result.push_back(x);
  for (const auto& x : b)
    if (!a.contains(x)) result.push_back(x);
  return result;
}

}  // namespace tavrel
