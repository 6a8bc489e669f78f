#include "tavrel/api/message_service.h"

#include <gtest/gtest.h>

#include <functional>
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

std::string envelope(const std::string& data) {
  return R"({"meta":{"status":200,"next_before_position":["p2"]},"data":)" + data + "}";
}

enum class Mode { app, sdk, none };

class Messages : public ApiFixture {
 protected:
  std::shared_ptr<NetworkSettings> settings(Mode mode) const {
    return mode == Mode::app ? appSettings() : mode == Mode::sdk ? sdkSettings() : nullptr;
  }
};

// Both routes in both modes and without settings. Messages page with
// "paginate_include" (not the conversations' "paginate_including"), and only
// when a position is given; the metadata is one plain form field.
TEST_F(Messages, EveryRouteOnTheWire) {
  using Call = std::function<rx::Observable<bool>(const MessageService&)>;
  auto ok = [](const auto& result) { return result.succeed(); };
  struct Case {
    const char* name;
    Mode mode;
    Call call;
    std::string data;
    std::string method, path, query, body;
  };
  const Call newest = [&](const MessageService& s) { return s.getMessages("5").map(ok); };
  const Call before = [&](const MessageService& s) {
    return s.getMessages("5", "p 1/2").map(ok);
  };
  const Call meta = [&](const MessageService& s) {
    return s.updateMessage("m1", R"({"rating":5,"note":"ок"})").map(ok);
  };
  const std::string metaBody =
      "meta_data=%7B%22rating%22%3A5%2C%22note%22%3A%22%D0%BE%D0%BA%22%7D";
  const std::vector<Case> cases{
      {"newest", Mode::app, newest, "[]", "GET", "/api/v1/conversations/5/parts",
       "auth_token=appm-7-tok&id_as_string=1", ""},
      {"newest", Mode::none, newest, "[]", "GET", "/api/v1/conversations/5/parts",
       "id_as_string=1", ""},
      {"before", Mode::sdk, before, "[]", "GET", "/api/v1/conversations/5/parts",
       "after=p%201/2&auth_token=tok&id_as_string=1&paginate_direction=before&paginate_include=false",
       ""},
      {"before", Mode::app, before, "[]", "GET", "/api/v1/conversations/5/parts",
       "after=p%201/2&auth_token=appm-7-tok&id_as_string=1&paginate_direction=before&"
       "paginate_include=false",
       ""},
      {"meta", Mode::sdk, meta, R"({"ok":1})", "POST", "/api/v1/conversationparts/m1/meta_data",
       "auth_token=tok&id_as_string=1", metaBody},
      {"meta", Mode::app, meta, "null", "POST", "/api/v1/conversationparts/m1/meta_data",
       "auth_token=appm-7-tok&id_as_string=1", metaBody},
      {"meta", Mode::none, meta, "[]", "POST", "/api/v1/conversationparts/m1/meta_data",
       "id_as_string=1", metaBody},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(std::string(c.name) + " #" + std::to_string(i));
    MessageService service(settings(c.mode), &transport);
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
    EXPECT_EQ(seen.query.find("paginate_including"), std::string::npos);
  }
}

// A page keeps its order and its cursor; one bad message fails the page; a
// page is not shared, so each subscription asks again.
TEST_F(Messages, DecodesPagesAndSendsOneRequestPerSubscription) {
  MessageService service(sdkSettings(), &transport);
  const std::string second = objectJson(messageMembers(), {{"id", "17"}, {"random_id", R"("x")"}});
  server.setHandler([&](const test::RecordedRequest&) {
    return Reply::json(200, envelope("[" + objectJson(messageMembers()) + "," + second + "]"));
  });
  auto page = service.getMessages("5", "p1");
  for (int round = 0; round < 2; ++round) {
    auto run = await(page);
    ASSERT_EQ(run.elements.size(), 1u);
    auto response = run.elements[0].success();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->meta.nextBeforePosition, "p2");
    ASSERT_EQ(response->data.size(), 2u);
    EXPECT_EQ(response->data[0].id, "m1");
    EXPECT_EQ(response->data[0].randomId, 77);
    EXPECT_EQ(response->data[1].id, "17");
    EXPECT_EQ(response->data[1].randomId, 0);
  }
  EXPECT_EQ(server.requests().size(), 2u);

  server.setHandler([&](const test::RecordedRequest&) {
    return Reply::json(
        200, envelope("[" + objectJson(messageMembers(), {{"created", R"("yesterday")"}}) + "]"));
  });
  auto bad = await(service.getMessages("5"));
  ASSERT_EQ(bad.elements.size(), 1u);
  EXPECT_EQ(bad.elements[0].error(),
            UIRepresentableError::custom("ошибка десериализации модели Response<Array<Message>>"));
}

}  // namespace
}  // namespace tavrel
