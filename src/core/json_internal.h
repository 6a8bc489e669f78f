#pragma once
// Shared between the JSON sources: the bridge between our opaque element
// handles and the parser's own, and the per-document path table.

#include <simdjson.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "core/json_trees.h"
#include "tavrel/core/json_decoder.h"

namespace tavrel::detail {

namespace dom = simdjson::dom;

static_assert(sizeof(dom::element) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::element>);
static_assert(sizeof(dom::object::iterator) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::object::iterator>);
static_assert(sizeof(dom::array::iterator) == sizeof(RawElement));
static_assert(std::is_trivially_copyable_v<dom::array::iterator>);

// The parser's tape, read directly where its element API costs too much: each
// 64-bit word has its type in the top byte and a payload below.
namespace tape {
constexpr std::uint64_t kPayloadMask = 0x00FFFFFFFFFFFFFF;
inline char typeOf(std::uint64_t word) noexcept { return static_cast<char>(word >> 56); }
inline const std::uint64_t* wordsOf(RawElement raw) noexcept {
  return static_cast<const dom::document*>(raw.doc)->tape.get();
}
inline const std::uint8_t* stringsOf(RawElement raw) noexcept {
  return static_cast<const dom::document*>(raw.doc)->string_buf.get();
}
// The index just past the value at `index`.
inline std::size_t after(const std::uint64_t* words, std::size_t index) noexcept {
  std::uint64_t word = words[index];
  switch (typeOf(word)) {
    case '{': case '[': return static_cast<std::uint32_t>(word);  // past the closing word
    case 'l': case 'u': case 'd': return index + 2;                // the number follows
    default: return index + 1;
  }
}
}  // namespace tape

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

  // Documents beyond this size build their trees at once (see TreeStore).
  static constexpr std::size_t kMaxKeptDocument = std::size_t{256} << 20;

  explicit JsonContext(std::size_t documentBytes) : trees_(documentBytes <= kMaxKeptDocument) {
    segments_.push_back({0, 0, 0, kNoIndex});
  }

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
  // Where the document's JsonValue trees are kept.
  TreeStore& trees() noexcept { return trees_; }

 private:
  struct Segment {
    std::uint32_t parent;
    std::uint32_t keyOffset;
    std::uint32_t keyLength;
    std::uint32_t index;  // kNoIndex for a key segment
  };
  std::vector<Segment> segments_;
  std::string keys_;
  TreeStore trees_;
};

// Whether a float has no fraction and fits int64: such numbers (1.0, 1e3)
// decode as integers.
inline bool integral(double d) noexcept {
  return std::trunc(d) == d && d >= -9223372036854775808.0 && d < 9223372036854775808.0;
}

// Tells repeated keys of one object at a time; the first of them wins. Small
// objects scan the keys seen so far, on a stack that nested objects share;
// big ones keep a set.
class KeyFilter {
 public:
  // Objects up to this many members are scanned.
  static constexpr std::size_t kScannedMembers = 32;

  KeyFilter(std::vector<std::string_view>& stack, std::size_t count)
      : stack_(stack), base_(stack.size()), big_(count > kScannedMembers) {}
  KeyFilter(const KeyFilter&) = delete;
  KeyFilter& operator=(const KeyFilter&) = delete;
  ~KeyFilter() { stack_.resize(base_); }

  // Whether `key` is new to the object; remembers it.
  bool first(std::string_view key) {
    if (big_) return seen_.insert(key).second;
    for (std::size_t i = base_; i < stack_.size(); ++i) {
      if (stack_[i] == key) return false;
    }
    stack_.push_back(key);
    return true;
  }

 private:
  std::vector<std::string_view>& stack_;
  std::size_t base_;
  bool big_;
  std::unordered_set<std::string_view> seen_;
};

// Appends formatDouble(value) to `out`.
void appendDouble(std::string& out, double value);

// Builds the whole JsonValue of a parsed element at once, by the order of
// attempts.
JsonValue makeJsonValue(dom::element element);

}  // namespace tavrel::detail
