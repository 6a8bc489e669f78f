#pragma once
// Kept trees: objects and arrays of a parsed document, stored in a compact
// form until a reader asks for their members. Records that carry free-form
// trees cost little until those trees are used.
//
// The form is the parser's own, copied verbatim: a 16-byte header, the slice
// of the parser's tape that holds the object or array, then the slice of its
// string buffer that holds the object's strings (the words and strings are
// laid out as json_tape.h says). Nothing is rewritten on the way in: readers
// shift the indices and offsets the words hold by the header's bases.
//   header   u32 index of the first word on the tape, u32 word count,
//            u32 offset of the first string in the string buffer, u32 unused
// Repeated keys are still present and numbers still have the parser's types:
// building and writing apply the same rules as decoding a tree at once.
//
// Kept trees share 4 KiB chunks with the trees decoded next to them (big ones
// get chunks of their own); a chunk lives as long as a tree in it.

#include <atomic>
#include <cstdint>
#include <string_view>

#include "tavrel/core/json_decoder.h"
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

  // A chunk with `refs` references, for the caller.
  static TreeChunk* make(std::uint32_t capacity, std::uint32_t refs = 1);
  void retain() noexcept { refs.fetch_add(1, std::memory_order_relaxed); }
  void release(std::uint32_t count = 1) noexcept;
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

  // The value of a parsed value: scalars and empty containers as they are,
  // other objects and arrays deferred.
  void make(TapeValue value, JsonValue& out);

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
  // Lets go of the chunk being filled.
  void drop() noexcept;

  // The chunk being filled holds kBias references for the store, which hands
  // them out one by one without touching the count; the rest are given back
  // when the store lets go of the chunk.
  static constexpr std::uint32_t kBias = std::uint32_t{1} << 30;
  TreeChunk* chunk_ = nullptr;  // the chunk being filled
  std::uint32_t handedOut_ = 0;  // references to chunk_ given to values
  bool keep_;
};

}  // namespace tavrel::detail
