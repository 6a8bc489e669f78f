#pragma once
// Shared between the JSON sources: the document behind a node, and the
// per-document path table.

#include <simdjson.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/json_tape.h"
#include "core/json_trees.h"
#include "tavrel/core/json_decoder.h"

namespace tavrel::detail {

namespace dom = simdjson::dom;

inline const dom::document& documentOf(TapeValue value) noexcept {
  return *static_cast<const dom::document*>(value.doc);
}
inline const std::uint64_t* wordsOf(TapeValue value) noexcept {
  return tape::wordsOf(documentOf(value));
}
inline const std::uint8_t* stringsOf(TapeValue value) noexcept {
  return tape::stringsOf(documentOf(value));
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

  JsonNode root(const dom::document& doc) noexcept {
    return JsonNode(TapeValue{&doc, tape::kRoot}, this, 0);
  }
  JsonNode node(TapeValue value, std::uint32_t segment) noexcept {
    return JsonNode(value, this, segment);
  }
  static TapeValue valueOf(const JsonNode& node) noexcept { return node.element_; }

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

// Builds the whole JsonValue of a parsed value at once, by the order of
// attempts.
JsonValue makeJsonValue(TapeValue value);

}  // namespace tavrel::detail
