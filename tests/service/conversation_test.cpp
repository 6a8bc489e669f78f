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
  ASSERT_NE(settings, nullptr);
  RtsManager manager;
  Listener heard;
  listen(manager, settings, heard);
  ConversationService conversations(settings, &transport);

  auto started = succeeded(conversations.start("How do I get a refund?"));
  ASSERT_TRUE(started);
  const std::string id = started->data.id;
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
  ASSERT_TRUE(one && again);
  EXPECT_EQ(one->data.id, again->data.id);
  ASSERT_TRUE(heard.waitFor("conversation_reply", 4));
  auto dialog = succeeded(conversations.get(id));
  ASSERT_TRUE(dialog);
  EXPECT_EQ(dialog->data.partsCount, 4);
  EXPECT_EQ(dialog->data.userUnreadCount, 2);  // the bot's two answers
  EXPECT_TRUE(dialog->data.replied);

  // A message in Russian gets its answer in Russian.
  ASSERT_TRUE(succeeded(conversations.reply(id, "Как сменить пароль?", "778", "comment")));
  ASSERT_TRUE(heard.waitFor("conversation_reply", 6));
  auto russian = decodeJson<Message>(*heard.on("conversation_reply")[5].getString("message"));
  ASSERT_TRUE(russian);
  EXPECT_NE(russian->body.find("«Как сменить пароль»"), std::string::npos) << russian->body;

  ASSERT_TRUE(succeeded(conversations.markRead(id)));
  ASSERT_TRUE(heard.waitFor("conversation_read", 1));
  EXPECT_EQ(succeeded(conversations.get(id))->data.userUnreadCount, 0);
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
  ASSERT_NE(settings, nullptr);
  ConversationService conversations(settings, &transport);
  MessageService messages(settings, &transport);
  const std::string id = succeeded(conversations.start("m1"))->data.id;
  for (int i = 2; i <= 45; ++i) {
    ASSERT_TRUE(succeeded(conversations.reply(id, "m" + std::to_string(i), std::to_string(i), "comment")));
  }
  std::vector<std::string> bodies;  // newest page first, each page oldest first
  std::optional<std::string> position;
  for (int page = 0; page < 5; ++page) {
    auto got = succeeded(messages.getMessages(id, position));
    ASSERT_TRUE(got);
    std::vector<std::string> these;
    for (auto& m : got->data) these.push_back(m.body);
    bodies.insert(bodies.begin(), these.begin(), these.end());
    position = got->meta.nextBeforePosition;
    if (!position) break;
  }
  ASSERT_EQ(bodies.size(), 45u);
  for (int i = 0; i < 45; ++i) EXPECT_EQ(bodies[i], "m" + std::to_string(i + 1));

  for (int i = 0; i < 24; ++i) ASSERT_TRUE(succeeded(conversations.start("other " + std::to_string(i))));
  auto first = succeeded(conversations.getDialogs(""));
  ASSERT_TRUE(first && first->meta.nextAfter);
  auto second = succeeded(conversations.getDialogs(*first->meta.nextAfter));
  ASSERT_TRUE(second);
  EXPECT_EQ(first->data.size() + second->data.size(), 25u);
  EXPECT_FALSE(second->meta.nextAfter);
  EXPECT_EQ(second->data.back().id, id);  // the oldest change comes last
}

TEST(ServiceRestart, AFileDatabaseKeepsEveryConversationAndSession) {
  const auto dir = std::filesystem::temp_directory_path() / ("tavrel_service_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  ServerOptions options{.db = (dir / "service.db").string(), .bot = false};
  std::shared_ptr<NetworkSettings> settings;
  std::string id;
  {
    auto server = startServer(options);
    ASSERT_NE(server, nullptr);
    MainBundle bundle({{"apiUrl", server->apiUrl()}});
    HttpTransport transport;
    UserService users(nullptr, &transport);
    auto session = succeeded(users.connect(server->demoApp().apiKey, "1.0"));
    ASSERT_TRUE(session);
    settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, *session->first.token,
                                                 session->first.appId, session->first.id);
    ConversationService conversations(settings, &transport);
    id = succeeded(conversations.start("before the restart"))->data.id;
    ASSERT_TRUE(succeeded(conversations.reply(id, "second", "2", "comment")));
  }
  auto server = startServer(options);
  ASSERT_NE(server, nullptr);
  MainBundle bundle({{"apiUrl", server->apiUrl()}});
  HttpTransport transport;
  auto dialogs = succeeded(ConversationService(settings, &transport).getDialogs(""));
  ASSERT_TRUE(dialogs);
  ASSERT_EQ(dialogs->data.size(), 1u);
  EXPECT_EQ(dialogs->data[0].id, id);
  auto parts = succeeded(MessageService(settings, &transport).getMessages(id));
  ASSERT_TRUE(parts);
  ASSERT_EQ(parts->data.size(), 2u);
  EXPECT_EQ(parts->data[0].body, "before the restart");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tavrel::test
