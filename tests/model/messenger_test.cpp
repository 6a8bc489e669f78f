#include "tavrel/model/messenger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"

namespace tavrel {
namespace {

using testing::edited;
using Kind = DecodingError::Kind;

const std::string kConnect = R"({"meta":{"status":200},"data":{"auth_token":"tok",
  "user":{"id":"u1"},"extra":{"x":1},
  "app":{"id":"app7","name":"Shop","plan":"pro","settings":{
    "messenger_collapsed_color":"#ff0000","messenger_avatar":"a.png",
    "messenger_welcome_message":"Здравствуйте!","messenger_show_powered_by":true,
    "messenger_icon_vk_show":true,"messenger_icon_viber_show":false,
    "messenger_icon_facebook_show":true,"messenger_icon_telegram_show":false,
    "messenger_icon_vk_text":"vk","messenger_icon_viber_text":"viber",
    "messenger_icon_facebook_text":"fb","messenger_icon_telegram_text":"tg",
    "messenger_theme":"dark"}}}})";

// The settings keys in reading order.
const std::vector<std::string> kSettingsOrder{
    "messenger_collapsed_color",    "messenger_avatar",
    "messenger_welcome_message",    "messenger_show_powered_by",
    "messenger_icon_vk_show",       "messenger_icon_viber_show",
    "messenger_icon_facebook_show", "messenger_icon_telegram_show",
    "messenger_icon_vk_text",       "messenger_icon_viber_text",
    "messenger_icon_facebook_text", "messenger_icon_telegram_text"};

TEST(Messenger, DecodesEveryFieldAndKeepsTheWholeData) {
  auto m = decodeJson<Messenger>(kConnect);
  ASSERT_TRUE(m) << m.error().what();
  Messenger expected{"#ff0000", "Shop", "app7", true, false, true, false, "vk", "viber", "fb",
                     "tg", "Здравствуйте!", true, "a.png",
                     decodeJson<JsonValue>(kConnect)->getIf<JsonValue::Object>()->at("data").value()};
  EXPECT_EQ(m.value(), expected);
  // Everything the typed fields leave out stays readable.
  EXPECT_EQ(m->connectData.getString("auth_token"), "tok");
  auto extra = decodeJson<JsonValue>(*m->connectData.getString("extra"));
  EXPECT_EQ(extra->getString("x"), "1");
  auto app = decodeJson<JsonValue>(*m->connectData.getString("app"));
  EXPECT_EQ(app->getString("plan"), "pro");
}

TEST(Messenger, EverySettingIsRequiredAndStrictlyTyped) {
  for (const auto& key : kSettingsOrder) {
    const std::vector<std::string> at{"data", "app", "settings", key};
    const bool flag = key.ends_with("_show") || key.ends_with("_by");
    struct Case {
      std::optional<std::string> json;
      Kind kind;
    } cases[] = {{std::nullopt, Kind::keyNotFound},
                 {"null", Kind::valueNotFound},
                 {"1", Kind::typeMismatch},
                 {flag ? R"("true")" : "false", Kind::typeMismatch}};
    for (const auto& c : cases) {
      const std::string json = edited(kConnect, {{at, c.json}});
      auto m = decodeJson<Messenger>(json);
      ASSERT_FALSE(m) << json;
      EXPECT_EQ(m.error().kind(), c.kind) << json;
      EXPECT_EQ(m.error().path(), "data.app.settings." + key) << json;
    }
  }
}

TEST(Messenger, ReadsInOrderAndFailsOnTheFirstBadKey) {
  // Removing the settings from key i on must report key i.
  for (std::size_t i = 0; i < kSettingsOrder.size(); ++i) {
    std::vector<testing::Edit> edits;
    for (std::size_t j = kSettingsOrder.size(); j-- > i;) {
      edits.push_back({{"data", "app", "settings", kSettingsOrder[j]}, std::nullopt});
    }
    EXPECT_EQ(testing::failurePath(decodeJson<Messenger>(edited(kConnect, edits))),
              "data.app.settings." + kSettingsOrder[i]);
  }
  struct Case {
    std::vector<testing::Edit> edits;
    std::string path;
  } cases[] = {
      {{{{"data"}, {}}}, "data"},
      {{{{"data"}, R"("x")"}}, "data"},
      {{{{"data", "app"}, {}}}, "data.app"},
      {{{{"data", "app", "settings"}, {}}, {{"data", "app", "id"}, {}}}, "data.app.id"},
      {{{{"data", "app", "id"}, {}}, {{"data", "app", "name"}, {}}}, "data.app.name"},
      {{{{"data", "app", "settings"}, "[]"}}, "data.app.settings"},
      // The keys of User are not looked at.
      {{{{"data", "user"}, {}}, {{"data", "auth_token"}, {}}}, "decoded"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(testing::failurePath(decodeJson<Messenger>(edited(kConnect, c.edits))), c.path);
  }
}

}  // namespace
}  // namespace tavrel
