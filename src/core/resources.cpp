#include "tavrel/core/resources.h"

#include "tavrel/core/info_plist.h"

namespace tavrel::R {

namespace string {
const std::string& disabledInputBar() {
  static const std::string value = localize("Отправка заблокирована");
  return value;
}
const std::string& noInternet() {
  static const std::string value = localize("Нет интернет соединения");
  return value;
}
}  // namespace string

namespace color {
const Color& placeholderTextColor() {
  static const Color value{179.0 / 255.0, 179.0 / 255.0, 179.0 / 255.0, 1.0};
  return value;
}
const std::optional<Color>& gray179179179() {
  static const std::optional<Color> value = Color::fromHex(0xb3b3b3);
  return value;
}
const Color& gray153153153() {
  static const Color value = Color::fromHex(0x999999).value_or(Color::red());
  return value;
}
}  // namespace color

}  // namespace tavrel::R
