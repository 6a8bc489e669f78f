#pragma once
// Fast skipping over bytes that cannot start an emoji. Catalogue texts start
// only with "#", "*", a digit, or the UTF-8 lead bytes C2, E2, E3 and F0
// (the generator lists these in automata_data.cpp, and a test holds the two
// together), so Latin and Cyrillic text is passed over 32 bytes at a time.

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

// Positions, from left to right, whose byte can start a text. The mask of
// the last 32-byte block is kept, so asking again a few bytes further on (a
// number, two emoji in a row) costs a shift instead of another block.
class EscapeStarts {
 public:
  EscapeStarts(const unsigned char* s, std::size_t n) : s_(s), n_(n) {}

  // The first position at or after `from` whose byte can start a text, or n.
  std::size_t next(std::size_t from) {
#if defined(__SSE2__)
    if (from >= block_ && from < block_ + 32) {
      const unsigned rest = mask_ & (~0u << (from - block_));
      if (rest != 0) return block_ + static_cast<std::size_t>(__builtin_ctz(rest));
      from = block_ + 32;
    }
    for (; from + 32 <= n_; from += 32) {
      const auto* p = reinterpret_cast<const __m128i*>(s_ + from);
      mask_ = escapeStartMask(_mm_loadu_si128(p)) | (escapeStartMask(_mm_loadu_si128(p + 1)) << 16);
      if (mask_ != 0) {
        block_ = from;
        return from + static_cast<std::size_t>(__builtin_ctz(mask_));
      }
    }
#endif
    while (from < n_ && !canStartEscape(s_[from])) ++from;
    return from;
  }

 private:
  const unsigned char* s_;
  std::size_t n_;
  std::size_t block_ = static_cast<std::size_t>(-64);  // no block yet
  unsigned mask_ = 0;
};

}  // namespace tavrel::emoji_scan
