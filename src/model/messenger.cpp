#include "tavrel/model/messenger.h"

namespace tavrel {

Messenger Messenger::decode(const JsonNode& node) {
  auto root = node.object();
  auto data = root.nestedObject("data");
  Messenger m;
  m.connectData = root.decode<JsonValue>("data");  // the same object, kept as a tree

  auto app = data.nestedObject("app");
  m.name = app.decode<std::string>("name");
  m.appId = app.decode<std::string>("id");

  auto settings = app.nestedObject("settings");
  m.color = settings.decode<std::string>("messenger_collapsed_color");
  m.avatar = settings.decode<std::string>("messenger_avatar");
  m.welcomeMessage = settings.decode<std::string>("messenger_welcome_message");
  m.isPoweredByVisible = settings.decode<bool>("messenger_show_powered_by");
  m.isVkVisible = settings.decode<bool>("messenger_icon_vk_show");
  m.isViberVisible = settings.decode<bool>("messenger_icon_viber_show");
  m.isFacebookVisible = settings.decode<bool>("messenger_icon_facebook_show");
  m.isTelegramVisible = settings.decode<bool>("messenger_icon_telegram_show");
  m.vkText = settings.decode<std::string>("messenger_icon_vk_text");
  m.viberText = settings.decode<std::string>("messenger_icon_viber_text");
  m.facebookText = settings.decode<std::string>("messenger_icon_facebook_text");
  m.telegramText = settings.decode<std::string>("messenger_icon_telegram_text");
  return m;
}

}  // namespace tavrel
