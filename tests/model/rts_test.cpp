#include "tavrel/model/rts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"

namespace tavrel {
namespace {

using testing::failurePath;
using Kind = DecodingError::Kind;

TEST(Channel, WireNamesAreExactAndCaseSensitive) {
  const std::pair<Channel, std::string_view> names[] = {
      {Channel::conversation, "conversation"},
      {Channel::conversationReply, "conversation_reply"},
      {Channel::conversationTyping, "conversation_typing"},
      {Channel::conversationAssigned, "conversation_assigned"},
      {Channel::conversationRead, "conversation_read"},
      {Channel::runScript, "run_script"},
      {Channel::usersRemoved, "users_removed"},
      {Channel::userBan, "user_ban"},
      {Channel::ping, "ping"},
  };
  for (const auto& [channel, name] : names) {
    EXPECT_EQ(rawValue(channel), name);
    EXPECT_EQ(channelFromRawValue(name), channel) << name;
  }
  for (std::string_view other : {"Ping", "PING", "conversationReply", "conversation-reply",
                                  " ping", "ping ", "", "user_bans"}) {
    EXPECT_EQ(channelFromRawValue(other), std::nullopt) << other;
  }
}

TEST(RootKeys, StringFormsInReadingOrder) {
  const std::vector<std::string_view> keys{"id", "channel", "message", "tag", "time"};
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(rawValue(static_cast<RootKeys>(i)), keys[i]);
    EXPECT_EQ(rootKeyFromString(keys[i]), static_cast<RootKeys>(i));
  }
  EXPECT_EQ(rootKeyFromString("Tag"), std::nullopt);
  EXPECT_EQ(rootKeyFromString("0"), std::nullopt);
}

TEST(RtsResponse, MessageMayBeAnyJsonValue) {
  for (std::string message : {R"({"id":"m1","body":"hi"})", "[1,\"a\",null]", "\"text\"", "42",
                              "4.5", "false", "null"}) {
    const std::string json = R"({"id":7,"channel":"conversation_reply","message":)" + message +
                             R"(,"tag":"t1","time":"1700000000.5","extra":1})";
    auto frame = decodeJson<RtsResponse>(json);
    ASSERT_TRUE(frame) << json << " -> " << frame.error().what();
    EXPECT_EQ(frame.value(), (RtsResponse{7, "conversation_reply", decodeJson<JsonValue>(message).value(),
                                   "t1", "1700000000.5"}));
  }
}

TEST(RtsResponse, AllFiveKeysRequiredWithStrictTypesInOrder) {
  const std::string good =
      R"({"id":1,"channel":"ping","message":{},"tag":"t","time":"9"})";
  struct Case {
    std::vector<testing::Edit> edits;
    Kind kind;
    std::string path;
  } cases[] = {
      {{{{"id"}, {}}}, Kind::keyNotFound, "id"},
      {{{{"channel"}, {}}}, Kind::keyNotFound, "channel"},
      {{{{"message"}, {}}}, Kind::keyNotFound, "message"},
      {{{{"tag"}, {}}}, Kind::keyNotFound, "tag"},
      {{{{"time"}, {}}}, Kind::keyNotFound, "time"},
      {{{{"id"}, R"("1")"}}, Kind::typeMismatch, "id"},
      {{{{"id"}, "1.5"}}, Kind::typeMismatch, "id"},
      {{{{"id"}, "null"}}, Kind::valueNotFound, "id"},
      {{{{"channel"}, "3"}}, Kind::typeMismatch, "channel"},
      {{{{"tag"}, "null"}}, Kind::valueNotFound, "tag"},
      {{{{"time"}, "9"}}, Kind::typeMismatch, "time"},
      {{{{"time"}, "9"}, {{"message"}, {}}}, Kind::keyNotFound, "message"},
      {{{{"tag"}, "1"}, {{"channel"}, "1"}}, Kind::typeMismatch, "channel"},
  };
  for (const auto& c : cases) {
    const std::string json = testing::edited(good, c.edits);
    auto frame = decodeJson<RtsResponse>(json);
    ASSERT_FALSE(frame) << json;
    EXPECT_EQ(frame.error().kind(), c.kind) << json;
    EXPECT_EQ(frame.error().path(), c.path) << json;
  }
  for (std::string notAFrame : {"", "[]", "\"ping\"", "null"}) {
    EXPECT_FALSE(decodeJson<RtsResponse>(notAFrame)) << notAFrame;
  }
}

}  // namespace
}  // namespace tavrel
