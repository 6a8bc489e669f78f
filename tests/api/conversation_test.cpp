#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "api/route_fixture.h"
#include "model/record_json.h"
#include "tavrel/api/conversation_service.h"

namespace tavrel {
namespace {

using test::await;
using test::envelope;
using test::Mode;
using test::Reply;
using test::succeeded;
using Conversations = test::RouteFixture;
using S = ConversationService;

std::string dialogJson(const std::string& id) {
  return testing::edited(testing::kDialog, {{{"id"}, '"' + id + '"'}});
}

TEST_F(Conversations, EveryRouteOnTheWire) {
  auto dialogs = [](const S& s) { return succeeded(s.getDialogs("")); };
  auto spaced = [](const S& s) { return succeeded(s.getDialogs("a b")); };
  auto one = [](const S& s) { return succeeded(s.get("42")); };
  auto start = [](const S& s) { return succeeded(s.start("Привет!")); };
  auto reply = [](const S& s) { return succeeded(s.reply("42", "a+b", "r-1", "reply")); };
  auto read = [](const S& s) { return succeeded(s.markRead("42")); };
  const std::string id = R"({"id":"s1"})", d42 = dialogJson("42");
  const std::string hi = "body=%D0%9F%D1%80%D0%B8%D0%B2%D0%B5%D1%82%21&id_as_string=1";
  const std::string pages = "&id_as_string=1&paginate_direction=before&paginate_including=0";
  const std::string replied = "body=a%2Bb&from_user=";
  const std::string rest = "&id_as_string=1&random_id=r-1&type=reply";
  checkRoutes<S>({
      {"getDialogs", Mode::sdk, spaced, "[" + d42 + "]", "GET", "/api/v1/users/9/conversations",
       "after=a%2520b&auth_token=tok" + pages, ""},
      {"getDialogs", Mode::none, dialogs, "[]", "GET", "/api/v1/%7Bpath_root%7D/conversations",
       "after=" + pages, ""},
      {"get", Mode::app, one, d42, "GET", "/api/v1/conversations/42",
       "auth_token=appm-7-tok&id_as_string=1", ""},
      {"start", Mode::app, start, id, "POST", "/api/v1/users/9/startconversation", "",
       "auth_token=appm-7-tok&" + hi},
      {"reply", Mode::sdk, reply, id, "POST", "/api/v1/conversations/42/reply", "",
       "auth_token=tok&" + replied + "1" + rest},
      {"reply", Mode::app, reply, id, "POST", "/api/v1/conversations/42/reply", "",
       "auth_token=appm-7-tok&" + replied + "0" + rest},
      {"markRead", Mode::sdk, read, "null", "POST", "/api/v1/conversations/42/markread",
       "auth_token=tok&id_as_string=1", ""},
  });
}

// markRead's data may be null but not missing.
TEST_F(Conversations, MarkReadDataIsOptional) {
  S service(sdkSettings(), &transport);
  server.enqueue(Reply::json(200, envelope("null")));
  server.enqueue(Reply::json(200, envelope(R"("done")")));
  server.enqueue(Reply::json(200, R"({"meta":{"status":200}})"));
  EXPECT_EQ(await(service.markRead("1")).elements.at(0).success()->data, std::nullopt);
  EXPECT_EQ(await(service.markRead("1")).elements.at(0).success()->data, JsonValue("done"));
  EXPECT_EQ(await(service.markRead("1")).elements.at(0).error()->text(),
            "ошибка десериализации модели Response<Optional<JsonValue>>");
}

// getDialogs and get: one request for all subscribers, in flight or late.
// start: one request per subscription.
TEST_F(Conversations, SharedCallsSendOneRequestAndReplayTheAnswer) {
  S service(appSettings(), &transport);
  std::promise<void> release;
  auto released = release.get_future().share();
  server.setHandler([&, released](const test::RecordedRequest& r) {
    if (r.path.ends_with("/conversations")) released.wait();
    return Reply::json(200, r.path.ends_with("/42") ? envelope(dialogJson("42"))
                            : r.path.ends_with("/conversations")
                                ? envelope("[" + dialogJson("c1") + "]")
                                : envelope(R"({"id":"s1"})"));
  });
  auto dialogs = service.getDialogs("");
  std::promise<void> first, second;
  auto subscribe = [&](std::promise<void>& done) {
    return dialogs.subscribe({}, {}, [&done] { done.set_value(); });
  };
  auto a = subscribe(first);
  auto b = subscribe(second);
  ASSERT_TRUE(server.waitForRequests(1));
  release.set_value();
  ASSERT_EQ(first.get_future().wait_for(test::kStreamWait), std::future_status::ready);
  ASSERT_EQ(second.get_future().wait_for(test::kStreamWait), std::future_status::ready);
  auto late = await(dialogs);
  EXPECT_TRUE(late.completed);
  EXPECT_EQ(late.elements.at(0).success()->data.at(0).id, "c1");
  EXPECT_EQ(server.requests().size(), 1u);

  auto one = service.get("42");
  EXPECT_EQ(await(one).elements.at(0).success()->data.id, "42");
  EXPECT_EQ(await(one).elements.at(0).success()->data.id, "42");
  EXPECT_EQ(server.requests().size(), 2u);
  auto started = service.start("hi");
  await(started);
  await(started);
  EXPECT_EQ(server.requests().size(), 4u);
}

// A reply to an id that is no number still goes out, noted on the console.
TEST_F(Conversations, ReplyToAMalformedDialogIdIsSentAndNoted) {
  S service(sdkSettings(), &transport);
  test::DebugCapture capture;
  server.setHandler([](const auto&) { return Reply::json(200, envelope(R"({"id":"s1"})")); });
  await(service.reply("42", "m", "1", "reply"));
  EXPECT_EQ(capture.text().find("ZEBOK"), std::string::npos);
  EXPECT_TRUE(await(service.reply("c-7", "m", "2", "reply")).elements.at(0).succeed());
  EXPECT_NE(capture.text().find(R"(ZEBOK: reply to a dialog id that is not a number: "c-7")"),
            std::string::npos);
  for (const char* bad : {"", " 1", "1.5", "-1"}) EXPECT_FALSE(S::isValidDialogId(bad)) << bad;
}

}  // namespace
}  // namespace tavrel
