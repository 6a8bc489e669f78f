#include "core/json_trees.h"

#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/json_internal.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::detail {

namespace dom = simdjson::dom;

// The tape layout described in json_trees.h is that of simdjson 3.
static_assert(simdjson::SIMDJSON_VERSION_MAJOR == 3, "check the tape layout of this simdjson");

namespace {

// A chunk with its header fills 4 KiB; bigger trees get a chunk of their own.
constexpr std::uint32_t kChunkBytes = 4096 - sizeof(TreeChunk);
constexpr std::uint32_t kOwnChunkFrom = kChunkBytes / 4;
constexpr std::uint64_t kCountMask = 0x00FFFFFF00000000;
using tape::kPayloadMask;
using tape::typeOf;

std::uint64_t wordAt(const char* base, std::uint32_t pos) noexcept {
  std::uint64_t word;
  std::memcpy(&word, base + pos, sizeof word);
  return word;
}

template <class T>
T valueAfter(const char* base, std::uint32_t pos) noexcept {
  T value;
  std::memcpy(&value, base + pos + 8, sizeof value);
  return value;
}

// The text of a string word: u32 length, then the bytes.
std::string_view textOf(const char* base, std::uint64_t word) noexcept {
  std::size_t at = word & kPayloadMask;
  std::uint32_t length;
  std::memcpy(&length, base + at, sizeof length);
  return {base + at + 4, length};
}

}  // namespace

// --- chunks ---------------------------------------------------------------------------

TreeChunk* TreeChunk::make(std::uint32_t capacity) {
  void* memory = ::operator new(sizeof(TreeChunk) + capacity);
  auto* chunk = new (memory) TreeChunk;
  chunk->refs.store(1, std::memory_order_relaxed);
  chunk->size = 0;
  chunk->capacity = capacity;
  return chunk;
}

void TreeChunk::release() noexcept {
  if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    this->~TreeChunk();
    ::operator delete(this);
  }
}

// --- keeping ----------------------------------------------------------------------------

TreeStore::~TreeStore() {
  if (chunk_) chunk_->release();
}

TreeChunk* TreeStore::reserve(std::uint32_t bytes) {
  if (bytes >= kOwnChunkFrom) return TreeChunk::make(bytes);
  if (!chunk_ || chunk_->capacity - chunk_->size < bytes) {
    TreeChunk* fresh = TreeChunk::make(kChunkBytes);
    if (chunk_) chunk_->release();
    chunk_ = fresh;
  }
  chunk_->retain();
  return chunk_;
}

JsonValue TreeStore::make(dom::element element) {
  RawElement raw = toRaw(element);
  const auto* doc = static_cast<const dom::document*>(raw.doc);
  const std::uint64_t* tape = doc->tape.get();
  const std::size_t first = raw.index;
  const std::uint64_t opening = tape[first];
  const char type = typeOf(opening);
  if ((type != '{' && type != '[') || !keep_) return makeJsonValue(element);
  const std::size_t end = static_cast<std::uint32_t>(opening);  // just past the closing word
  if (end == first + 2) return type == '{' ? JsonValue(JsonValue::Object()) : JsonValue(JsonValue::Array());

  // The strings of a value lie together in the string buffer, in order. An
  // object starts with a key, and when a string follows the value on the tape
  // (the parent's next key, mostly) ours end where it starts; otherwise a scan
  // finds the first and the last.
  const std::uint8_t* strings = doc->string_buf.get();
  std::size_t stringsBegin = 0, stringsEnd = 0;
  bool anyString = false;
  if (type == '{' && typeOf(tape[end]) == '"') {
    stringsBegin = tape[first + 1] & kPayloadMask;
    stringsEnd = tape[end] & kPayloadMask;
    anyString = true;
  }
  for (std::size_t i = anyString ? end : first; i < end; ++i) {
    std::uint64_t word = tape[i];
    switch (typeOf(word)) {
      case '"': {
        std::size_t at = word & kPayloadMask;
        std::uint32_t length;
        std::memcpy(&length, strings + at, sizeof length);
        if (!anyString) stringsBegin = at;
        anyString = true;
        stringsEnd = at + 4 + length + 1;
        break;
      }
      case 'l': case 'u': case 'd': ++i; break;  // the next word is the number
      default: break;
    }
  }
  const std::size_t wordBytes = (end - first) * 8;
  const std::size_t stringBytes = (stringsEnd - stringsBegin + 7) & ~std::size_t{7};
  const std::uint32_t size = static_cast<std::uint32_t>(wordBytes + stringBytes);

  TreeChunk* chunk = reserve(size);
  const std::uint32_t offset = chunk->size;
  char* out = chunk->bytes() + offset;
  // Offsets move from the tape and the string buffer into the chunk.
  const std::uint64_t wordShift = offset - first * 8;
  const std::uint64_t stringShift = offset + wordBytes - stringsBegin;
  for (std::size_t i = first; i < end; ++i) {
    std::uint64_t word = tape[i];
    switch (typeOf(word)) {
      case '{': case '[': case '}': case ']':
        word = (word & ~std::uint64_t{0xFFFFFFFF}) |
               static_cast<std::uint32_t>((word & 0xFFFFFFFF) * 8 + wordShift);
        break;
      case '"':
        word = (word & ~kPayloadMask) | (((word & kPayloadMask) + stringShift) & kPayloadMask);
        break;
      case 'l': case 'u': case 'd':
        std::memcpy(out + (i - first) * 8, &word, 8);
        word = tape[++i];
        break;
      default: break;
    }
    std::memcpy(out + (i - first) * 8, &word, 8);
  }
  if (anyString) std::memcpy(out + wordBytes, strings + stringsBegin, stringsEnd - stringsBegin);
  chunk->size = offset + size;
  return JsonValue(JsonValue::Deferred(chunk, offset));
}

// --- reading --------------------------------------------------------------------------

JsonValue::Kind TreeStore::kindAt(const TreeChunk* chunk, std::uint32_t offset) noexcept {
  return typeOf(wordAt(chunk->bytes(), offset)) == '{' ? JsonValue::Kind::object
                                                       : JsonValue::Kind::array;
}

JsonValue TreeStore::valueAt(TreeChunk* chunk, std::uint32_t& pos) {
  const char* base = chunk->bytes();
  std::uint64_t word = wordAt(base, pos);
  std::uint32_t at = pos;
  pos += 8;
  switch (typeOf(word)) {
    case '"': return JsonValue(std::string(textOf(base, word)));
    case 'l': pos += 8; return JsonValue(valueAfter<std::int64_t>(base, at));
    case 'u': pos += 8; return JsonValue(static_cast<double>(valueAfter<std::uint64_t>(base, at)));
    case 'd': {
      pos += 8;
      double d = valueAfter<double>(base, at);
      if (integral(d)) return JsonValue(static_cast<std::int64_t>(d));
      return JsonValue(d);
    }
    case 't': return JsonValue(true);
    case 'f': return JsonValue(false);
    case '{':
    case '[':
      pos = static_cast<std::uint32_t>(word);
      return build(chunk, at);
    default: return JsonValue();  // 'n'
  }
}

JsonValue TreeStore::build(TreeChunk* chunk, std::uint32_t offset) {
  const char* base = chunk->bytes();
  const std::uint64_t opening = wordAt(base, offset);
  const auto count = static_cast<std::uint32_t>((opening & kCountMask) >> 32);
  const std::uint32_t closing = static_cast<std::uint32_t>(opening) - 8;
  std::uint32_t pos = offset + 8;
  if (typeOf(opening) == '[') {
    JsonValue::Array elements;
    elements.reserve(count);
    while (pos < closing) elements.push_back(valueAt(chunk, pos));
    return JsonValue(std::move(elements));
  }
  JsonValue::Object members;
  JsonObject::Members& list = JsonObjectAccess::members(members);
  list.reserve(count);
  std::vector<std::string_view> keys;
  KeyFilter filter(keys, count);
  while (pos < closing) {
    std::string_view key = textOf(base, wordAt(base, pos));
    pos += 8;
    JsonValue value = valueAt(chunk, pos);
    if (!filter.first(key)) continue;
    list.emplace_back(std::piecewise_construct, std::forward_as_tuple(key),
                      std::forward_as_tuple(std::move(value)));
  }
  return JsonValue(std::move(members));
}

namespace {

void writeAt(const char* base, std::uint32_t& pos, JsonWriter& writer,
             std::vector<std::string_view>& keys) {
  std::uint64_t word = wordAt(base, pos);
  std::uint32_t at = pos;
  pos += 8;
  switch (typeOf(word)) {
    case '"': writer.value(textOf(base, word)); return;
    case 'l': pos += 8; writer.value(valueAfter<std::int64_t>(base, at)); return;
    case 'u': pos += 8; writer.value(static_cast<double>(valueAfter<std::uint64_t>(base, at))); return;
    case 'd': {
      pos += 8;
      double d = valueAfter<double>(base, at);
      if (integral(d)) {
        writer.value(static_cast<std::int64_t>(d));
      } else {
        writer.value(d);
      }
      return;
    }
    case 't': writer.value(true); return;
    case 'f': writer.value(false); return;
    case 'n': writer.null(); return;
    case '[': {
      const std::uint32_t closing = static_cast<std::uint32_t>(word) - 8;
      writer.beginArray();
      while (pos < closing) writeAt(base, pos, writer, keys);
      writer.endArray();
      pos = closing + 8;
      return;
    }
    default: {  // '{'
      const std::uint32_t closing = static_cast<std::uint32_t>(word) - 8;
      KeyFilter filter(keys, static_cast<std::uint32_t>((word & kCountMask) >> 32));
      writer.beginObject();
      while (pos < closing) {
        std::string_view key = textOf(base, wordAt(base, pos));
        pos += 8;
        if (filter.first(key)) {
          writer.key(key);
          writeAt(base, pos, writer, keys);
        } else {
          std::uint64_t skipped = wordAt(base, pos);
          char type = typeOf(skipped);
          pos = type == '{' || type == '['                 ? static_cast<std::uint32_t>(skipped)
                : type == 'l' || type == 'u' || type == 'd' ? pos + 16
                                                            : pos + 8;
        }
      }
      writer.endObject();
      pos = closing + 8;
      return;
    }
  }
}

}  // namespace

void TreeStore::encode(const TreeChunk* chunk, std::uint32_t offset, JsonWriter& writer) {
  std::vector<std::string_view> keys;
  writeAt(chunk->bytes(), offset, writer, keys);
}

}  // namespace tavrel::detail
