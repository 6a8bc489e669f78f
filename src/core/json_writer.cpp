#include "tavrel/core/json_writer.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/json_internal.h"

namespace tavrel {

namespace {

// Characters that need an escape inside a JSON string.
constexpr bool needsEscape(unsigned char c) noexcept { return c < 0x20 || c == '"' || c == '\\'; }

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// Whether some byte of `w` is zero, or below `n` (n <= 0x80).
constexpr bool hasZeroByte(std::uint64_t w) noexcept { return ((w - kOnes) & ~w & kHighBits) != 0; }
constexpr bool hasByteBelow(std::uint64_t w, std::uint64_t n) noexcept {
  return ((w - kOnes * n) & ~w & kHighBits) != 0;
}

// The length of the prefix of [p, p + n) that needs no escape, eight bytes at
// a time; ORs the bytes passed into `seen`, so that its high bits tell whether
// any byte was beyond ASCII.
std::size_t plainPrefix(const char* p, std::size_t n, std::uint64_t& seen) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, p + i, 8);
    if (hasByteBelow(w, 0x20) || hasZeroByte(w ^ (kOnes * '"')) || hasZeroByte(w ^ (kOnes * '\\'))) {
      break;
    }
    seen |= w;
  }
  for (; i < n; ++i) {
    auto c = static_cast<unsigned char>(p[i]);
    if (needsEscape(c)) break;
    seen |= c;
  }
  return i;
}

// Appends `text` as a quoted JSON string; false if it is no valid UTF-8, with
// `out` left as it was.
bool appendEscaped(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  const std::size_t before = out.size();
  out.reserve(before + text.size() + 2);
  out += '"';
  const char* p = text.data();
  std::size_t n = text.size();
  std::uint64_t seen = 0;
  for (;;) {
    std::size_t run = plainPrefix(p, n, seen);
    out.append(p, run);
    p += run;
    n -= run;
    if (n == 0) break;
    auto c = static_cast<unsigned char>(*p++);
    --n;
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else {
      out += "\\u00";
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  out += '"';
  // Escaped bytes are ASCII; the others passed through `seen`.
  if ((seen & kHighBits) != 0 && !simdjson::validate_utf8(text.data(), text.size())) {
    out.resize(before);
    return false;
  }
  return true;
}

}  // namespace

void JsonWriter::beforeValue() {
  if (afterKey_) {
    afterKey_ = false;
  } else if (needComma_) {
    out_ += ',';
  }
}

void JsonWriter::beginObject() {
  if (failed()) return;
  beforeValue();
  out_ += '{';
  needComma_ = false;
}

void JsonWriter::endObject() {
  if (failed()) return;
  out_ += '}';
  needComma_ = true;
}

void JsonWriter::beginArray() {
  if (failed()) return;
  beforeValue();
  out_ += '[';
  needComma_ = false;
}

void JsonWriter::endArray() {
  if (failed()) return;
  out_ += ']';
  needComma_ = true;
}

void JsonWriter::key(std::string_view name) {
  if (failed()) return;
  if (needComma_) out_ += ',';
  if (!appendEscaped(out_, name)) {
    fail("a key is no valid UTF-8");
    return;
  }
  out_ += ':';
  afterKey_ = true;
  needComma_ = false;
}

void JsonWriter::null() {
  if (failed()) return;
  beforeValue();
  out_ += "null";
  needComma_ = true;
}

void JsonWriter::value(std::string_view text) {
  if (failed()) return;
  const std::size_t before = out_.size();
  const bool afterKey = afterKey_;
  beforeValue();
  if (!appendEscaped(out_, text)) {
    out_.resize(before);
    afterKey_ = afterKey;
    fail("a string is no valid UTF-8");
    return;
  }
  needComma_ = true;
}

void JsonWriter::value(bool flag) {
  if (failed()) return;
  beforeValue();
  out_ += flag ? "true" : "false";
  needComma_ = true;
}

void JsonWriter::value(std::int64_t number) {
  if (failed()) return;
  beforeValue();
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  out_.append(buffer, result.ptr);
  needComma_ = true;
}

void JsonWriter::value(double number) {
  if (failed()) return;
  if (!std::isfinite(number)) {
    fail("cannot encode the non-finite number " + formatDouble(number));
    return;
  }
  beforeValue();
  detail::appendDouble(out_, number);
  needComma_ = true;
}

void JsonWriter::fail(std::string message) {
  if (!error_) error_.emplace(std::move(message));
}

}  // namespace tavrel
