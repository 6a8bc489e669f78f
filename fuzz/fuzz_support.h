#pragma once
// What the fuzz targets share: the input as text, a check that ends the run
// when it fails, and the round trip of a record through its JSON text.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::fuzz {

inline void check(bool condition) {
  if (!condition) std::abort();
}

inline std::string_view input(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// `bytes` as a T, if they decode; a failure must say why. What decodes must
// encode, its text must decode again, and that record must encode to the same
// tree: every field, the records inside included, comes back the same.
template <class T>
std::optional<T> roundTrip(std::string_view bytes) {
  auto first = decodeJson<T>(bytes);
  if (!first) {
    check(first.error().what()[0] != '\0');
    return std::nullopt;
  }
  auto text = encodeJson(first.value());
  check(text.ok());
  auto second = decodeJson<T>(text.value());
  check(second.ok());
  auto again = encodeJson(second.value());
  check(again.ok() && decodeJson<JsonValue>(again.value()).value() == decodeJson<JsonValue>(text.value()).value());
  return first.value();
}

}  // namespace tavrel::fuzz
