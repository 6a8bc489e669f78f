#include "service/form.h"

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/percent_encoding.h"

namespace tavrel::service {

std::optional<std::string> formDecode(std::string_view text) {
  std::string spaced(text);
  for (char& c : spaced)
    if (c == '+') c = ' ';
  return removePercentEncoding(spaced);
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
