#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/route_fixture.h"
#include "model/record_json.h"
#include "tavrel/api/message_service.h"

namespace tavrel {
namespace {

using test::await;
using test::envelope;
using test::Mode;
using test::Reply;
using test::succeeded;
using Messages = test::RouteFixture;
using S = MessageService;

// Pages use "paginate_include", and only with a position; the metadata is
// one plain form field.
TEST_F(Messages, EveryRouteOnTheWire) {
  auto newest = [](const S& s) { return succeeded(s.getMessages("5")); };
  auto before = [](const S& s) { return succeeded(s.getMessages("5", "p 1/2")); };
  auto meta = [](const S& s) { return succeeded(s.updateMessage("m1", R"({"a":"ок"})")); };
  const std::string page = "&paginate_direction=before&paginate_include=false";
  const std::string metaBody = "meta_data=%7B%22a%22%3A%22%D0%BE%D0%BA%22%7D";
  checkRoutes<S>({
      {"newest", Mode::app, newest, "[]", "GET", "/api/v1/conversations/5/parts",
       "auth_token=appm-7-tok&id_as_string=1", ""},
      {"before", Mode::sdk, before, "[]", "GET", "/api/v1/conversations/5/parts",
       "after=p%201/2&auth_token=tok&id_as_string=1" + page, ""},
      {"meta", Mode::sdk, meta, "{}", "POST", "/api/v1/conversationparts/m1/meta_data",
       "auth_token=tok&id_as_string=1", metaBody},
  });
}

// A page keeps its order; one bad message fails it; each subscription asks.
TEST_F(Messages, DecodesPagesAndSendsOneRequestPerSubscription) {
  S service(sdkSettings(), &transport);
  auto good = testing::kMessage;
  auto other = testing::edited(good, {{{"id"}, "17"}});
  auto bad = testing::edited(good, {{{"created"}, R"("x")"}});
  server.enqueue(Reply::json(200, envelope("[" + good + "," + other + "]")));
  server.enqueue(Reply::json(200, envelope("[" + good + "," + bad + "]")));
  auto page = service.getMessages("5", "p1");
  auto messages = await(page).elements.at(0).success();
  ASSERT_TRUE(messages);
  ASSERT_EQ(messages->data.size(), 2u);
  EXPECT_EQ(messages->data[1].id, "17");
  EXPECT_EQ(await(page).elements.at(0).error()->text(),
            "ошибка десериализации модели Response<Array<Message>>");
  EXPECT_EQ(server.requests().size(), 2u);
}

}  // namespace
}  // namespace tavrel
