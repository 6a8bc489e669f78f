#pragma once
// UTF-8 checks shared by the text helpers.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::detail {

// True when `text` is well-formed UTF-8 (no overlongs, surrogates or values
// above U+10FFFF).
bool isValidUtf8(std::string_view text);

// The number of UTF-16 units of well-formed UTF-8 text.
std::size_t utf16Length(std::string_view text);

// Appends the UTF-8 form of a code point.
void appendUtf8(std::string& out, char32_t codePoint);

// UTF-16 units (little- or big-endian bytes) as UTF-8; nothing for an
// unpaired surrogate or an odd byte count.
std::optional<std::string> utf16ToUtf8(std::string_view bytes, bool bigEndian);

}  // namespace tavrel::detail
