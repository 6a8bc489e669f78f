#pragma once
// UserProperty: one change to a property of the current visitor, sent in a
// list by the events and properties API.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"

namespace tavrel {

class UserProperty {
 public:
  // What the service is to do with the property; the raw value goes on the
  // wire. The trailing underscore avoids the C++ keywords.
  enum class Operations { updateOrCreate, setOnce, add, delete_, append, union_, exclude };

  // Keys read by decode(): "operation", "key", "value".
  enum class CodingKeys { operation, key, value };
  // Keys written by encode(): "op", "key", "value".
  enum class DataCodingKeys { operation, key, value };

  // Stores the values unchanged.
  UserProperty(std::string key, std::string value, Operations operation);

  // Reads "operation" (one of the seven wire values), "key" and "value", in
  // this order, all required texts. Throws DecodingError.
  static UserProperty decode(const JsonNode& node);
  // Writes "op", "key", "value"; the value stays a string. The result does
  // not decode back, since the operation key differs.
  void encode(JsonWriter& writer) const;

  Operations operation() const noexcept { return operation_; }  // what to do
  const std::string& key() const noexcept { return key_; }      // property name
  const std::string& value() const noexcept { return value_; }  // operand, always text

  friend bool operator==(const UserProperty&, const UserProperty&) = default;

 private:
  Operations operation_;
  std::string key_;
  std::string value_;
};

// The wire value of an operation ("update_or_create", "set_once", ...).
std::string_view rawValue(UserProperty::Operations operation) noexcept;
// The operation whose wire value is `text` exactly, or nullopt.
std::optional<UserProperty::Operations> operationFromRawValue(std::string_view text) noexcept;

// The JSON keys of the two key sets.
std::string_view rawValue(UserProperty::CodingKeys key) noexcept;
std::string_view rawValue(UserProperty::DataCodingKeys key) noexcept;

}  // namespace tavrel
