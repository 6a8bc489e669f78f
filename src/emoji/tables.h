#pragma once
// The generated tables behind the catalogue and the conversions
// (tools/emoji/gen_emoji.py writes catalogue_data.cpp and automata_data.cpp).
// The sizes below are checked by the compiler against the generated arrays.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tavrel/emoji/emoji_cases.h"

namespace tavrel::emoji_data {

inline constexpr std::size_t kShortnameCount = 4250;
inline constexpr std::size_t kCodepointCount = 4533;
inline constexpr std::size_t kTrieNodeCount = 10925;
inline constexpr std::size_t kTrieEdgeCount = 21521;
inline constexpr unsigned kShortnameSlotBits = 14;
inline constexpr std::size_t kShortnameSlotCount = std::size_t{1} << kShortnameSlotBits;
inline constexpr std::uint16_t kNone = 0xFFFF;

// Longest shortname and longest codepoint text, in bytes.
inline constexpr std::size_t kMaxShortnameLength = 59;
inline constexpr std::size_t kMaxCodepointLength = 28;

// All names and all texts, case after case; those of case i are the entries
// [start[i], start[i + 1]).
extern const std::string_view kShortnames[kShortnameCount];
extern const std::string_view kCodepoints[kCodepointCount];
extern const std::uint16_t kShortnameStart[kEmojiCount + 1];
extern const std::uint16_t kCodepointStart[kEmojiCount + 1];

// A node of the byte trie over all codepoint texts; node 0 is the root.
// Byte b leads to kTrieEdges[base + b - lo] when lo <= b < lo + span, where
// 0 means no edge (the root is nobody's child). `accept` is the case whose
// text ends here, or kNone.
struct TrieNode {
  std::uint32_t base;
  std::uint8_t lo;
  std::uint8_t span;
  std::uint16_t accept;
};
extern const TrieNode kTrieNodes[kTrieNodeCount];
extern const std::uint16_t kTrieEdges[kTrieEdgeCount];

// Shortcuts over a whole first scalar: the node reached by E2 x y, and by
// F0 9F x y, at index (x & 0x3F) << 6 | (y & 0x3F) for continuation bytes
// x and y, in the low 16 bits, and that node's `accept` in the high 16
// bits; 0 when no text starts so.
extern const std::uint32_t kTrieAfterE2[4096];
extern const std::uint32_t kTrieAfterF09F[4096];

// ":" + first shortname + ":" of case i is kEscapedNames[kEscapedStart[i]]
// up to kEscapedStart[i + 1]. Zero bytes follow the last name, so that a
// fixed-size copy of kCopySlack bytes may start at any name.
inline constexpr std::size_t kEscapedNamesSize = 43654;
inline constexpr std::size_t kCopySlack = 32;
extern const char kEscapedNames[kEscapedNamesSize + kCopySlack];
extern const std::uint16_t kEscapedStart[kEmojiCount + 1];

// The first codepoint text of case i is kFirstTexts[kFirstTextStart[i]] up
// to kFirstTextStart[i + 1], followed by zero bytes in the same way.
inline constexpr std::size_t kFirstTextsSize = 23629;
extern const char kFirstTexts[kFirstTextsSize + kCopySlack];
extern const std::uint16_t kFirstTextStart[kEmojiCount + 1];

// Open addressing with linear probing over hashName(); each slot holds an
// index into kShortnames or kNone. kShortnameOwner maps that index to its case.
extern const std::uint16_t kShortnameSlots[kShortnameSlotCount];
extern const std::uint16_t kShortnameOwner[kShortnameCount];

}  // namespace tavrel::emoji_data
