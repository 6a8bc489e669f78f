#include "tavrel/model/response.h"

#include "tavrel/core/json_value.h"
#include "tavrel/model/coding_keys.h"

namespace tavrel {

Meta Meta::decode(const JsonNode& node) {
  auto keys = node.object();
  Meta meta;
  meta.status = keys.decode<std::int64_t>(rawValue(CodingKeys::status));
  meta.error = keys.decodeLenient<std::string>(rawValue(CodingKeys::error));
  meta.errorMessage = keys.decodeLenient<std::string>(rawValue(CodingKeys::errorMessage));

  meta.nextAfter = keys.decodeLenient<std::string>(rawValue(CodingKeys::nextAfter));
  if (!meta.nextAfter) {
    if (auto number = keys.decodeLenient<double>(rawValue(CodingKeys::nextAfter))) {
      meta.nextAfter = formatDouble(*number);
    }
  }

  // Only an array headed by a string gives a position; a bare string does not.
  if (auto position = keys.decodeLenient<JsonValue>(rawValue(CodingKeys::nextBeforePosition))) {
    if (auto first = position->getItemFromArray(0)) {
      if (const auto* text = first->getIf<std::string>()) meta.nextBeforePosition = *text;
    }
  }
  return meta;
}

std::string Meta::printError() const {
  return "Ошибка (status: " + std::to_string(status) + ") " + error.value_or("nil") + ": " +
         errorMessage.value_or("nil");
}

SimpleId SimpleId::decode(const JsonNode& node) {
  return SimpleId{node.object().decode<std::string>(rawValue(CodingKeys::id))};
}

}  // namespace tavrel
