#include "tavrel/model/user.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"
#include "tavrel/core/log.h"

namespace tavrel {
namespace {

using testing::Edit;
using testing::edited;
using Kind = DecodingError::Kind;

const std::string kConnect = R"({"meta":{"status":200},"data":{
  "auth_token":"tok","app":{"id":"app7","name":"Shop"},
  "user":{"id":"u1","is_banned":false,"has_conversations":true,"conversations_unread":["c1","c2"]}}})";

// Collects debug lines while alive.
struct DebugLines {
  std::vector<std::string> lines;
  DebugLines() {
    setDebugSink([this](std::string_view line) { lines.emplace_back(line); });
  }
  ~DebugLines() { setDebugSink({}); }
};

TEST(User, DecodesTheNestedDocumentAndEchoesHasConversations) {
  DebugLines debug;
  auto user = decodeJson<User>(kConnect);
  ASSERT_TRUE(user) << user.error().what();
  EXPECT_EQ(user.value(), (User{"u1", "app7", "tok", false, true, {"c1", "c2"}}));
  EXPECT_EQ(debug.lines, std::vector<std::string>{"hasConversations = true"});
}

// Each line: edits to a good document, then the failure (kind and path), or
// the token it decodes with. Only the token swallows failures.
TEST(User, DecodeRulesKeyByKey) {
  struct Case {
    std::vector<Edit> edits;
    std::optional<Kind> failure;
    std::string path;
    std::optional<std::string> token = "tok";
  } cases[] = {
      {{{{"data", "auth_token"}, {}}}, {}, "", std::nullopt},
      {{{{"data", "auth_token"}, "null"}}, {}, "", std::nullopt},
      {{{{"data", "auth_token"}, "5"}}, {}, "", std::nullopt},
      {{{{"data", "auth_token"}, R"({"t":"tok"})"}}, {}, "", std::nullopt},
      {{{{"data"}, {}}}, Kind::keyNotFound, "data"},
      {{{{"data"}, "[]"}}, Kind::typeMismatch, "data"},
      {{{{"data", "app"}, {}}}, Kind::keyNotFound, "data.app"},
      {{{{"data", "app", "id"}, "7"}}, Kind::typeMismatch, "data.app.id"},
      {{{{"data", "user"}, "null"}}, Kind::valueNotFound, "data.user"},
      {{{{"data", "user", "id"}, "1"}}, Kind::typeMismatch, "data.user.id"},
      {{{{"data", "user", "is_banned"}, "0"}}, Kind::typeMismatch, "data.user.is_banned"},
      {{{{"data", "user", "is_banned"}, "1"}}, Kind::typeMismatch, "data.user.is_banned"},
      {{{{"data", "user", "has_conversations"}, R"("true")"}}, Kind::typeMismatch,
       "data.user.has_conversations"},
      {{{{"data", "user", "has_conversations"}, "null"}}, Kind::valueNotFound,
       "data.user.has_conversations"},
      {{{{"data", "user", "conversations_unread"}, "[1]"}}, Kind::typeMismatch,
       "data.user.conversations_unread[0]"},
      {{{{"data", "user", "conversations_unread"}, {}}}, Kind::keyNotFound,
       "data.user.conversations_unread"},
      // Reading order: id, has_conversations, is_banned, the list, then app.
      {{{{"data", "user", "is_banned"}, {}}, {{"data", "user", "has_conversations"}, {}}},
       Kind::keyNotFound, "data.user.has_conversations"},
      {{{{"data", "user", "conversations_unread"}, {}}, {{"data", "user", "is_banned"}, {}}},
       Kind::keyNotFound, "data.user.is_banned"},
      {{{{"data", "app"}, {}}, {{"data", "user", "id"}, {}}}, Kind::keyNotFound, "data.user.id"},
  };
  DebugLines debug;
  for (const auto& c : cases) {
    const std::string json = edited(kConnect, c.edits);
    auto user = decodeJson<User>(json);
    if (c.failure) {
      ASSERT_FALSE(user) << json;
      EXPECT_EQ(user.error().kind(), *c.failure) << json << " -> " << user.error().what();
      EXPECT_EQ(user.error().path(), c.path) << json;
    } else {
      ASSERT_TRUE(user) << json << " -> " << user.error().what();
      EXPECT_EQ(user->token, c.token) << json;
    }
  }
}

TEST(User, HasConversationsIsEchoedBeforeIsBannedIsRead) {
  DebugLines debug;
  auto badBan = decodeJson<User>(edited(kConnect, {{{"data", "user", "is_banned"}, "0"}}));
  EXPECT_FALSE(badBan);
  auto badId = decodeJson<User>(edited(kConnect, {{{"data", "user", "id"}, "0"}}));
  EXPECT_FALSE(badId);
  EXPECT_EQ(debug.lines, std::vector<std::string>{"hasConversations = true"});
}

TEST(Auth, OnlyUserChangingRequiresTheTokenAndTheUserId) {
  struct Case {
    std::string json;
    std::string path;  // "decoded" on success
  } cases[] = {
      {R"({"data":{"result":"ok"}})", "decoded"},
      {R"({"data":{"result":"ok","auth_token":5,"user":1}})", "decoded"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{"id":"u"}}})", "decoded"},
      {R"({"data":{"result":"user_changing","user":{"id":"u"}}})", "data.auth_token"},
      {R"({"data":{"result":"user_changing","auth_token":5,"user":{"id":"u"}}})",
       "data.auth_token"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{}}})", "data.user.id"},
      {R"({"data":{"result":"user_changing","auth_token":"t"}})", "data.user"},
      {R"({"data":{"result":1}})", "data.result"},
      {R"({"data":{}})", "data.result"},
      {R"({"result":"ok"})", "data"},
  };
  for (const auto& c : cases) {
    auto auth = decodeJson<Auth>(c.json);
    EXPECT_EQ(testing::failurePath(auth), c.path) << c.json;
    if (auth) {
      EXPECT_EQ(auth->user, std::nullopt) << c.json;
    }
  }
  EXPECT_EQ(decodeJson<Auth>(cases[2].json)->result, "user_changing");
}

}  // namespace
}  // namespace tavrel
