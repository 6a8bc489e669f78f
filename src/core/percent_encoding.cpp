#include "tavrel/core/percent_encoding.h"

#include "core/text_unicode.h"

namespace tavrel {
namespace {

AsciiSet range(char first, char last) {
  std::string chars;
  for (char c = first; c <= last; ++c) chars.push_back(c);
  return AsciiSet::of(chars);
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

AsciiSet AsciiSet::of(std::string_view chars) {
  AsciiSet set;
  for (unsigned char c : chars)
    if (c < 128) set.bits_.set(c);
  return set;
}

AsciiSet AsciiSet::operator|(const AsciiSet& other) const {
  AsciiSet set;
  set.bits_ = bits_ | other.bits_;
  return set;
}

AsciiSet AsciiSet::inverted() const {
  AsciiSet set;
  set.bits_ = ~bits_;
  return set;
}

namespace charset {
const AsciiSet& alphanumerics() {
  static const AsciiSet set = range('0', '9') | range('A', 'Z') | range('a', 'z');
  return set;
}
const AsciiSet& urlHostAllowed() {
  static const AsciiSet set = alphanumerics() | AsciiSet::of("!$&'()*+,-.:;=[]_~");
  return set;
}
const AsciiSet& urlPathAllowed() {
  static const AsciiSet set = alphanumerics() | AsciiSet::of("!$&'()*+,-./:=@_~");
  return set;
}
const AsciiSet& urlQueryAllowed() {
  static const AsciiSet set = alphanumerics() | AsciiSet::of("!$&'()*+,-./:;=?@_~");
  return set;
}
const AsciiSet& urlFragmentAllowed() {
  static const AsciiSet set = alphanumerics() | AsciiSet::of("!$&'()*+,-./:;=?@_~");
  return set;
}
}  // namespace charset

std::string percentEncode(std::string_view text, const AsciiSet& allowed) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (unsigned char c : text) {
    if (allowed.contains(c)) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0xF]);
    }
  }
  return out;
}

std::optional<std::string> removePercentEncoding(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int hi = hexValue(text[i + 1]);
    const int lo = hexValue(text[i + 2]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out.push_back(static_cast<char>(hi * 16 + lo));
    i += 2;
  }
  if (!detail::isValidUtf8(out)) return std::nullopt;
  return out;
}

}  // namespace tavrel
