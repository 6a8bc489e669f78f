#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "rx/recorder.h"
#include "model/record_json.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/event_prop_service.h"
#include "tavrel/api/knowledge_base_service.h"
#include "tavrel/api/message_service.h"

// The services over the request provider: their routes on the wire, and
// what they add to the provider's answers.
namespace tavrel {
namespace {

using test::await;
using test::Reply;

enum class Mode { app, sdk };

std::string envelope(const std::string& data) {
  return R"({"meta":{"status":200},"data":)" + data + "}";
}

// One row: an operation of a service made in one mode, whether its answer
// (an envelope around `data`) decoded, and the request that must have gone
// out, byte for byte: "METHOD path?query body".
template <class Service>
struct Route {
  Mode mode;
  std::function<rx::Observable<bool>(const Service&)> call;
  std::string data, wire;
};

template <class T>
rx::Observable<bool> succeeded(const rx::Observable<T>& stream) {
  return stream.map([](const T& result) { return result.succeed(); });
}

std::string wire(const test::RecordedRequest& r) {
  return r.method + " " + r.path + (r.query.empty() ? "" : "?" + r.query) +
         (r.body.empty() ? "" : " " + r.body);
}

class Services : public test::ApiFixture {
 protected:
  template <class Service>
  void checkRoutes(const std::vector<Route<Service>>& routes) {
    for (const auto& r : routes) {
      Service service(r.mode == Mode::app ? appSettings() : sdkSettings(), &transport);
      server.enqueue(Reply::json(200, envelope(r.data)));
      EXPECT_EQ(await(r.call(service)).elements, std::vector<bool>{true}) << r.wire;
      const auto sent = server.requests().back();
      EXPECT_EQ(wire(sent), r.wire);
      if (!sent.body.empty()) {
        EXPECT_EQ(sent.header("Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
      }
    }
  }
};

const std::string kApp = "auth_token=appm-7-tok&id_as_string=1";
const std::string kSdk = "auth_token=tok&id_as_string=1";
const std::string kId = R"({"id":"s1"})";

// Dialogs page with "paginate_including" and "after" encoded twice, messages
// with "paginate_include" only from a position; replies are from the user in
// the sdk mode only; events have the user id in path and query but keep the
// placeholder in the body; searches send flags as 1 and any text, even "".
TEST_F(Services, EveryRouteOnTheWire) {
  using C = ConversationService;
  auto reply = [](const C& s) { return succeeded(s.reply("42", "a+b", "r-1", "reply")); };
  const std::string pages = "&id_as_string=1&paginate_direction=before&paginate_including=0";
  const std::string replied = "POST /api/v1/conversations/42/reply";
  const std::string rest = "&id_as_string=1&random_id=r-1&type=reply";
  checkRoutes<C>({
      {Mode::sdk, [](const C& s) { return succeeded(s.getDialogs("a b")); }, "[]",
       "GET /api/v1/users/9/conversations?after=a%2520b&auth_token=tok" + pages},
      {Mode::app, [](const C& s) { return succeeded(s.get("42")); }, testing::kDialog,
       "GET /api/v1/conversations/42?" + kApp},
      {Mode::app, [](const C& s) { return succeeded(s.start("Привет!")); }, kId,
       "POST /api/v1/users/9/startconversation "
       "auth_token=appm-7-tok&body=%D0%9F%D1%80%D0%B8%D0%B2%D0%B5%D1%82%21&id_as_string=1"},
      {Mode::sdk, reply, kId, replied + " auth_token=tok&body=a%2Bb&from_user=1" + rest},
      {Mode::app, reply, kId, replied + " auth_token=appm-7-tok&body=a%2Bb&from_user=0" + rest},
      {Mode::sdk, [](const C& s) { return succeeded(s.markRead("42")); }, "null",
       "POST /api/v1/conversations/42/markread?" + kSdk},
  });
  using M = MessageService;
  checkRoutes<M>({
      {Mode::app, [](const M& s) { return succeeded(s.getMessages("5")); }, "[]",
       "GET /api/v1/conversations/5/parts?" + kApp},
      {Mode::sdk, [](const M& s) { return succeeded(s.getMessages("5", "p 1/2")); }, "[]",
       "GET /api/v1/conversations/5/parts?after=p%201/2&" + kSdk +
           "&paginate_direction=before&paginate_include=false"},
      {Mode::sdk, [](const M& s) { return succeeded(s.updateMessage("m1", R"({"a":"ок"})")); },
       "{}", "POST /api/v1/conversationparts/m1/meta_data?" + kSdk +
                 " meta_data=%7B%22a%22%3A%22%D0%BE%D0%BA%22%7D"},
  });
  using E = EventPropService;
  checkRoutes<E>({
      {Mode::app, [](const E& s) { return succeeded(s.trackEvent("open chat", R"({"s":1})")); },
       "{}", "POST /api/v1/users/9/events?" + kApp + "&user_id=9" +
                 " event=open%20chat&params=%7B%22s%22%3A1%7D&user_id=%7Buser_id%7D"},
  });
  using K = KnowledgeBaseService;
  auto search = [](std::string text) {
    return [text](const K& s) { return succeeded(s.search(text)); };
  };
  const std::string found = "GET /api/v1/knowledgebase/7/search?";
  const std::string flags = "&include_category=1&include_quote=1&pattern=";
  checkRoutes<K>({
      {Mode::sdk, [](const K& s) { return succeeded(s.getArticle("a-5_x")); },
       R"({"id":"a","name":"n"})", "GET /api/v1/knowledgebase/7/articles/a-5_x?" + kSdk},
      {Mode::sdk, search("café & tea"), "[]", found + kSdk + flags + "caf%C3%A9%20%26%20tea"},
      {Mode::app, search(""), "[]", found + kApp + flags},
  });
}

// getDialogs and get share one request among all their subscribers, late
// ones included; start asks once per subscription.
TEST_F(Services, ConversationAnswers) {
  ConversationService service(appSettings(), &transport);
  server.setHandler([](const test::RecordedRequest& r) {
    const bool list = r.path.ends_with("/conversations"), dialog = r.path.ends_with("/42");
    return Reply::json(200, envelope(list ? "[" + testing::kDialog + "]"
                                          : dialog ? testing::kDialog : kId));
  });
  auto dialogs = service.getDialogs("");
  auto one = service.get("42");
  auto started = service.start("hi");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(await(dialogs).elements.at(0).success()->data.at(0).id, "c1");
    EXPECT_EQ(await(one).elements.at(0).success()->data.id, "c1");
    EXPECT_TRUE(await(started).elements.at(0).succeed());
  }
  EXPECT_EQ(server.requests().size(), 4u);
}

// A reply to an id that is no number still goes out, noted on the console.
TEST_F(Services, ReplyToAMalformedDialogIdIsSentAndNoted) {
  ConversationService service(sdkSettings(), &transport);
  rx::rxtest::CapturedLines capture;
  server.setHandler([](const auto&) { return Reply::json(200, envelope(kId)); });
  await(service.reply("42", "m", "1", "reply"));
  EXPECT_TRUE(await(service.reply("c-7", "m", "2", "reply")).elements.at(0).succeed());
  const std::string log = capture.text();
  EXPECT_NE(log.find(R"(ZEBOK: reply to a dialog id that is not a number: "c-7")"), log.npos);
  EXPECT_EQ(log.find("ZEBOK"), log.rfind("ZEBOK"));  // none for "42"
  for (const char* bad : {"", " 1", "1.5", "-1"}) {
    EXPECT_FALSE(ConversationService::isValidDialogId(bad)) << bad;
  }
}

// "operations" holds the JSON text of the whole list in order, [] for none;
// a list that is no valid text completes at once and sends nothing. The
// route is that of events, with "/props".
TEST_F(Services, PropertiesGoOutAsOneJsonText) {
  using Op = UserProperty::Operations;
  EventPropService service(sdkSettings(), &transport);
  server.setHandler([](const auto&) { return Reply::json(200, envelope("{}")); });
  const std::vector<std::pair<std::vector<UserProperty>, std::string>> cases{
      {{}, "[]"},
      {{UserProperty("b", "x y", Op::setOnce), UserProperty("a", "1", Op::delete_)},
       R"([{"op":"set_once","key":"b","value":"x y"},{"op":"delete","key":"a","value":"1"}])"},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(await(service.setUserProperty(cases[i].first)).elements.size(), 1u);
    const auto sent = server.requests().at(i);
    EXPECT_EQ(test::decodeForm(sent.body),
              (std::map<std::string, std::string>{{"operations", cases[i].second}}));
    EXPECT_EQ(sent.path + "?" + sent.query, "/api/v1/users/9/props?" + kSdk + "&user_id=9");
  }
  auto nothing = await(service.setUserProperty({UserProperty("k", "\xff", Op::add)}));
  EXPECT_TRUE(nothing.completed);
  EXPECT_TRUE(nothing.elements.empty());
  EXPECT_EQ(server.requests().size(), cases.size());
}

}  // namespace
}  // namespace tavrel
