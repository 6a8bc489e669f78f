#pragma once
// Kept trees: objects and arrays of a parsed document, stored in a compact
// form until a reader asks for their members.
//
// The form is the parser's own: the slice of the parser's tape that holds the
// object or array, followed by the slice of its string buffer that holds the
// object's strings, both copied into a chunk in one go. Each tape word has
// its type in the top byte; the words that point elsewhere are rewritten on
// the way in to point into the chunk (byte offsets from the chunk's start):
//   '{' '['  low 32 bits: the offset just past the closing word;
//            bits 32-55: the member or element count (0xFFFFFF: too many to say)
//   '"'      low 56 bits: the offset of the string, stored as u32 length,
//            bytes, NUL
//   'l' 'u' 'd'  the next word holds the int64, uint64 or double
//   't' 'f' 'n'  nothing more
// Repeated keys are still present and numbers still have the parser's types:
// building and writing apply the same rules as decoding a tree at once.

#include <simdjson.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include "tavrel/core/json_value.h"

namespace tavrel::detail {

// The decoder's way into an object's members: it appends members whose keys
// it has checked itself.
struct JsonObjectAccess {
  static JsonObject::Members& members(JsonObject& object) noexcept { return object.members_; }
};

// A counted block of encoded trees. Each deferred value holds a reference;
// the store holds one to the chunk it is filling.
struct alignas(16) TreeChunk {
  std::atomic<std::uint32_t> refs;
  std::uint32_t size;      // bytes used, a multiple of 8
  std::uint32_t capacity;  // bytes that follow this header

  const char* bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }

  // A chunk with one reference, for the caller.
  static TreeChunk* make(std::uint32_t capacity);
  void retain() noexcept { refs.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept;
};

// Encodes the objects and arrays of one document into chunks, and builds
// trees back from them. One store per document being decoded; not shared
// between threads while it writes.
class TreeStore {
 public:
  // A store that keeps no trees builds every value at once: for documents
  // too big for the encoding's 32-bit sizes.
  explicit TreeStore(bool keep = true) noexcept : keep_(keep) {}
  TreeStore(const TreeStore&) = delete;
  TreeStore& operator=(const TreeStore&) = delete;
  ~TreeStore();

  // The value of `element`: scalars and empty containers as they are,
  // other objects and arrays deferred.
  JsonValue make(simdjson::dom::element element);

  // The whole tree of the object or array at `offset` of `chunk`. A reader
  // that asks for a kept tree mostly reads on into it, so nested objects and
  // arrays are built too, at once.
  static JsonValue build(TreeChunk* chunk, std::uint32_t offset);
  // Writes the value at `offset` of `chunk` as JSON.
  static void encode(const TreeChunk* chunk, std::uint32_t offset, JsonWriter& writer);
  static JsonValue::Kind kindAt(const TreeChunk* chunk, std::uint32_t offset) noexcept;

 private:
  // Room for `bytes` more: a chunk of its own for big trees, else the chunk
  // being filled, or a fresh one. The caller gets one reference.
  TreeChunk* reserve(std::uint32_t bytes);
  // The value at `pos`, which moves past it.
  static JsonValue valueAt(TreeChunk* chunk, std::uint32_t& pos);

  TreeChunk* chunk_ = nullptr;  // the chunk being filled
  bool keep_;
};

}  // namespace tavrel::detail
