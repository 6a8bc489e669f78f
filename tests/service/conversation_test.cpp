// A visitor's conversation through the library's own services, against the
// service in the same process: start, reply, the bot's answer as frames,
// read marks and paging.

#include <gtest/gtest.h>

#include "service/service_fixture.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/message_service.h"

namespace tavrel::test {
namespace {

class ConversationTest : public ServiceTest {};

TEST_F(ConversationTest, StartReplyAndTheBotsAnswerArriveAsFramesOnce) {
  auto settings = visitor();
  listen(settings);
  ConversationService conversations(settings, &transport);

  const std::string id = succeeded(conversations.start("How do I get a refund?")).data.id;
  ASSERT_TRUE(heard.waitFor("conversation_reply", 2));  // the visitor's part, then the bot's
  auto replies = heard.on("conversation_reply");
  auto first = *replies[0].getString("message");
  EXPECT_NE(first.find("How do I get a refund?"), std::string::npos);
  auto answer = decodeJson<Message>(*replies[1].getString("message")).value();
  EXPECT_EQ(answer.conversation, id);
  EXPECT_EQ(answer.direction, "a2u");
  EXPECT_NE(answer.body.find("How to get a refund"), std::string::npos) << answer.body;
  EXPECT_EQ(heard.on("conversation_typing").size(), 1u);

  // A repeated random id gives the first part's id and stores nothing more.
  auto one = succeeded(conversations.reply(id, "Order 42", "777", "comment"));
  auto again = succeeded(conversations.reply(id, "Order 42", "777", "comment"));
  EXPECT_EQ(one.data.id, again.data.id);
  ASSERT_TRUE(heard.waitFor("conversation_reply", 4));
  auto dialog = succeeded(conversations.get(id)).data;
  EXPECT_EQ(dialog.partsCount, 4);
  EXPECT_EQ(dialog.userUnreadCount, 2);  // the bot's two answers
  EXPECT_TRUE(dialog.replied);

  // A message in Russian gets its answer in Russian.
  succeeded(conversations.reply(id, "Как сменить пароль?", "778", "comment"));
  ASSERT_TRUE(heard.waitFor("conversation_reply", 6));
  auto russian = decodeJson<Message>(*heard.on("conversation_reply")[5].getString("message")).value();
  EXPECT_NE(russian.body.find("«Как сменить пароль»"), std::string::npos) << russian.body;

  succeeded(conversations.markRead(id));
  ASSERT_TRUE(heard.waitFor("conversation_read", 1));
  EXPECT_EQ(succeeded(conversations.get(id)).data.userUnreadCount, 0);
  // Frames that the socket heard once each, numbered in order.
  std::int64_t last = 0;
  for (auto& f : heard.frames()) {
    auto n = f.getString("id");
    ASSERT_TRUE(n);
    EXPECT_GT(std::stoll(*n), last);
    last = std::stoll(*n);
  }
}

class QuietTest : public ServiceTest {
 protected:
  QuietTest() : ServiceTest(ServerOptions{.bot = false}) {}
};

TEST_F(QuietTest, PagesWalkBackWithoutGapsOrRepeats) {
  auto settings = visitor();
  ConversationService conversations(settings, &transport);
  MessageService messages(settings, &transport);
  const std::string id = succeeded(conversations.start("m1")).data.id;
  for (int i = 2; i <= 45; ++i) {
    succeeded(conversations.reply(id, "m" + std::to_string(i), std::to_string(i), "comment"));
  }
  std::vector<std::string> bodies;  // newest page first, each page oldest first
  std::optional<std::string> position;
  for (int page = 0; page < 5; ++page) {
    auto got = succeeded(messages.getMessages(id, position));
    std::vector<std::string> these;
    for (auto& m : got.data) these.push_back(m.body);
    bodies.insert(bodies.begin(), these.begin(), these.end());
    position = got.meta.nextBeforePosition;
    if (!position) break;
  }
  ASSERT_EQ(bodies.size(), 45u);
  for (int i = 0; i < 45; ++i) EXPECT_EQ(bodies[i], "m" + std::to_string(i + 1));

  for (int i = 0; i < 24; ++i) succeeded(conversations.start("other " + std::to_string(i)));
  auto first = succeeded(conversations.getDialogs(""));
  ASSERT_TRUE(first.meta.nextAfter);
  auto second = succeeded(conversations.getDialogs(*first.meta.nextAfter));
  EXPECT_EQ(first.data.size() + second.data.size(), 25u);
  EXPECT_FALSE(second.meta.nextAfter);
  EXPECT_EQ(second.data.back().id, id);  // the oldest change comes last
}

}  // namespace
}  // namespace tavrel::test
