#include "tavrel/core/json_writer.h"

#include <charconv>
#include <cmath>

#include "core/json_internal.h"

namespace tavrel {

namespace {

// Characters that need an escape inside a JSON string.
constexpr bool needsEscape(unsigned char c) noexcept { return c < 0x20 || c == '"' || c == '\\'; }

void appendEscaped(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.reserve(out.size() + text.size() + 2);
  out += '"';
  std::size_t run = 0;  // start of the pending run of plain characters
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (!needsEscape(c)) continue;
    out.append(text, run, i - run);
    run = i + 1;
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else {
      out += "\\u00";
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  out.append(text, run, text.size() - run);
  out += '"';
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
  if (!simdjson::validate_utf8(name.data(), name.size())) {
    fail("a key is no valid UTF-8");
    return;
  }
  appendEscaped(out_, name);
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
  if (!simdjson::validate_utf8(text.data(), text.size())) {
    fail("a string is no valid UTF-8");
    return;
  }
  beforeValue();
  appendEscaped(out_, text);
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
