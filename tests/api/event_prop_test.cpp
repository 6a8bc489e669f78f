#include "tavrel/api/event_prop_service.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "tavrel/core/json_decoder.h"

namespace tavrel {
namespace {

using test::ApiFixture;
using test::await;
using test::decodeForm;
using test::Reply;
using Op = UserProperty::Operations;

const std::string kEnvelope = R"({"meta":{"status":200},"data":{}})";

enum class Mode { app, sdk, none };

class EventsAndProps : public ApiFixture {
 protected:
  std::shared_ptr<NetworkSettings> settings(Mode mode) const {
    return mode == Mode::app ? appSettings() : mode == Mode::sdk ? sdkSettings() : nullptr;
  }
};

// Both routes in both modes and without settings: the user id resolved in
// the path and, from the target's own fields, in the query; the form body
// left as the target wrote it ("user_id" keeps its placeholder).
TEST_F(EventsAndProps, EveryRouteOnTheWire) {
  struct Case {
    Mode mode;
    bool event;
    std::string path, query, body;
  };
  const std::string eventBody =
      "event=open%20chat&params=%7B%22screen%22%3A%22main%22%7D&user_id=%7Buser_id%7D";
  const std::string propsBody =
      "operations=%5B%7B%22op%22%3A%22update_or_create%22%2C%22key%22%3A%22plan%22%2C%22value%22%"
      "3A%22pro%22%7D%5D";
  const std::vector<Case> cases{
      {Mode::app, true, "/api/v1/users/9/events", "auth_token=appm-7-tok&id_as_string=1&user_id=9",
       eventBody},
      {Mode::sdk, true, "/api/v1/users/9/events", "auth_token=tok&id_as_string=1&user_id=9",
       eventBody},
      {Mode::none, true, "/api/v1/users/%7Buser_id%7D/events", "id_as_string=1", eventBody},
      {Mode::app, false, "/api/v1/users/9/props", "auth_token=appm-7-tok&id_as_string=1&user_id=9",
       propsBody},
      {Mode::sdk, false, "/api/v1/users/9/props", "auth_token=tok&id_as_string=1&user_id=9",
       propsBody},
      {Mode::none, false, "/api/v1/users/%7Buser_id%7D/props", "id_as_string=1", propsBody},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(i);
    EventPropService service(settings(c.mode), &transport);
    server.enqueue(Reply::json(200, kEnvelope));
    auto run = await(c.event ? service.trackEvent("open chat", R"({"screen":"main"})")
                             : service.setUserProperty({UserProperty("plan", "pro", Op::updateOrCreate)}));
    ASSERT_TRUE(run.completed);
    ASSERT_EQ(run.elements.size(), 1u);
    EXPECT_TRUE(run.elements[0].succeed());
    auto all = server.requests();
    ASSERT_EQ(all.size(), i + 1);
    EXPECT_EQ(all.back().method, "POST");
    EXPECT_EQ(all.back().path, c.path);
    EXPECT_EQ(all.back().query, c.query);
    EXPECT_EQ(all.back().body, c.body);
    EXPECT_EQ(all.back().header("Content-Type"),
              "application/x-www-form-urlencoded; charset=utf-8");
  }
}

// "operations" is the JSON text of the whole list, in the order given, also
// for an empty list; a list that is no valid text sends nothing at all.
TEST_F(EventsAndProps, PropertiesGoOutAsOneJsonText) {
  EventPropService service(sdkSettings(), &transport);
  server.setHandler([](const test::RecordedRequest&) { return Reply::json(200, kEnvelope); });

  struct Case {
    std::vector<UserProperty> properties;
    std::string operations;
  };
  const std::vector<Case> cases{
      {{}, "[]"},
      {{UserProperty("b", "x y", Op::setOnce), UserProperty("a", "1", Op::delete_)},
       R"([{"op":"set_once","key":"b","value":"x y"},{"op":"delete","key":"a","value":"1"}])"},
      {{UserProperty("name", "Аня \"А\"", Op::union_)},
       R"([{"op":"union","key":"name","value":"Аня \"А\""}])"},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    auto run = await(service.setUserProperty(cases[i].properties));
    ASSERT_EQ(run.elements.size(), 1u);
    auto all = server.requests();
    ASSERT_EQ(all.size(), i + 1);
    auto form = decodeForm(all.back().body);
    EXPECT_EQ(form.size(), 1u);
    EXPECT_EQ(form["operations"], cases[i].operations);
    auto list = decodeJson<JsonValue>(form["operations"]);
    ASSERT_TRUE(list.ok());
    EXPECT_EQ(list.value().kind(), JsonValue::Kind::array);
  }

  auto nothing = await(service.setUserProperty({UserProperty("k", "\xff\xfe", Op::add)}));
  EXPECT_TRUE(nothing.completed);
  EXPECT_TRUE(nothing.elements.empty());
  EXPECT_EQ(server.requests().size(), cases.size());
}

}  // namespace
}  // namespace tavrel
