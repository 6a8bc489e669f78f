#include "core/json_trees.h"

#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/json_internal.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::detail {

namespace {

// A chunk with its header fills 4 KiB; bigger trees get a chunk of their own.
constexpr std::uint32_t kChunkBytes = 4096 - sizeof(TreeChunk);
constexpr std::uint32_t kOwnChunkFrom = kChunkBytes / 4;
using tape::typeOf;

struct TreeHeader {
  std::uint32_t first;       // tape index of the first word
  std::uint32_t words;       // how many words follow the header
  std::uint32_t stringBase;  // string buffer offset of the first string
  std::uint32_t unused;
};
static_assert(sizeof(TreeHeader) == 16);

// Tape words and strings read by the parser's indices and offsets: those of
// the document itself, or of a kept tree's copy, shifted by its bases.
class Tape {
 public:
  // The document's own.
  explicit Tape(TapeValue value) noexcept
      : words_(reinterpret_cast<const char*>(wordsOf(value))),
        strings_(reinterpret_cast<const char*>(stringsOf(value))) {}
  // A kept tree's.
  Tape(const TreeChunk* chunk, std::uint32_t offset) noexcept {
    const char* at = chunk->bytes() + offset;
    TreeHeader header;
    std::memcpy(&header, at, sizeof header);
    words_ = at + sizeof header;
    strings_ = words_ + std::size_t{header.words} * 8;
    first_ = header.first;
    stringBase_ = header.stringBase;
  }

  // The index of the kept tree's first word.
  std::size_t first() const noexcept { return first_; }
  std::uint64_t word(std::size_t index) const noexcept {
    std::uint64_t word;
    std::memcpy(&word, words_ + (index - first_) * 8, sizeof word);
    return word;
  }
  template <class T>
  T numberAfter(std::size_t index) const noexcept {
    T value;
    std::memcpy(&value, words_ + (index + 1 - first_) * 8, sizeof value);
    return value;
  }
  std::string_view text(std::uint64_t word) const noexcept {
    return tape::textAt(strings_ + (tape::stringOffset(word) - stringBase_));
  }
  std::size_t after(std::size_t index) const noexcept { return tape::skip(word(index), index); }

 private:
  const char* words_;    // the word at index first_
  const char* strings_;  // the string at offset stringBase_
  std::size_t first_ = 0;
  std::size_t stringBase_ = 0;
};

}  // namespace

// --- chunks ---------------------------------------------------------------------------

TreeChunk* TreeChunk::make(std::uint32_t capacity, std::uint32_t refs) {
  void* memory = ::operator new(sizeof(TreeChunk) + capacity);
  auto* chunk = new (memory) TreeChunk;
  chunk->refs.store(refs, std::memory_order_relaxed);
  chunk->size = 0;
  chunk->capacity = capacity;
  return chunk;
}

void TreeChunk::release(std::uint32_t count) noexcept {
  if (refs.fetch_sub(count, std::memory_order_acq_rel) == count) {
    this->~TreeChunk();
    ::operator delete(this);
  }
}

// --- keeping ----------------------------------------------------------------------------

TreeStore::~TreeStore() { drop(); }

void TreeStore::drop() noexcept {
  if (chunk_) chunk_->release(kBias - handedOut_);
  chunk_ = nullptr;
  handedOut_ = 0;
}

TreeChunk* TreeStore::reserve(std::uint32_t bytes) {
  if (bytes >= kOwnChunkFrom) return TreeChunk::make(bytes);
  if (!chunk_ || chunk_->capacity - chunk_->size < bytes) {
    TreeChunk* fresh = TreeChunk::make(kChunkBytes, kBias);
    drop();
    chunk_ = fresh;
  }
  ++handedOut_;
  return chunk_;
}

void TreeStore::make(TapeValue value, JsonValue& out) {
  const std::uint64_t* tape = wordsOf(value);
  const std::size_t first = value.index;
  const std::uint64_t opening = tape[first];
  const char type = typeOf(opening);
  if ((type != '{' && type != '[') || !keep_) {
    out = makeJsonValue(value);
    return;
  }
  const std::size_t end = tape::closing(opening) + 1;
  if (end == first + 2) {
    out = type == '{' ? JsonValue(JsonValue::Object()) : JsonValue(JsonValue::Array());
    return;
  }

  // The strings of a value lie together in the string buffer, in order. An
  // object starts with a key, and when a string follows the value on the tape
  // (the parent's next key, mostly) ours end where it starts; otherwise a scan
  // finds the first and the last.
  const std::uint8_t* strings = stringsOf(value);
  std::size_t stringsBegin = 0, stringsEnd = 0;
  bool anyString = false;
  if (type == '{' && typeOf(tape[end]) == '"') {
    stringsBegin = tape::stringOffset(tape[first + 1]);
    stringsEnd = tape::stringOffset(tape[end]);
    anyString = true;
  }
  for (std::size_t i = anyString ? end : first; i < end; ++i) {
    std::uint64_t word = tape[i];
    switch (typeOf(word)) {
      case '"': {
        std::size_t at = tape::stringOffset(word);
        if (!anyString) stringsBegin = at;
        anyString = true;
        stringsEnd = at + 4 + tape::textAt(strings + at).size() + 1;
        break;
      }
      case 'l': case 'u': case 'd': ++i; break;  // the next word is the number
      default: break;
    }
  }
  const std::size_t wordBytes = (end - first) * 8;
  const std::size_t stringBytes = (stringsEnd - stringsBegin + 7) & ~std::size_t{7};
  const auto size = static_cast<std::uint32_t>(sizeof(TreeHeader) + wordBytes + stringBytes);

  TreeChunk* chunk = reserve(size);
  const std::uint32_t offset = chunk->size;
  char* to = chunk->bytes() + offset;
  const TreeHeader header{static_cast<std::uint32_t>(first),
                          static_cast<std::uint32_t>(end - first),
                          static_cast<std::uint32_t>(stringsBegin), 0};
  std::memcpy(to, &header, sizeof header);
  std::memcpy(to + sizeof header, tape + first, wordBytes);
  if (anyString) {
    std::memcpy(to + sizeof header + wordBytes, strings + stringsBegin, stringsEnd - stringsBegin);
  }
  chunk->size = offset + size;
  out.storage_.emplace<JsonValue::kDeferred>(chunk, offset);
}

// --- reading --------------------------------------------------------------------------

JsonValue::Kind TreeStore::kindAt(const TreeChunk* chunk, std::uint32_t offset) noexcept {
  const Tape tree(chunk, offset);
  return typeOf(tree.word(tree.first())) == '{' ? JsonValue::Kind::object
                                                : JsonValue::Kind::array;
}

namespace {

JsonValue buildAt(const Tape& tree, std::size_t index);

// The value at `index`, which moves past it.
JsonValue valueAt(const Tape& tree, std::size_t& index) {
  const std::uint64_t word = tree.word(index);
  const std::size_t at = index;
  index = tree.after(at);
  switch (typeOf(word)) {
    case '"': return JsonValue(std::string(tree.text(word)));
    case 'l': return JsonValue(tree.numberAfter<std::int64_t>(at));
    case 'u': return JsonValue(static_cast<double>(tree.numberAfter<std::uint64_t>(at)));
    case 'd': {
      double d = tree.numberAfter<double>(at);
      if (integral(d)) return JsonValue(static_cast<std::int64_t>(d));
      return JsonValue(d);
    }
    case 't': return JsonValue(true);
    case 'f': return JsonValue(false);
    case '{':
    case '[': return buildAt(tree, at);
    default: return JsonValue();  // 'n'
  }
}

JsonValue buildAt(const Tape& tree, std::size_t index) {
  const std::uint64_t opening = tree.word(index);
  const std::uint32_t count = tape::count(opening);  // a hint: it saturates
  const std::size_t closing = tape::closing(opening);
  std::size_t at = index + 1;
  if (typeOf(opening) == '[') {
    JsonValue::Array elements;
    elements.reserve(count);
    while (at < closing) elements.push_back(valueAt(tree, at));
    return JsonValue(std::move(elements));
  }
  JsonValue::Object members;
  JsonObject::Members& list = JsonObjectAccess::members(members);
  list.reserve(count);
  std::vector<std::string_view> keys;
  KeyFilter filter(keys, count);
  while (at < closing) {
    std::string_view key = tree.text(tree.word(at));
    ++at;
    JsonValue value = valueAt(tree, at);
    if (!filter.first(key)) continue;
    list.emplace_back(std::piecewise_construct, std::forward_as_tuple(key),
                      std::forward_as_tuple(std::move(value)));
  }
  return JsonValue(std::move(members));
}

void writeAt(const Tape& tree, std::size_t index, JsonWriter& writer,
             std::vector<std::string_view>& keys) {
  const std::uint64_t word = tree.word(index);
  switch (typeOf(word)) {
    case '"': writer.value(tree.text(word)); return;
    case 'l': writer.value(tree.numberAfter<std::int64_t>(index)); return;
    case 'u': writer.value(static_cast<double>(tree.numberAfter<std::uint64_t>(index))); return;
    case 'd': {
      double d = tree.numberAfter<double>(index);
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
      writer.beginArray();
      for (std::size_t at = index + 1; at < tape::closing(word); at = tree.after(at)) {
        writeAt(tree, at, writer, keys);
      }
      writer.endArray();
      return;
    }
    default: {  // '{'
      KeyFilter filter(keys, tape::count(word));
      writer.beginObject();
      for (std::size_t at = index + 1; at < tape::closing(word); at = tree.after(at + 1)) {
        std::string_view key = tree.text(tree.word(at));
        if (!filter.first(key)) continue;
        writer.key(key);
        writeAt(tree, at + 1, writer, keys);
      }
      writer.endObject();
      return;
    }
  }
}

}  // namespace

JsonValue makeJsonValue(TapeValue value) {
  std::size_t at = value.index;
  return valueAt(Tape(value), at);
}

JsonValue TreeStore::build(TreeChunk* chunk, std::uint32_t offset) {
  const Tape tree(chunk, offset);
  return buildAt(tree, tree.first());
}

void TreeStore::encode(const TreeChunk* chunk, std::uint32_t offset, JsonWriter& writer) {
  const Tape tree(chunk, offset);
  std::vector<std::string_view> keys;
  writeAt(tree, tree.first(), writer, keys);
}

}  // namespace tavrel::detail
