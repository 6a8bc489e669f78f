#include "tavrel/core/color.h"

#include <charconv>

namespace tavrel {

std::optional<Color> Color::fromHex(std::uint32_t rgb, double alpha) {
  if (rgb > 0xFFFFFF || !(alpha >= 0 && alpha <= 1)) return std::nullopt;
  return Color{((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0, (rgb & 0xFF) / 255.0, alpha};
}

std::optional<Color> Color::fromHex(std::string_view text) {
  if (!text.empty() && text.front() == '#') text.remove_prefix(1);
  if (text.size() != 3 && text.size() != 6 && text.size() != 8) return std::nullopt;
  std::uint32_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (text.size() == 3) {
    const std::uint32_t r = (value >> 8) & 0xF, g = (value >> 4) & 0xF, b = value & 0xF;
    return fromHex((r * 17) << 16 | (g * 17) << 8 | (b * 17));
  }
  if (text.size() == 8) return fromHex(value >> 8, (value & 0xFF) / 255.0);
  return fromHex(value);
}

}  // namespace tavrel
