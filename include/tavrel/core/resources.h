#pragma once
// The fixed resources: texts for the screen, colours, image names and the JSON
// parameter names of the API. Code names a row of this table, not a literal.
//
// Texts and colours are made once, on first use, and can be read from any
// thread; texts are translated at that moment, so a later change of language
// shows after a restart. Image names and JSON names are compile-time constants.

#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/color.h"

namespace tavrel::R {

// Texts that reach a screen, translated with the default application type.
namespace string {
const std::string& disabledInputBar();  // "Отправка заблокирована"
const std::string& noInternet();        // "Нет интернет соединения"
}  // namespace string

namespace color {
const Color& placeholderTextColor();                // 179/255 grey, opaque
const std::optional<Color>& gray179179179();        // 0xb3b3b3
const Color& gray153153153();                       // 0x999999, or the platform's red
}  // namespace color

namespace drawable {
inline constexpr std::string_view questionCircle = "question-circle-sm";
}  // namespace drawable

// Parameter names and values of the API.
namespace json {
inline constexpr std::string_view seesionRandomId = "start_session_random_id";
inline constexpr std::string_view apiKey = "api_key";
inline constexpr std::string_view startSession = "start_session";
inline constexpr std::string_view includeAutoEvents = "include_auto_events";
inline constexpr std::string_view includeJsScripts = "include_js_scripts";
inline constexpr std::string_view includePushDomains = "include_push_domain";
inline constexpr std::string_view browser = "browser";
inline constexpr std::string_view os = "os";
inline constexpr std::string_view device = "device";
inline constexpr std::string_view deviceType = "device_type";
inline constexpr std::string_view tokenType = "token_type";
inline constexpr std::string_view userId = "user_id";
inline constexpr std::string_view hash = "hash";
inline constexpr std::string_view event = "event";
inline constexpr std::string_view params = "params";
inline constexpr std::string_view operations = "operations";
inline constexpr std::string_view authToken = "auth_token";
inline constexpr std::string_view tag = "tag";
inline constexpr std::string_view time = "time";
inline constexpr std::string_view body = "body";
inline constexpr std::string_view randomId = "random_id";
inline constexpr std::string_view sentVia = "sent_via";
inline constexpr std::string_view replyType = "reply_type";
inline constexpr std::string_view fromUser = "from_user";
inline constexpr std::string_view u2a = "u2a";
inline constexpr std::string_view fals = "false";
inline constexpr std::string_view before = "before";
inline constexpr std::string_view after = "after";
inline constexpr std::string_view paginateIncluding = "paginate_including";
inline constexpr std::string_view paginateDirection = "paginate_direction";
inline constexpr std::string_view type = "type";
inline constexpr std::string_view presence = "presence";
}  // namespace json

}  // namespace tavrel::R
