#include "core/text_unicode.h"

#include <utf8proc.h>

namespace tavrel::detail {

bool isValidUtf8(std::string_view text) {
  auto p = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto n = static_cast<utf8proc_ssize_t>(text.size());
  while (n > 0) {
    utf8proc_int32_t cp = 0;
    const auto used = utf8proc_iterate(p, n, &cp);
    if (used <= 0) return false;
    p += used;
    n -= used;
  }
  return true;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (unsigned char c : text) {
    if ((c & 0xC0) == 0x80) continue;  // continuation byte
    units += (c >= 0xF0) ? 2 : 1;
  }
  return units;
}

void appendUtf8(std::string& out, char32_t cp) {
  utf8proc_uint8_t buf[4];
  const auto n = utf8proc_encode_char(static_cast<utf8proc_int32_t>(cp), buf);
  out.append(reinterpret_cast<const char*>(buf), static_cast<std::size_t>(n));
}

std::optional<std::string> utf16ToUtf8(std::string_view bytes, bool bigEndian) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::string out;
  out.reserve(bytes.size());
  auto unit = [&](std::size_t i) -> char32_t {
    const auto a = static_cast<unsigned char>(bytes[i]);
    const auto b = static_cast<unsigned char>(bytes[i + 1]);
    return bigEndian ? (a << 8 | b) : (b << 8 | a);
  };
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t u = unit(i);
    if (u >= 0xD800 && u <= 0xDBFF) {
      if (i + 3 >= bytes.size()) return std::nullopt;
      const char32_t low = unit(i + 2);
      if (low < 0xDC00 || low > 0xDFFF) return std::nullopt;
      u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    } else if (u >= 0xDC00 && u <= 0xDFFF) {
      return std::nullopt;
    }
    appendUtf8(out, u);
  }
  return out;
}

}  // namespace tavrel::detail
