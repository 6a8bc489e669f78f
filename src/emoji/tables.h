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

// Open addressing with linear probing over hashName(); each slot holds an
// index into kShortnames or kNone. kShortnameOwner maps that index to its case.
extern const std::uint16_t kShortnameSlots[kShortnameSlotCount];
extern const std::uint16_t kShortnameOwner[kShortnameCount];

}  // namespace tavrel::emoji_data
