#pragma once
// A colour as red, green, blue and alpha components from 0 to 1.

#include <cstdint>
#include <optional>
#include <string_view>

namespace tavrel {

struct Color {
  double r = 0;
  double g = 0;
  double b = 0;
  double a = 1;

  // From a whole number 0xRRGGBB, opaque; nothing above 0xFFFFFF.
  static std::optional<Color> fromHex(std::uint32_t rgb, double alpha = 1.0);
  // From "RGB", "RRGGBB" or "RRGGBBAA", with or without a leading "#";
  // nothing for any other text.
  static std::optional<Color> fromHex(std::string_view text);

  // The platform's red.
  static constexpr Color red() { return {1, 0, 0, 1}; }

  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace tavrel
