#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/route_fixture.h"
#include "tavrel/api/event_prop_service.h"

namespace tavrel {
namespace {

using test::await;
using test::Mode;
using test::Reply;
using test::succeeded;
using EventsAndProps = test::RouteFixture;
using S = EventPropService;
using Op = UserProperty::Operations;

// The user id resolved in the path and, from the target's own fields, in the
// query; the body as the target wrote it ("user_id" keeps its placeholder).
TEST_F(EventsAndProps, EveryRouteOnTheWire) {
  auto event = [](const S& s) { return succeeded(s.trackEvent("open chat", R"({"s":1})")); };
  auto props = [](const S& s) {
    return succeeded(s.setUserProperty({UserProperty("plan", "pro", Op::updateOrCreate)}));
  };
  const std::string eventBody = "event=open%20chat&params=%7B%22s%22%3A1%7D&user_id=%7Buser_id%7D";
  const std::string propsBody =
      "operations=%5B%7B%22op%22%3A%22update_or_create%22%2C%22key%22%3A%22plan%22%2C%22value%22%"
      "3A%22pro%22%7D%5D";
  checkRoutes<S>({
      {"event", Mode::app, event, "{}", "POST", "/api/v1/users/9/events",
       "auth_token=appm-7-tok&id_as_string=1&user_id=9", eventBody},
      {"props", Mode::sdk, props, "{}", "POST", "/api/v1/users/9/props",
       "auth_token=tok&id_as_string=1&user_id=9", propsBody},
  });
}

// "operations" holds the JSON text of the whole list in order, [] for none;
// a list that is no valid text completes at once and sends nothing.
TEST_F(EventsAndProps, PropertiesGoOutAsOneJsonText) {
  S service(sdkSettings(), &transport);
  server.setHandler([](const auto&) { return Reply::json(200, test::envelope("{}")); });
  const std::vector<std::pair<std::vector<UserProperty>, std::string>> cases{
      {{}, "[]"},
      {{UserProperty("b", "x y", Op::setOnce), UserProperty("a", "1", Op::delete_)},
       R"([{"op":"set_once","key":"b","value":"x y"},{"op":"delete","key":"a","value":"1"}])"},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(await(service.setUserProperty(cases[i].first)).elements.size(), 1u);
    auto form = test::decodeForm(server.requests().at(i).body);
    EXPECT_EQ(form, (std::map<std::string, std::string>{{"operations", cases[i].second}}));
  }
  auto nothing = await(service.setUserProperty({UserProperty("k", "\xff", Op::add)}));
  EXPECT_TRUE(nothing.completed);
  EXPECT_TRUE(nothing.elements.empty());
  EXPECT_EQ(server.requests().size(), cases.size());
}

}  // namespace
}  // namespace tavrel
