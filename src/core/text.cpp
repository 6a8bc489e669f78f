#include "tavrel/core/text.h"

#include <utf8proc.h>

#include <charconv>
#include <cmath>

#include "tavrel/core/percent_encoding.h"

namespace tavrel {

std::string URLEncode(std::string_view text) {
  static const AsciiSet allowed = AsciiSet::of(":#[]@ !$&'()*+,;=").inverted();
  return percentEncode(text, allowed);
}

std::vector<std::string> group(std::string_view text, int size) {
  std::vector<std::string> pieces;
  if (size <= 0) return pieces;
  auto p = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto n = static_cast<utf8proc_ssize_t>(text.size());
  utf8proc_ssize_t pos = 0;
  utf8proc_int32_t previous = -1;
  utf8proc_int32_t state = 0;
  std::size_t pieceStart = 0;
  int charsInPiece = 0;
  while (pos < n) {
    utf8proc_int32_t cp = 0;
    auto used = utf8proc_iterate(p + pos, n - pos, &cp);
    if (used <= 0) {  // a byte that is no UTF-8 stands as a character of its own
      used = 1;
      cp = -1;
    }
    const bool startsCharacter =
        previous < 0 || cp < 0 || utf8proc_grapheme_break_stateful(previous, cp, &state);
    if (previous < 0 || cp < 0) state = 0;
    if (startsCharacter && pos > 0) {
      if (charsInPiece == size) {
        pieces.emplace_back(text.substr(pieceStart, static_cast<std::size_t>(pos) - pieceStart));
        pieceStart = static_cast<std::size_t>(pos);
        charsInPiece = 0;
      }
    }
    if (startsCharacter) ++charsInPiece;
    previous = cp;
    pos += used;
  }
  if (pieceStart < text.size()) pieces.emplace_back(text.substr(pieceStart));
  return pieces;
}

std::optional<std::int64_t> parseInt(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  // from_chars takes a "-" but no "+", and nothing after the sign but digits.
  std::string_view s = *text;
  if (s.front() == '+') {
    s.remove_prefix(1);
    if (s.starts_with('-')) return std::nullopt;
  }
  const std::string_view digits = s.starts_with('-') ? s.substr(1) : s;
  if (digits.empty() || digits.front() < '0' || digits.front() > '9') return std::nullopt;
  std::int64_t value = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return value;
}

std::optional<double> parseDouble(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  std::string_view s = *text;
  const bool plus = s.front() == '+';
  if (plus) s.remove_prefix(1);
  if (s.empty() || (plus && s.front() == '-')) return std::nullopt;
  double value = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value, std::chars_format::general);
  if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return value;
}

}  // namespace tavrel
