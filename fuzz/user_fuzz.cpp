// Arbitrary bytes -> User, Auth and Messenger, as from the answer to
// "connect". Nothing may crash; whatever decodes must agree with itself: the
// application id of both records and the settings that Messenger keeps whole.

#include <string>

#include "fuzz_support.h"
#include "tavrel/core/log.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/response.h"
#include "tavrel/model/user.h"

using namespace tavrel;
using namespace tavrel::fuzz;

namespace {

// The member `key` of an object value, or nullptr.
const JsonValue* member(const JsonValue* object, const std::string& key) {
  const auto* members = object ? object->getIf<JsonValue::Object>() : nullptr;
  if (!members) return nullptr;
  auto it = members->find(key);
  return it == members->end() || !it->second ? nullptr : &*it->second;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool quiet = (setDebugSink([](std::string_view) {}), true);
  (void)quiet;
  const std::string_view bytes = input(data, size);

  auto user = decodeJson<User>(bytes);
  auto messenger = decodeJson<Messenger>(bytes);
  (void)decodeJson<Auth>(bytes);
  (void)decodeJson<Response<User>>(bytes);

  if (messenger) {
    const Messenger& m = messenger.value();
    const JsonValue* app = member(&m.connectData, "app");
    const JsonValue* settings = member(app, "settings");
    const JsonValue* color = member(settings, "messenger_collapsed_color");
    check(color && color->getIf<std::string>() && *color->getIf<std::string>() == m.color);
    const JsonValue* id = member(app, "id");
    check(id && id->getIf<std::string>() && *id->getIf<std::string>() == m.appId);
    // The kept tree encodes, and its text decodes back to the same tree.
    auto text = encodeJson(m.connectData);
    check(text.ok());
    auto again = decodeJson<JsonValue>(text.value());
    check(again.ok() && again.value() == m.connectData);
  }
  if (user && messenger) {
    // Both read "data" / "app" / "id"; the token is the text under "auth_token".
    check(user->appId == messenger->appId);
    if (user->token) check(messenger->connectData.getString("auth_token") == user->token);
  }
  return 0;
}
