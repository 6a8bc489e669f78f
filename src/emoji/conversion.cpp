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

  // ":" + name + ":"
  void putShortname(std::string_view name) {
    reserve(name.size() + 2);
    *cursor_ = ':';
    std::memcpy(cursor_ + 1, name.data(), name.size());
    cursor_[name.size() + 1] = ':';
    cursor_ += name.size() + 2;
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

// Length of the longest catalogue text at the start of [s, s + n), with its
// case in `found`; 0 when no text starts there.
std::size_t longestCodepointText(const unsigned char* s, std::size_t n, std::uint16_t& found) {
  std::size_t best = 0;
  std::uint32_t node = 0;
  const std::size_t limit = std::min(n, kMaxCodepointLength);
  for (std::size_t i = 0; i < limit; ++i) {
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
  while ((at = emoji_scan::nextEscapeStart(s, at, n)) < n) {
    const std::size_t length = longestCodepointText(s + at, n - at, found);
    if (length == 0) {
      ++at;
      continue;
    }
    if (copied == 0) out.expect(n + n / 4 + 64);
    out.put(text.data() + copied, at - copied);
    out.putShortname(kShortnames[kShortnameStart[found]]);
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
    out.put(s + copied, open - copied);
    const std::string_view replacement = kCodepoints[kCodepointStart[emoji]];
    out.put(replacement.data(), replacement.size());
    at = close + 1;
    copied = at;
  }
  if (copied == 0) return std::string(text);
  out.put(s + copied, n - copied);
  return std::move(out).take();
}

}  // namespace tavrel
