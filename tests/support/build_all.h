#pragma once
// Header-only, so that fuzz targets can use it without linking the support
// library.

#include "tavrel/core/json_value.h"

namespace tavrel::testing {

// Decoded objects and arrays are kept encoded until read. Gives every object
// and array of `v` members of its own, depth first, through mutable access.
inline void buildAll(JsonValue& v) {
  if (auto* object = v.getIf<JsonValue::Object>()) {
    for (auto& member : *object) {
      if (member.second) buildAll(*member.second);
    }
  } else if (auto* array = v.getIf<JsonValue::Array>()) {
    for (auto& element : *array) buildAll(element);
  }
}

}  // namespace tavrel::testing
