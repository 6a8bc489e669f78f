#include "tavrel/model/coding_keys.h"

namespace tavrel {

std::optional<CodingKeys> codingKeyFromString(std::string_view text) noexcept {
  for (std::size_t i = 0; i < codingKeyCount; ++i) {
    if (codingKeyRawValues[i] == text) return static_cast<CodingKeys>(i);
  }
  return std::nullopt;
}

}  // namespace tavrel
