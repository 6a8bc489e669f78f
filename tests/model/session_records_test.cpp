#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"
#include "tavrel/core/log.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/user.h"

// The records of the session answers: User, Auth, Messenger.
namespace tavrel {
namespace {

using testing::edited;
using testing::failurePath;

const std::string kUserAnswer = R"({"meta":{"status":200},"data":{
  "auth_token":"tok","app":{"id":"app7","name":"Shop"},
  "user":{"id":"u1","is_banned":false,"has_conversations":true,"conversations_unread":["c1","c2"]}}})";

// Collects debug lines while alive.
struct DebugLines {
  std::vector<std::string> lines;
  DebugLines() { setDebugSink([this](std::string_view line) { lines.emplace_back(line); }); }
  ~DebugLines() { setDebugSink({}); }
};

TEST(User, DecodesTheNestedDocumentAndEchoesHasConversationsBeforeIsBanned) {
  DebugLines debug;
  auto user = decodeJson<User>(kUserAnswer);
  ASSERT_TRUE(user) << user.error().what();
  EXPECT_EQ(user.value(), (User{"u1", "app7", "tok", false, true, {"c1", "c2"}}));
  // A bad "is_banned" comes after the echo, a bad "id" before it.
  EXPECT_FALSE(decodeJson<User>(edited(kUserAnswer, {{{"data", "user", "is_banned"}, "0"}})));
  EXPECT_FALSE(decodeJson<User>(edited(kUserAnswer, {{{"data", "user", "id"}, "0"}})));
  EXPECT_EQ(debug.lines, std::vector<std::string>(2, "hasConversations = true"));
}

// Each line: edits to a good document, then the path of the failure, or
// "decoded" with the token. Only the token swallows failures.
TEST(User, DecodeRulesKeyByKeyInReadingOrder) {
  DebugLines debug;
  const std::vector<std::string> user{"data", "user"};
  auto at = [&](std::string key) { return std::vector<std::string>{"data", "user", key}; };
  struct Case {
    std::vector<testing::Edit> edits;
    std::string path;
    std::optional<std::string> token = std::nullopt;
  } cases[] = {
      {{}, "decoded", "tok"},
      {{{{"data", "auth_token"}, {}}}, "decoded"},
      {{{{"data", "auth_token"}, "5"}}, "decoded"},
      {{{{"data"}, {}}}, "data"},
      {{{{"data", "app"}, {}}}, "data.app"},
      {{{user, "null"}}, "data.user"},
      {{{at("id"), "1"}}, "data.user.id"},
      {{{at("is_banned"), "1"}}, "data.user.is_banned"},
      {{{at("has_conversations"), R"("true")"}}, "data.user.has_conversations"},
      {{{at("conversations_unread"), "[1]"}}, "data.user.conversations_unread[0]"},
      // Reading order: id, has_conversations, is_banned, the list, then app.
      {{{at("is_banned"), {}}, {at("has_conversations"), {}}}, "data.user.has_conversations"},
      {{{{"data", "app"}, {}}, {at("conversations_unread"), {}}},
       "data.user.conversations_unread"},
  };
  for (const auto& c : cases) {
    const std::string json = edited(kUserAnswer, c.edits);
    auto decoded = decodeJson<User>(json);
    EXPECT_EQ(failurePath(decoded), c.path) << json;
    if (decoded) {
      EXPECT_EQ(decoded->token, c.token) << json;
    }
  }
}

TEST(Auth, OnlyUserChangingRequiresTheTokenAndTheUserId) {
  struct Case {
    std::string json, path;
  } cases[] = {
      {R"({"data":{"result":"ok"}})", "decoded"},
      {R"({"data":{"result":"ok","auth_token":5,"user":1}})", "decoded"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{"id":"u"}}})", "decoded"},
      {R"({"data":{"result":"user_changing","user":{"id":"u"}}})", "data.auth_token"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{}}})", "data.user.id"},
      {R"({"data":{"result":1}})", "data.result"},
      {R"({"result":"ok"})", "data"},
  };
  for (const auto& c : cases) {
    auto auth = decodeJson<Auth>(c.json);
    EXPECT_EQ(failurePath(auth), c.path) << c.json;
    if (auth) {
      EXPECT_EQ(auth->user, std::nullopt) << c.json;  // the reads only check the shape
    }
  }
}



const std::string kConnectAnswer = R"({"meta":{"status":200},"data":{"auth_token":"tok",
  "user":{"id":"u1"},"extra":{"x":1},
  "app":{"id":"app7","name":"Shop","plan":"pro","settings":{
    "messenger_collapsed_color":"#ff0000","messenger_avatar":"a.png",
    "messenger_welcome_message":"Здравствуйте!","messenger_show_powered_by":true,
    "messenger_icon_vk_show":true,"messenger_icon_viber_show":false,
    "messenger_icon_facebook_show":true,"messenger_icon_telegram_show":false,
    "messenger_icon_vk_text":"vk","messenger_icon_viber_text":"viber",
    "messenger_icon_facebook_text":"fb","messenger_icon_telegram_text":"tg"}}}})";

TEST(Messenger, DecodesEveryFieldAndKeepsTheWholeData) {
  auto m = decodeJson<Messenger>(kConnectAnswer);
  ASSERT_TRUE(m) << m.error().what();
  const JsonValue data = *decodeJson<JsonValue>(kConnectAnswer)->getIf<JsonValue::Object>()->at("data");
  EXPECT_EQ(m.value(), (Messenger{"#ff0000", "Shop", "app7", true, false, true, false, "vk",
                                  "viber", "fb", "tg", "Здравствуйте!", true, "a.png", data}));
  // What the typed fields leave out stays readable, the keys of User too.
  EXPECT_EQ(m->connectData.getString("auth_token"), "tok");
  EXPECT_EQ(decodeJson<JsonValue>(*m->connectData.getString("app"))->getString("plan"), "pro");
  EXPECT_TRUE(decodeJson<Messenger>(
      edited(kConnectAnswer, {{{"data", "user"}, {}}, {{"data", "auth_token"}, {}}})));
}

TEST(Messenger, EveryReadIsRequiredStrictAndInOrder) {
  const std::vector<std::string> order{
      "messenger_collapsed_color",    "messenger_avatar",
      "messenger_welcome_message",    "messenger_show_powered_by",
      "messenger_icon_vk_show",       "messenger_icon_viber_show",
      "messenger_icon_facebook_show", "messenger_icon_telegram_show",
      "messenger_icon_vk_text",       "messenger_icon_viber_text",
      "messenger_icon_facebook_text", "messenger_icon_telegram_text"};
  auto settingsKey = [](const std::string& key) {
    return std::vector<std::string>{"data", "app", "settings", key};
  };
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::string path = "data.app.settings." + order[i];
    // A wrong type, null, or missing: texts and flags do not convert.
    const std::string wrong = order[i].ends_with("_text") || i < 3 ? "true" : R"("true")";
    for (auto value : {std::optional<std::string>(wrong), {"null"}, {"1"}, {}}) {
      auto m = decodeJson<Messenger>(edited(kConnectAnswer, {{settingsKey(order[i]), value}}));
      EXPECT_EQ(failurePath(m), path);
    }
    // Removing the settings from key i on reports key i.
    std::vector<testing::Edit> tail;
    for (std::size_t j = order.size(); j-- > i;) tail.push_back({settingsKey(order[j]), {}});
    EXPECT_EQ(failurePath(decodeJson<Messenger>(edited(kConnectAnswer, tail))), path);
  }
  struct Case {
    std::vector<testing::Edit> edits;
    std::string path;
  } cases[] = {
      {{{{"data", "app"}, {}}}, "data.app"},
      {{{{"data", "app", "settings"}, {}}, {{"data", "app", "id"}, {}}}, "data.app.id"},
      {{{{"data", "app", "id"}, {}}, {{"data", "app", "name"}, {}}}, "data.app.name"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failurePath(decodeJson<Messenger>(edited(kConnectAnswer, c.edits))), c.path);
  }
}

}  // namespace
}  // namespace tavrel
