#include "tavrel/model/rts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"

namespace tavrel {
namespace {

using testing::failurePath;

TEST(Channel, WireNamesAreExactAndCaseSensitive) {
  const std::vector<std::string_view> names{
      "conversation",      "conversation_reply", "conversation_typing",
      "conversation_assigned", "conversation_read", "run_script",
      "users_removed",     "user_ban",           "ping"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(rawValue(static_cast<Channel>(i)), names[i]);
    EXPECT_EQ(channelFromRawValue(names[i]), static_cast<Channel>(i));
  }
  for (std::string_view other : {"Ping", "conversationReply", ""}) {
    EXPECT_EQ(channelFromRawValue(other), std::nullopt) << other;
  }
  EXPECT_EQ(rootKeyFromString("tag"), RootKeys::tag);
  EXPECT_EQ(rootKeyFromString("Tag"), std::nullopt);
}

TEST(RtsResponse, MessageMayBeAnyJsonValueAndExtraKeysAreIgnored) {
  for (std::string message : {R"({"id":"m1"})", R"([1,"a",null])", R"("text")", "4.5", "null"}) {
    const std::string json = R"({"id":7,"channel":"conversation_reply","message":)" + message +
                             R"(,"tag":"t1","time":"1700000000.5","extra":1})";
    auto frame = decodeJson<RtsResponse>(json);
    ASSERT_TRUE(frame) << json << " -> " << frame.error().what();
    EXPECT_EQ(frame.value(), (RtsResponse{7, "conversation_reply", decodeJson<JsonValue>(message).value(),
                                          "t1", "1700000000.5"}));
  }
}

TEST(RtsResponse, AllFiveKeysRequiredWithStrictTypesInOrder) {
  const std::string good = R"({"id":1,"channel":"ping","message":{},"tag":"t","time":"9"})";
  struct Case {
    std::vector<testing::Edit> edits;
    std::string path;
  } cases[] = {
      {{{{"id"}, {}}}, "id"},          {{{{"channel"}, {}}}, "channel"},
      {{{{"message"}, {}}}, "message"}, {{{{"tag"}, {}}}, "tag"},
      {{{{"time"}, {}}}, "time"},      {{{{"id"}, R"("1")"}}, "id"},
      {{{{"channel"}, "3"}}, "channel"},
      {{{{"tag"}, "null"}}, "tag"},    {{{{"time"}, "9"}}, "time"},
      {{{{"time"}, "9"}, {{"message"}, {}}}, "message"},
  };
  for (const auto& c : cases) {
    const std::string json = testing::edited(good, c.edits);
    EXPECT_EQ(failurePath(decodeJson<RtsResponse>(json)), c.path) << json;
  }
  for (std::string notAFrame : {"", "[]"}) {
    EXPECT_EQ(failurePath(decodeJson<RtsResponse>(notAFrame)), "") << notAFrame;
  }
}

}  // namespace
}  // namespace tavrel
