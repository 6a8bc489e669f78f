#include "service/form.h"

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"

namespace tavrel::service {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<std::string> formDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+') {
      out += ' ';
    } else if (c == '%') {
      if (i + 2 >= text.size()) return std::nullopt;
      const int hi = hexDigit(text[i + 1]);
      const int lo = hexDigit(text[i + 2]);
      if (hi < 0 || lo < 0) return std::nullopt;
      out += static_cast<char>(hi * 16 + lo);
      i += 2;
    } else {
      out += c;
    }
  }
  return out;
}

bool parseForm(std::string_view text, Params& out) {
  while (!text.empty()) {
    const auto amp = text.find('&');
    const auto pair = text.substr(0, amp);
    text = amp == std::string_view::npos ? std::string_view() : text.substr(amp + 1);
    if (pair.empty()) continue;
    const auto eq = pair.find('=');
    auto key = formDecode(pair.substr(0, eq));
    auto value = eq == std::string_view::npos ? std::optional<std::string>("")
                                              : formDecode(pair.substr(eq + 1));
    if (!key || !value) return false;
    out[*key] = std::move(*value);
  }
  return true;
}

bool parseJsonObject(std::string_view text, Params& out) {
  auto decoded = decodeJson<JsonValue>(text);
  if (!decoded) return false;
  const auto* object = decoded->getIf<JsonValue::Object>();
  if (!object) return false;
  for (const auto& [key, member] : *object) {
    const JsonValue value = member.value_or(JsonValue());
    if (value.kind() == JsonValue::Kind::string || value.kind() == JsonValue::Kind::int_ ||
        value.kind() == JsonValue::Kind::double_ || value.kind() == JsonValue::Kind::bool_) {
      out[key] = value.asStringValue().value_or("");
    } else {
      out[key] = value.asString().value_or("");
    }
  }
  return true;
}

}  // namespace tavrel::service
