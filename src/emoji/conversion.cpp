// Both directions are single passes over the bytes of the text, driven by
// tables that are generated with the catalogue (see emoji/tables.h): a byte
// trie over every codepoint text for escaping, a hash table of every
// shortname for unescaping. Nothing is built at run time, so the first call
// costs no more than any other and any thread may call at any time.
#include "tavrel/emoji/conversion.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "emoji/scan.h"
#include "emoji/tables.h"

namespace tavrel {
namespace {

using namespace emoji_data;

// The result text, written through a raw cursor: the conversions append
// many short pieces, and the capacity check of std::string::append per
// piece is measurable.
class Output {
 public:
  // Makes room for `size` bytes in all, before the first piece.
  void expect(std::size_t size) { reserve(size); }

  void put(const char* data, std::size_t size) {
    reserve(size);
    std::memcpy(cursor_, data, size);
    cursor_ += size;
  }

  // The same for a piece with at least kCopySlack readable bytes at `data`:
  // short pieces go as one fixed-size copy, which beats a call to memcpy.
  void putFromWithin(const char* data, std::size_t size) {
    reserve(size + kCopySlack);
    if (size <= kCopySlack) {
      std::memcpy(cursor_, data, kCopySlack);
    } else {
      std::memcpy(cursor_, data, size);
    }
    cursor_ += size;
  }

  std::string take() && {
    buffer_.resize(static_cast<std::size_t>(cursor_ - buffer_.data()));
    return std::move(buffer_);
  }

 private:
  void reserve(std::size_t size) {
    if (static_cast<std::size_t>(end_ - cursor_) >= size) return;
    auto used = static_cast<std::size_t>(cursor_ - buffer_.data());
    buffer_.resize(std::max(buffer_.size() * 2, used + size));
    cursor_ = buffer_.data() + used;
    end_ = buffer_.data() + buffer_.size();
  }

  std::string buffer_;
  char* cursor_ = buffer_.data();
  char* end_ = cursor_;
};

// The case whose only text is this ASCII byte alone, or kNone.
constexpr std::uint16_t bareAsciiCase(unsigned char b) {
  constexpr Emoji kDigits[] = {Emoji::digit_zero,  Emoji::digit_one,  Emoji::digit_two,
                               Emoji::digit_three, Emoji::digit_four, Emoji::digit_five,
                               Emoji::digit_six,   Emoji::digit_seven, Emoji::digit_eight,
                               Emoji::digit_nine};
  if (b >= '0' && b <= '9') return static_cast<std::uint16_t>(kDigits[b - '0']);
  if (b == '#') return static_cast<std::uint16_t>(Emoji::pound_symbol);
  return kNone;
}

constexpr bool isContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// Length of the longest catalogue text at the start of [s, s + n), with its
// case in `found`; 0 when no text starts there. Most emoji are one scalar
// from U+2000..U+2FFF or U+1F000..U+1FFFF: a table lookup takes the walk
// past it in one step, and the trie goes on byte by byte from there.
std::size_t longestCodepointText(const unsigned char* s, std::size_t n, std::uint16_t& found) {
  std::size_t i = 0;
  std::uint32_t jump = 0;
  if (s[0] == 0xF0 && n >= 4 && s[1] == 0x9F && isContinuation(s[2]) && isContinuation(s[3])) {
    jump = kTrieAfterF09F[(s[2] & 0x3Fu) << 6 | (s[3] & 0x3Fu)];
    i = 4;
  } else if (s[0] == 0xE2 && n >= 3 && isContinuation(s[1]) && isContinuation(s[2])) {
    jump = kTrieAfterE2[(s[1] & 0x3Fu) << 6 | (s[2] & 0x3Fu)];
    i = 3;
  }
  std::size_t best = 0;
  std::uint32_t node = jump & 0xFFFF;
  if (i != 0) {
    if (node == 0) return 0;
    if ((jump >> 16) != kNone) {
      best = i;
      found = static_cast<std::uint16_t>(jump >> 16);
    }
  }
  const std::size_t limit = std::min(n, kMaxCodepointLength);
  for (; i < limit; ++i) {
    const TrieNode& from = kTrieNodes[node];
    const unsigned offset = static_cast<unsigned>(s[i]) - from.lo;  // wraps below lo
    if (offset >= from.span) break;
    node = kTrieEdges[from.base + offset];
    if (node == 0) break;
    if (kTrieNodes[node].accept != kNone) {
      best = i + 1;
      found = kTrieNodes[node].accept;
    }
  }
  return best;
}

// Up to eight bytes as a little-endian word, zero-padded; reads a whole
// word whenever the text has eight bytes left.
std::uint64_t loadWord(const char* p, std::size_t size, const char* end) {
  std::uint64_t word = 0;
  if (end - p >= 8) {
    std::memcpy(&word, p, 8);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    if (size < 8) word &= (std::uint64_t{1} << (8 * size)) - 1;
  } else {
    std::memcpy(&word, p, size);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  }
  return word;
}

// The hash the generator placed the shortnames by (gen_emoji.py, hash_name).
std::size_t hashName(const char* name, std::size_t size, const char* end) {
  constexpr std::uint64_t kSeed = 0x9E3779B97F4A7C15u;
  constexpr std::uint64_t kMul = 0xFF51AFD7ED558CCDu;
  std::uint64_t h = kSeed ^ size;
  for (std::size_t i = 0; i < size; i += 8) {
    h = (h ^ loadWord(name + i, std::min<std::size_t>(8, size - i), end)) * kMul;
    h ^= h >> 32;
  }
  return static_cast<std::size_t>((h * kMul) >> (64 - kShortnameSlotBits));
}

// The case whose shortname is [name, name + size), or kNone.
std::uint16_t findShortname(const char* name, std::size_t size, const char* end) {
  for (std::size_t slot = hashName(name, size, end);; slot = (slot + 1) & (kShortnameSlotCount - 1)) {
    const std::uint16_t id = kShortnameSlots[slot];
    if (id == kNone) return kNone;
    const std::string_view candidate = kShortnames[id];
    if (candidate.size() == size && std::memcmp(candidate.data(), name, size) == 0) {
      return kShortnameOwner[id];
    }
  }
}

}  // namespace

std::string emojiEscapedString(std::string_view text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t at = 0;
  std::size_t copied = 0;
  std::uint16_t found = kNone;
  Output out;
  emoji_scan::EscapeStarts starts(s, n);
  while ((at = starts.next(at)) < n) {
    std::size_t length = 0;
    if (s[at] < 0x80 && (at + 1 == n || (s[at + 1] != 0xEF && s[at + 1] != 0xE2))) {
      // A digit, "#" or "*" that no U+FE0F or U+20E3 follows: the bare
      // entry, if there is one. Numbers in chat text take this path.
      found = bareAsciiCase(s[at]);
      length = found == kNone ? 0 : 1;
    } else {
      length = longestCodepointText(s + at, n - at, found);
    }
    if (length == 0) {
      ++at;
      continue;
    }
    if (copied == 0) out.expect(n + n / 2 + 64);  // digits grow twelvefold
    if (n - copied >= kCopySlack) {
      out.putFromWithin(text.data() + copied, at - copied);
    } else {
      out.put(text.data() + copied, at - copied);
    }
    out.putFromWithin(kEscapedNames + kEscapedStart[found],
                      kEscapedStart[found + 1] - kEscapedStart[found]);
    at += length;
    copied = at;
  }
  if (copied == 0) return std::string(text);
  out.put(text.data() + copied, n - copied);
  return std::move(out).take();
}

std::string emojiUnescapedString(std::string_view text) {
  const char* s = text.data();
  const char* const end = s + text.size();
  const std::size_t n = text.size();
  std::size_t at = 0;
  std::size_t copied = 0;
  Output out;
  while (at < n) {
    const void* colon = std::memchr(s + at, ':', n - at);
    if (colon == nullptr) break;
    const auto open = static_cast<std::size_t>(static_cast<const char*>(colon) - s);
    // A name between this colon and the next one, if that is near enough.
    const std::size_t window = std::min(n - open - 1, kMaxShortnameLength + 1);
    const void* closing = std::memchr(s + open + 1, ':', window);
    if (closing == nullptr) {
      at = open + 1 + window;
      continue;
    }
    const auto close = static_cast<std::size_t>(static_cast<const char*>(closing) - s);
    const std::size_t size = close - open - 1;
    const std::uint16_t emoji = size == 0 ? kNone : findShortname(s + open + 1, size, end);
    if (emoji == kNone) {
      at = close;  // the closing colon may open the next name
      continue;
    }
    if (copied == 0) out.expect(n + 64);
    if (n - copied >= kCopySlack) {
      out.putFromWithin(s + copied, open - copied);
    } else {
      out.put(s + copied, open - copied);
    }
    out.putFromWithin(kFirstTexts + kFirstTextStart[emoji],
                      kFirstTextStart[emoji + 1] - kFirstTextStart[emoji]);
    at = close + 1;
    copied = at;
  }
  if (copied == 0) return std::string(text);
  out.put(s + copied, n - copied);
  return std::move(out).take();
}

}  // namespace tavrel
