#include "tavrel/api/conversation_service.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "model/record_json.h"

namespace tavrel {
namespace {

using test::ApiFixture;
using test::await;
using test::Reply;
using testing::messageMembers;
using testing::objectJson;
using testing::personMembers;

const std::string kForm = "application/x-www-form-urlencoded; charset=utf-8";

std::string envelope(const std::string& data) {
  return R"({"meta":{"status":200},"data":)" + data + "}";
}

std::string dialogJson(const std::string& id) {
  return objectJson({
      {"id", '"' + id + '"'},
      {"created", "1700000000"},
      {"replied", "true"},
      {"message", R"("Где мой заказ?")"},
      {"type", R"("conversation")"},
      {"reply_type", R"("text")"},
      {"part_last", objectJson(messageMembers())},
      {"parts_count", "12"},
      {"last_admin", objectJson(personMembers())},
      {"last_update", "1700000500"},
      {"unread_parts_count", "2"},
      {"user_unread_count", "1"},
  });
}

enum class Mode { app, sdk, none };

class Conversations : public ApiFixture {
 protected:
  std::shared_ptr<NetworkSettings> settings(Mode mode) const {
    return mode == Mode::app ? appSettings() : mode == Mode::sdk ? sdkSettings() : nullptr;
  }
};

// Every route in both modes and without settings: method, path, query and
// body exactly as they go out, and the answer decoded into its type.
TEST_F(Conversations, EveryRouteOnTheWire) {
  using Call = std::function<rx::Observable<bool>(const ConversationService&)>;
  auto ok = [](const auto& result) { return result.succeed(); };
  struct Case {
    const char* name;
    Mode mode;
    Call call;
    std::string data;  // the answer's "data"
    std::string method, path, query, body;
  };
  const Call dialogs = [&](const ConversationService& s) { return s.getDialogs("").map(ok); };
  const Call spaced = [&](const ConversationService& s) { return s.getDialogs("a b").map(ok); };
  const Call cursor = [&](const ConversationService& s) {
    return s.getDialogs("1700000000.5&x=y").map(ok);
  };
  const Call one = [&](const ConversationService& s) { return s.get("42").map(ok); };
  const Call start = [&](const ConversationService& s) { return s.start("Привет!").map(ok); };
  const Call reply = [&](const ConversationService& s) {
    return s.reply("42", "a+b", "r-1", "reply").map(ok);
  };
  const Call read = [&](const ConversationService& s) { return s.markRead("42").map(ok); };
  const std::string id = R"({"id":"s1"})";
  const std::string page = "[" + dialogJson("c1") + "," + dialogJson("c2") + "]";
  const std::vector<Case> cases{
      {"getDialogs", Mode::app, dialogs, page, "GET", "/api/v1/apps/7/conversations",
       "after=&auth_token=appm-7-tok&id_as_string=1&paginate_direction=before&paginate_including=0",
       ""},
      {"getDialogs", Mode::sdk, spaced, "[]", "GET", "/api/v1/users/9/conversations",
       "after=a%2520b&auth_token=tok&id_as_string=1&paginate_direction=before&paginate_including=0",
       ""},
      {"getDialogs", Mode::none, cursor, "[]", "GET", "/api/v1/%7Bpath_root%7D/conversations",
       "after=1700000000.5%26x%3Dy&id_as_string=1&paginate_direction=before&paginate_including=0",
       ""},
      {"get", Mode::app, one, dialogJson("42"), "GET", "/api/v1/conversations/42",
       "auth_token=appm-7-tok&id_as_string=1", ""},
      {"get", Mode::none, one, dialogJson("42"), "GET", "/api/v1/conversations/42",
       "id_as_string=1", ""},
      {"start", Mode::app, start, id, "POST", "/api/v1/users/9/startconversation", "",
       "auth_token=appm-7-tok&body=%D0%9F%D1%80%D0%B8%D0%B2%D0%B5%D1%82%21&id_as_string=1"},
      {"start", Mode::sdk, start, id, "POST", "/api/v1/users/9/startconversation", "",
       "auth_token=tok&body=%D0%9F%D1%80%D0%B8%D0%B2%D0%B5%D1%82%21&id_as_string=1"},
      {"start", Mode::none, start, id, "POST", "/api/v1/users/%7Buser_id%7D/startconversation", "",
       "body=%D0%9F%D1%80%D0%B8%D0%B2%D0%B5%D1%82%21&id_as_string=1"},
      {"reply", Mode::sdk, reply, id, "POST", "/api/v1/conversations/42/reply", "",
       "auth_token=tok&body=a%2Bb&from_user=1&id_as_string=1&random_id=r-1&type=reply"},
      {"reply", Mode::app, reply, id, "POST", "/api/v1/conversations/42/reply", "",
       "auth_token=appm-7-tok&body=a%2Bb&from_user=0&id_as_string=1&random_id=r-1&type=reply"},
      {"reply", Mode::none, reply, id, "POST", "/api/v1/conversations/42/reply", "",
       "body=a%2Bb&from_user=0&id_as_string=1&random_id=r-1&type=reply"},
      {"markRead", Mode::sdk, read, "null", "POST", "/api/v1/conversations/42/markread",
       "auth_token=tok&id_as_string=1", ""},
      {"markRead", Mode::none, read, R"({"read":true})", "POST",
       "/api/v1/conversations/42/markread", "id_as_string=1", ""},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(std::string(c.name) + " #" + std::to_string(i));
    ConversationService service(settings(c.mode), &transport);
    server.enqueue(Reply::json(200, envelope(c.data)));
    auto run = await(c.call(service));
    ASSERT_TRUE(run.completed);
    EXPECT_EQ(run.elements, std::vector<bool>{true});
    auto all = server.requests();
    ASSERT_EQ(all.size(), i + 1);
    const auto& seen = all.back();
    EXPECT_EQ(seen.method, c.method);
    EXPECT_EQ(seen.path, c.path);
    EXPECT_EQ(seen.query, c.query);
    EXPECT_EQ(seen.body, c.body);
    if (!c.body.empty()) {
      EXPECT_EQ(seen.header("Content-Type"), kForm);
    }
  }
}

// The decoded answers: the page in order, one dialog, a null or present
// markRead payload, and a page with one bad dialog failing as a whole.
TEST_F(Conversations, DecodesAnswersAndFailsAPageWithOneBadDialog) {
  ConversationService service(sdkSettings(), &transport);

  server.enqueue(
      Reply::json(200, envelope("[" + dialogJson("c1") + "," + dialogJson("c2") + "]")));
  auto page = await(service.getDialogs("x"));
  ASSERT_EQ(page.elements.size(), 1u);
  auto dialogs = page.elements[0].success();
  ASSERT_TRUE(dialogs);
  ASSERT_EQ(dialogs->data.size(), 2u);
  EXPECT_EQ(dialogs->data[0].id, "c1");
  EXPECT_EQ(dialogs->data[1].id, "c2");
  EXPECT_EQ(dialogs->data[1].partLast->id, "m1");

  auto broken = dialogJson("c2");
  broken.replace(broken.find(R"("parts_count":12)"), 16, R"("parts_count":"x")");
  server.enqueue(Reply::json(200, envelope("[" + dialogJson("c1") + "," + broken + "]")));
  auto failed = await(service.getDialogs("x"));
  ASSERT_EQ(failed.elements.size(), 1u);
  EXPECT_EQ(failed.elements[0].error(),
            UIRepresentableError::custom("ошибка десериализации модели Response<Array<Dialog>>"));

  struct Read {
    std::string body;
    bool succeed;
    std::optional<JsonValue> data;
  };
  const std::vector<Read> reads{
      {envelope("null"), true, std::nullopt},
      {envelope(R"("done")"), true, JsonValue("done")},
      {R"({"meta":{"status":200}})", false, std::nullopt},
  };
  for (const auto& r : reads) {
    SCOPED_TRACE(r.body);
    server.enqueue(Reply::json(200, r.body));
    auto run = await(service.markRead("42"));
    ASSERT_EQ(run.elements.size(), 1u);
    ASSERT_EQ(run.elements[0].succeed(), r.succeed);
    if (r.succeed) {
      EXPECT_EQ(run.elements[0].success()->data, r.data);
    } else {
      EXPECT_EQ(run.elements[0].error()->text(),
                "ошибка десериализации модели Response<Optional<JsonValue>>");
    }
  }
}

// getDialogs and get share one request among all subscribers, also one that
// comes after the answer; the other operations send one per subscription.
TEST_F(Conversations, SharedCallsSendOneRequestAndReplayTheAnswer) {
  ConversationService service(appSettings(), &transport);

  // The server holds its answer until both subscribers are in.
  std::promise<void> release;
  auto released = release.get_future().share();
  server.setHandler([&, released](const test::RecordedRequest&) {
    released.wait();
    return Reply::json(200, envelope("[" + dialogJson("c1") + "]"));
  });
  auto dialogs = service.getDialogs("");
  std::promise<void> firstDone;
  std::promise<void> secondDone;
  std::vector<std::string> seen;
  std::mutex mutex;
  auto subscriber = [&](std::promise<void>& done) {
    return dialogs.subscribe(
        [&](const Result<Response<std::vector<Dialog>>>& r) {
          std::lock_guard lock(mutex);
          seen.push_back(r.success()->data.at(0).id);
        },
        {}, [&done] { done.set_value(); });
  };
  auto first = subscriber(firstDone);
  auto second = subscriber(secondDone);
  ASSERT_TRUE(server.waitForRequests(1));
  release.set_value();
  auto firstEnd = firstDone.get_future();
  auto secondEnd = secondDone.get_future();
  ASSERT_EQ(firstEnd.wait_for(test::kStreamWait), std::future_status::ready);
  ASSERT_EQ(secondEnd.wait_for(test::kStreamWait), std::future_status::ready);
  EXPECT_EQ(seen, (std::vector<std::string>{"c1", "c1"}));

  auto late = await(dialogs);
  ASSERT_TRUE(late.completed);
  ASSERT_EQ(late.elements.size(), 1u);
  EXPECT_EQ(late.elements[0].success()->data.at(0).id, "c1");
  EXPECT_EQ(server.requests().size(), 1u);

  server.setHandler([](const test::RecordedRequest& r) {
    return Reply::json(200, r.path.ends_with("/42") ? envelope(dialogJson("42"))
                                                    : envelope(R"({"id":"s1"})"));
  });
  auto one = service.get("42");
  EXPECT_EQ(await(one).elements.at(0).success()->data.id, "42");
  EXPECT_EQ(await(one).elements.at(0).success()->data.id, "42");
  EXPECT_EQ(server.requests().size(), 2u);

  auto started = service.start("hi");
  EXPECT_TRUE(await(started).elements.at(0).succeed());
  EXPECT_TRUE(await(started).elements.at(0).succeed());
  EXPECT_EQ(server.requests().size(), 4u);
}

// A reply to an id that is no number still goes out, with a line on the
// debug console; a numeric id goes out without one.
TEST_F(Conversations, ReplyToAMalformedDialogIdIsSentAndNoted) {
  ConversationService service(sdkSettings(), &transport);
  test::DebugCapture capture;
  server.setHandler([](const test::RecordedRequest&) {
    return Reply::json(200, envelope(R"({"id":"s1"})"));
  });
  EXPECT_TRUE(await(service.reply("42", "m", "1", "reply")).elements.at(0).succeed());
  EXPECT_EQ(capture.text().find("ZEBOK"), std::string::npos);
  EXPECT_TRUE(await(service.reply("c-7", "m", "2", "reply")).elements.at(0).succeed());
  EXPECT_NE(capture.text().find(R"(ZEBOK: reply to a dialog id that is not a number: "c-7")"),
            std::string::npos);
  auto all = server.requests();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[1].path, "/api/v1/conversations/c-7/reply");

  for (auto [text, valid] : std::vector<std::pair<std::string, bool>>{
           {"0", true}, {"1234567890", true}, {"", false}, {" 1", false}, {"1.5", false},
           {"-1", false}, {"١٢", false}}) {
    EXPECT_EQ(ConversationService::isValidDialogId(text), valid) << text;
  }
}

// An error status with a proxy's page fails the stream; one with an
// envelope is the service's message.
TEST_F(Conversations, RefusalsByStatus) {
  ConversationService service(appSettings(), &transport);
  server.enqueue(Reply::text(502, "<html><body>Bad Gateway</body></html>"));
  auto page = await(service.getDialogs(""));
  EXPECT_TRUE(page.elements.empty());
  EXPECT_TRUE(page.errorAs<DecodingError>());

  server.enqueue(Reply::json(
      403, R"({"meta":{"status":403,"error":"forbidden","error_message":"closed"},"data":null})"));
  auto refused = await(service.reply("42", "m", "1", "reply"));
  ASSERT_EQ(refused.elements.size(), 1u);
  EXPECT_EQ(refused.elements[0].error(),
            UIRepresentableError::custom("Ошибка (status: 403) forbidden: closed"));
}

}  // namespace
}  // namespace tavrel
