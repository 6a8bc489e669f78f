#pragma once
// Messenger: how the chat widget of this application looks and which other
// messengers it offers, from the answer to "connect".

#include <string>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"

namespace tavrel {

// "Settings" below is the object at "data" / "app" / "settings".
struct Messenger {
  std::string color;             // settings "messenger_collapsed_color"
  std::string name;              // "data"/"app"/"name": the application's name
  std::string appId;             // "data"/"app"/"id"
  bool isVkVisible = false;          // settings "messenger_icon_vk_show"
  bool isViberVisible = false;       // settings "messenger_icon_viber_show"
  bool isFacebookVisible = false;    // settings "messenger_icon_facebook_show"
  bool isTelegramVisible = false;    // settings "messenger_icon_telegram_show"
  std::string vkText;            // settings "messenger_icon_vk_text"
  std::string viberText;         // settings "messenger_icon_viber_text"
  std::string facebookText;      // settings "messenger_icon_facebook_text"
  std::string telegramText;      // settings "messenger_icon_telegram_text"
  std::string welcomeMessage;    // settings "messenger_welcome_message"
  bool isPoweredByVisible = false;   // settings "messenger_show_powered_by"
  std::string avatar;            // settings "messenger_avatar"
  JsonValue connectData;         // the whole "data" object, for further settings

  // Reads "data" (also kept whole in connectData), then "app" with "name" and
  // "id", then the settings: colour, avatar, welcome message, powered-by, the
  // four _show flags and the four _text values (VK, Viber, Facebook,
  // Telegram). Every read is required and strictly typed. Throws DecodingError.
  static Messenger decode(const JsonNode& node);

  friend bool operator==(const Messenger&, const Messenger&) = default;
};

}  // namespace tavrel
