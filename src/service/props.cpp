#include "service/props.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::service {
namespace {

std::string json(const JsonValue& value) { return value.asString().value_or("null"); }

JsonValue parsed(const std::string& text) {
  auto decoded = decodeJson<JsonValue>(text);
  return decoded ? std::move(decoded).value() : JsonValue(text);
}

std::optional<double> numberOf(const JsonValue& value) {
  if (auto* i = value.getIf<std::int64_t>()) return static_cast<double>(*i);
  if (auto* d = value.getIf<double>()) return *d;
  if (auto* s = value.getIf<std::string>()) {
    try {
      std::size_t used = 0;
      double d = std::stod(*s, &used);
      if (used == s->size() && std::isfinite(d)) return d;
    } catch (...) {
    }
  }
  return std::nullopt;
}

JsonValue numberValue(double d) {
  if (d == std::floor(d) && std::fabs(d) < 9e15) return JsonValue(static_cast<std::int64_t>(d));
  return JsonValue(d);
}

JsonValue::Array listOf(const std::optional<std::string>& current) {
  if (!current) return {};
  JsonValue value = parsed(*current);
  if (auto* array = value.getIf<JsonValue::Array>()) return *array;
  return {value};
}

}  // namespace

std::optional<std::string> applyOperations(std::map<std::string, std::string>& props,
                                           std::string_view operationsJson) {
  auto decoded = decodeJson<JsonValue>(operationsJson);
  if (!decoded) return "operations is no JSON: " + std::string(decoded.error().what());
  const auto* list = decoded->getIf<JsonValue::Array>();
  if (!list) return "operations is no JSON array";
  auto next = props;
  for (const JsonValue& item : *list) {
    auto op = item.getString("op");
    auto key = item.getString("key");
    auto value = item.getString("value");
    if (!item.getIf<JsonValue::Object>() || !op || !key || !value) {
      return "each operation needs \"op\", \"key\" and \"value\"";
    }
    if (key->empty()) return "a property key is empty";
    std::optional<std::string> current;
    if (auto found = next.find(*key); found != next.end()) current = found->second;
    if (*op == "update_or_create") {
      next[*key] = json(JsonValue(*value));
    } else if (*op == "set_once") {
      if (!current) next[*key] = json(JsonValue(*value));
    } else if (*op == "add") {
      auto by = numberOf(JsonValue(*value));
      auto base = current ? numberOf(parsed(*current)) : std::optional<double>(0.0);
      if (!by || !base) return "add needs numbers: \"" + *key + "\"";
      next[*key] = json(numberValue(*base + *by));
    } else if (*op == "delete") {
      next.erase(*key);
    } else if (*op == "append" || *op == "union" || *op == "exclude") {
      auto items = listOf(current);
      const JsonValue element(*value);
      const bool present = std::find(items.begin(), items.end(), element) != items.end();
      if (*op == "append" || (*op == "union" && !present)) items.push_back(element);
      if (*op == "exclude") std::erase(items, element);
      next[*key] = json(JsonValue(std::move(items)));
    } else {
      return "unknown operation \"" + *op + "\"";
    }
  }
  props = std::move(next);
  return std::nullopt;
}

}  // namespace tavrel::service
