#pragma once
// Edits a JSON document at a key path, for record tests of nested documents.

#include <optional>
#include <string>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::testing {

// One edit: the path of keys, and the raw JSON to put there (nullopt removes).
struct Edit {
  std::vector<std::string> path;
  std::optional<std::string> json;
};

// `document` with the edits applied; the objects along each path must exist.
inline std::string edited(const std::string& document, const std::vector<Edit>& edits) {
  JsonValue root = decodeJson<JsonValue>(document).value();
  for (const auto& edit : edits) {
    JsonValue* object = &root;
    for (std::size_t i = 0; i + 1 < edit.path.size(); ++i) {
      object = &*object->getIf<JsonValue::Object>()->at(edit.path[i]);
    }
    auto& members = *object->getIf<JsonValue::Object>();
    if (edit.json) {
      members[edit.path.back()] = decodeJson<JsonValue>(*edit.json).value();
    } else {
      members.erase(edit.path.back());
    }
  }
  return encodeJson(root).value();
}

// The path of a DecodingError, or "decoded" when there was none.
template <class T>
std::string failurePath(const DecodeResult<T>& result) {
  return result ? "decoded" : result.error().path();
}

}  // namespace tavrel::testing
