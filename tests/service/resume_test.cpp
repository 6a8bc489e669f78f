// Real time: a socket hears only its own visitor, and one that comes back
// after a drop gets every frame it missed, once, before the live ones.

#include <gtest/gtest.h>

#include "service/hub.h"
#include "service/service_fixture.h"
#include "tavrel/api/conversation_service.h"

namespace tavrel::test {
namespace {

class ResumeTest : public ServiceTest {
 protected:
  ResumeTest() : ServiceTest(ServerOptions{.bot = false}) {}
};

TEST_F(ResumeTest, ASocketComingBackGetsWhatItMissedOnceThenLiveFrames) {
  auto settings = visitor();
  auto stranger = visitor();
  listen(settings);
  ConversationService conversations(settings, &transport);
  const std::string id = succeeded(conversations.start("first")).data.id;
  ASSERT_TRUE(heard.waitFor("conversation_reply", 1));
  // Another visitor's conversation is never heard here.
  succeeded(ConversationService(stranger, &transport).start("not yours"));

  manager.stopRts(settings->appId);
  for (int i = 0; i < 5; ++i) {
    succeeded(conversations.reply(id, "missed " + std::to_string(i), std::to_string(i + 1), "comment"));
  }
  auto socket = manager.startRts(settings, {}, heard.recorder);
  ASSERT_NE(socket, nullptr);
  ASSERT_TRUE(heard.waitFor("conversation_reply", 6));
  succeeded(conversations.reply(id, "live", "99", "comment"));
  ASSERT_TRUE(heard.waitFor("conversation_reply", 7));

  std::vector<std::string> bodies;
  for (auto& f : heard.on("conversation_reply")) {
    bodies.push_back(*decodeJson<JsonValue>(*f.getString("message"))->getString("body"));
  }
  EXPECT_EQ(bodies, (std::vector<std::string>{"first", "missed 0", "missed 1", "missed 2", "missed 3",
                                              "missed 4", "live"}));
  EXPECT_EQ(heard.on("conversation").size(), 1u);  // the visitor's own new conversation only
}

TEST(FrameHub, ReplaysByTagOrAfterARestartByTimeAndKeepsTheNewest) {
  service::FrameHub hub(3);
  std::vector<std::string> frames;
  for (int i = 1; i <= 5; ++i) frames.push_back(hub.publish(7, 9, "conversation_reply", std::to_string(i)));
  hub.publish(7, 8, "conversation_reply", "\"other user\"");
  hub.publish(7, 9, "ping", "\"other channel\"");
  EXPECT_EQ(hub.kept(7), 3u);

  auto position = [](const std::string& text, const char* key) {
    return *decodeJson<JsonValue>(text)->getString(key);
  };
  struct Case {
    std::optional<std::string> tag, time;
    std::vector<std::string> expected;  // messages replayed
  };
  const std::string tag4 = position(frames[3], "tag"), time4 = position(frames[3], "time");
  for (const Case& c : std::vector<Case>{
           {tag4, time4, {"5"}},
           {"from-an-earlier-run", time4, {"5"}},  // a restart: the time finds the place
           {std::nullopt, std::nullopt, {}},       // a first connect replays nothing
           {position(frames[0], "tag"), position(frames[0], "time"), {"5"}},  // older than kept: all kept
       }) {
    std::vector<std::string> got;
    service::FrameHub::Listener listener{7, 9, {"conversation_reply"}, [&](const std::string& text) {
                                           got.push_back(*decodeJson<JsonValue>(text)->getString("message"));
                                         }};
    auto id = hub.listen(listener, c.tag, c.time);
    EXPECT_EQ(got, c.expected) << c.tag.value_or("none");
    hub.unlisten(id);
  }
}

}  // namespace
}  // namespace tavrel::test
