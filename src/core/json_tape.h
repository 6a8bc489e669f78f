#pragma once
// The one place that knows how simdjson lays out a parsed document. The JSON
// core reads documents here, word by word, where the parser's element API
// would cost too much; it never touches the parser's private members.
//
// simdjson's DOM parser leaves a document in two public members of
// dom::document: `tape`, an array of 64-bit words, and `string_buf`, the
// strings. simdjson 3 lays them out as its doc/tape.md describes:
//   - word 0 is the root word 'r'; the document's value starts at word 1;
//   - a word has its type character in the top byte and a 56-bit payload;
//   - '{' '['  the low 32 bits hold the index just past the matching '}' ']',
//     bits 32-55 the number of members or elements, saturated: 0xFFFFFF means
//     that many or more, so a size at the cap is counted by walking;
//   - an object's words alternate keys ('"' words) and values;
//   - '"'  the payload is the string's offset in `string_buf`, where it is
//     stored as a u32 length, the bytes, and a NUL;
//   - 'l' 'u' 'd'  the next word holds an int64, a uint64 or a double;
//   - 't' 'f' 'n'  nothing more.
// cmake/TavrelDeps.cmake refuses another major version of simdjson and checks
// these facts on a sample document when the build is configured.

#include <simdjson.h>

#include <cstdint>
#include <cstring>
#include <string_view>

namespace tavrel::detail::tape {

inline constexpr int kSimdjsonMajor = 3;
static_assert(simdjson::SIMDJSON_VERSION_MAJOR == kSimdjsonMajor,
              "the JSON core reads the tape as simdjson 3 lays it out (see json_tape.h)");

// Where the document's value starts.
inline constexpr std::size_t kRoot = 1;
inline constexpr std::uint64_t kPayloadMask = 0x00FFFFFFFFFFFFFF;
// The saturated count of an object or array.
inline constexpr std::uint32_t kCountCap = 0xFFFFFF;

inline const std::uint64_t* wordsOf(const simdjson::dom::document& doc) noexcept {
  return doc.tape.get();
}
inline const std::uint8_t* stringsOf(const simdjson::dom::document& doc) noexcept {
  return doc.string_buf.get();
}

inline char typeOf(std::uint64_t word) noexcept { return static_cast<char>(word >> 56); }

// The index just past the value whose word `word` stands at `index`.
inline std::size_t skip(std::uint64_t word, std::size_t index) noexcept {
  switch (typeOf(word)) {
    case '{': case '[': return static_cast<std::uint32_t>(word);
    case 'l': case 'u': case 'd': return index + 2;
    default: return index + 1;
  }
}
inline std::size_t after(const std::uint64_t* words, std::size_t index) noexcept {
  return skip(words[index], index);
}

// The index of the closing word of the object or array whose word is `word`.
inline std::size_t closing(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word) - 1;
}

// The member or element count of an opening word, up to kCountCap.
inline std::uint32_t count(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word >> 32) & kCountCap;
}

// Where a string word's text is stored, relative to the string buffer.
inline std::size_t stringOffset(std::uint64_t word) noexcept { return word & kPayloadMask; }

// The text stored at `at`: a u32 length, then the bytes.
inline std::string_view textAt(const void* at) noexcept {
  std::uint32_t length;
  std::memcpy(&length, at, sizeof length);
  return {static_cast<const char*>(at) + sizeof length, length};
}

// The number in the word after `index`.
template <class T>
inline T numberAfter(const std::uint64_t* words, std::size_t index) noexcept {
  T value;
  std::memcpy(&value, words + index + 1, sizeof value);
  return value;
}

}  // namespace tavrel::detail::tape
