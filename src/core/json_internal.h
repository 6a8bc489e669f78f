#pragma once
// Shared between the JSON sources: the bridge between our opaque element
// handles and the parser's own, and the per-document path table.

#include <simdjson.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tavrel/core/json_decoder.h"

namespace tavrel::detail {

namespace dom = simdjson::dom;

static_assert(sizeof(dom::element) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::element>);
static_assert(sizeof(dom::object::iterator) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::object::iterator>);
static_assert(sizeof(dom::array::iterator) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::array::iterator>);

template <class D>
inline D fromRaw(RawElement raw) noexcept {
  return std::bit_cast<D>(raw);
}
template <class D>
inline RawElement toRaw(const D& d) noexcept {
  return std::bit_cast<RawElement>(d);
}

// Coding paths of the nodes handed out while one document is decoded. A node
// names its entry; entries name their parent, so a path costs nothing until an
// error asks for it.
class JsonContext {
 public:
  static constexpr std::uint32_t kNoIndex = UINT32_MAX;

  JsonContext() { segments_.push_back({0, 0, 0, kNoIndex}); }

  JsonNode root(dom::element element) noexcept { return JsonNode(toRaw(element), this, 0); }
  JsonNode node(dom::element element, std::uint32_t segment) noexcept {
    return JsonNode(toRaw(element), this, segment);
  }

  std::uint32_t addKey(std::uint32_t parent, std::string_view key);
  std::uint32_t addIndex(std::uint32_t parent, std::uint32_t index);
  // "a.b[3].c"; "" for the root.
  std::string path(std::uint32_t segment) const;
  // path(segment) followed by one more key.
  std::string pathWithKey(std::uint32_t segment, std::string_view key) const;

 private:
  struct Segment {
    std::uint32_t parent;
    std::uint32_t keyOffset;
    std::uint32_t keyLength;
    std::uint32_t index;  // kNoIndex for a key segment
  };
  std::vector<Segment> segments_;
  std::string keys_;
};

// Appends formatDouble(value) to `out`.
void appendDouble(std::string& out, double value);

// Builds the JsonValue of a parsed element, by the order of attempts.
JsonValue makeJsonValue(dom::element element);

}  // namespace tavrel::detail
