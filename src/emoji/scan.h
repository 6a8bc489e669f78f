#pragma once
// Fast skipping over bytes that cannot start an emoji. Catalogue texts start
// only with "#", "*", a digit, or the UTF-8 lead bytes C2, E2, E3 and F0
// (the generator lists these in automata_data.cpp, and a test holds the two
// together), so Latin and Cyrillic text is passed over sixteen bytes at a time.

#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tavrel::emoji_scan {

// Whether a catalogue text can start with this byte.
constexpr bool canStartEscape(unsigned char b) {
  return b == 0x23 || b == 0x2A || static_cast<unsigned char>(b - 0x30) < 10 || b == 0xC2 ||
         (b & 0xFE) == 0xE2 || b == 0xF0;
}

#if defined(__SSE2__)
// A mask with bit i set when byte i of the block can start a text.
inline unsigned escapeStartMask(__m128i v) {
  const auto is = [v](int byte) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(byte))); };
  const __m128i digit = _mm_sub_epi8(v, _mm_set1_epi8(0x30));
  __m128i m = _mm_cmpeq_epi8(_mm_min_epu8(digit, _mm_set1_epi8(9)), digit);
  m = _mm_or_si128(m, _mm_or_si128(is(0x23), is(0x2A)));
  m = _mm_or_si128(m, _mm_or_si128(is(0xC2), is(0xF0)));
  m = _mm_or_si128(m, _mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(static_cast<char>(0xFE))),
                                     _mm_set1_epi8(static_cast<char>(0xE2))));
  return static_cast<unsigned>(_mm_movemask_epi8(m));
}
#endif

// The first position at or after `from` whose byte can start a text, or n.
inline std::size_t nextEscapeStart(const unsigned char* s, std::size_t from, std::size_t n) {
#if defined(__SSE2__)
  for (; from + 32 <= n; from += 32) {
    const auto* p = reinterpret_cast<const __m128i*>(s + from);
    const unsigned mask = escapeStartMask(_mm_loadu_si128(p)) |
                          (escapeStartMask(_mm_loadu_si128(p + 1)) << 16);
    if (mask != 0) return from + static_cast<std::size_t>(__builtin_ctz(mask));
  }
#endif
  while (from < n && !canStartEscape(s[from])) ++from;
  return from;
}

}  // namespace tavrel::emoji_scan
