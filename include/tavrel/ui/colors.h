#pragma once
// Colours of the views: the library's `Color` on Qt, the platform's named
// colours, and colours from text and from whole numbers.

#include <QColor>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tavrel/core/color.h"

namespace tavrel::ui {

inline QColor toQColor(const Color& c) { return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a)); }

namespace colors {
inline QColor white() { return QColor::fromRgbF(1, 1, 1); }
inline QColor black() { return QColor::fromRgbF(0, 0, 0); }
inline QColor clear() { return QColor::fromRgbF(0, 0, 0, 0); }
inline QColor red() { return QColor::fromRgbF(1, 0, 0); }
inline QColor lightGray() { return QColor::fromRgbF(2.0f / 3, 2.0f / 3, 2.0f / 3); }
inline QColor groupTableViewBackground() { return QColor::fromRgbF(0.937f, 0.937f, 0.957f); }
// A grey of `white` (0 black, 1 white) with `alpha`.
inline QColor white(double white, double alpha) {
  return QColor::fromRgbF(float(white), float(white), float(white), float(alpha));
}
// 0xRRGGBB, opaque.
inline QColor hex(std::uint32_t rgb) { return QColor::fromRgb(rgb >> 16 & 0xff, rgb >> 8 & 0xff, rgb & 0xff); }
// "#RGB", "#RRGGBB" or "#RRGGBBAA", the "#" optional; nothing for other texts.
inline std::optional<QColor> fromHexString(std::string_view text) {
  if (auto c = Color::fromHex(text)) return toQColor(*c);
  return std::nullopt;
}
}  // namespace colors

}  // namespace tavrel::ui
