#include "tavrel/model/user_property.h"

#include <utility>

namespace tavrel {

namespace {
constexpr std::array<std::string_view, 7> operationRawValues{
    "update_or_create", "set_once", "add", "delete", "append", "union", "exclude"};
constexpr std::array<std::string_view, 3> codingKeyRawValues{"operation", "key", "value"};
constexpr std::array<std::string_view, 3> dataCodingKeyRawValues{"op", "key", "value"};
}  // namespace

std::string_view rawValue(UserProperty::Operations operation) noexcept {
  return operationRawValues[static_cast<std::size_t>(operation)];
}

std::optional<UserProperty::Operations> operationFromRawValue(std::string_view text) noexcept {
  for (std::size_t i = 0; i < operationRawValues.size(); ++i) {
    if (operationRawValues[i] == text) return static_cast<UserProperty::Operations>(i);
  }
  return std::nullopt;
}

std::string_view rawValue(UserProperty::CodingKeys key) noexcept {
  return codingKeyRawValues[static_cast<std::size_t>(key)];
}

std::string_view rawValue(UserProperty::DataCodingKeys key) noexcept {
  return dataCodingKeyRawValues[static_cast<std::size_t>(key)];
}

UserProperty::UserProperty(std::string key, std::string value, Operations operation)
    : operation_(operation), key_(std::move(key)), value_(std::move(value)) {}

UserProperty UserProperty::decode(const JsonNode& node) {
  auto keys = node.object();
  const JsonNode operationNode = keys.at(rawValue(CodingKeys::operation));
  const auto text = operationNode.decode<std::string>();
  const auto operation = operationFromRawValue(text);
  if (!operation) {
    operationNode.fail(DecodingError::Kind::dataCorrupted,
                       "no operation has the wire value \"" + text + "\"");
  }
  auto key = keys.decode<std::string>(rawValue(CodingKeys::key));
  auto value = keys.decode<std::string>(rawValue(CodingKeys::value));
  return UserProperty(std::move(key), std::move(value), *operation);
}

void UserProperty::encode(JsonWriter& writer) const {
  writer.beginObject();
  writer.field(rawValue(DataCodingKeys::operation), rawValue(operation_));
  writer.field(rawValue(DataCodingKeys::key), key_);
  writer.field(rawValue(DataCodingKeys::value), value_);
  writer.endObject();
}

}  // namespace tavrel
