#include <gtest/gtest.h>

#include "api/api_fixture.h"
#include "rx/recorder.h"
#include "tavrel/api/app_target.h"
#include "tavrel/api/tavrel_provider.h"
#include "tavrel/api/tavrel_service.h"
#include "tavrel/model/dialog.h"

namespace tavrel {
namespace {

using test::await;
using test::decodeForm;
using test::Reply;
using Form = std::map<std::string, std::string>;

// A target whose every part a test sets.
struct ProbeTarget : TavrelTarget {
  std::string route;
  bool conversation = false;
  Task work;
  Parameters fields;

  std::string path() const override { return route; }
  Method method() const override { return Method::post; }
  Task task() const override { return work; }
  Parameters settingFields() const override { return fields; }
  bool isConversationTarget() const override { return conversation; }
};

ProbeTarget at(std::string route, Task work = {}, bool conversation = false) {
  ProbeTarget t;
  t.route = std::move(route);
  t.work = std::move(work);
  t.conversation = conversation;
  return t;
}

const std::string kEnvelope = R"({"meta":{"status":200},"data":{"id":"s1"}})";

class Provider : public test::ApiFixture {
 protected:
  // Sends the target; what the server recorded of it.
  test::RecordedRequest send(const TavrelProvider<ProbeTarget>& provider, const ProbeTarget& t) {
    server.enqueue(Reply::json(200, kEnvelope));
    EXPECT_TRUE(await(provider.rx().request<JsonValue>(t)).completed) << t.route;
    return server.requests().back();
  }
};

TEST_F(Provider, ResolvesPlaceholdersByModeAndAddsTheCredentials) {
  struct Case {
    std::string route;
    bool conversation;
    std::shared_ptr<NetworkSettings> settings;
    std::string path;
    std::string query;
  };
  const std::string app = "auth_token=appm-7-tok&id_as_string=1",
                    sdk = "auth_token=tok&id_as_string=1";
  const std::vector<Case> cases{
      {"{path_root}/c/{path_root}", true, appSettings(), "/api/v1/apps/7/c/apps/7", app},
      {"{path_root}/c", true, sdkSettings(), "/api/v1/users/9/c", sdk},
      {"{path_root}/c", false, appSettings(), "/api/v1/%7Bpath_root%7D/c", app},
      {"users/{user_id}/apps/{app_id}", false, appSettings(), "/api/v1/users/9/apps/7", app},
      {"users/{user_id}", false, nullptr, "/api/v1/users/%7Buser_id%7D", "id_as_string=1"},
      {"a b/é%", false, sdkSettings(), "/api/v1/a%20b/%C3%A9%25", sdk},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.route);
    TavrelProvider<ProbeTarget> provider(c.settings, {}, &transport);
    auto r = send(provider, at(c.route, {}, c.conversation));
    EXPECT_EQ(r.path, c.path);
    EXPECT_EQ(r.query, c.query);
    EXPECT_EQ(r.body, "");
  }
}

TEST_F(Provider, TokenizesEachTaskIntoTheRightPlace) {
  TavrelProvider<ProbeTarget> provider(appSettings(), {}, &transport);
  // JSON parameters: one body, the target's own "auth_token" overwritten.
  auto r =
      send(provider,
           at("j", Task::requestParameters({{"a", 1}, {"auth_token", "mine"}}, JSONEncoding())));
  EXPECT_EQ(r.query, "");
  EXPECT_EQ(r.body, R"({"a":1,"auth_token":"appm-7-tok","id_as_string":"1"})");
  // Composite: the body as given (placeholders stay text), credentials in the query.
  r = send(provider, at("c", Task::requestCompositeParameters(
                                 {{"who", "{user_id}"}}, URLEncoding::httpBody(), {{"page", 2}})));
  EXPECT_EQ(r.body, "who=%7Buser_id%7D");
  EXPECT_EQ(r.query, "auth_token=appm-7-tok&id_as_string=1&page=2");
  r = send(provider, at("d", Task::requestCompositeData("raw", {})));
  EXPECT_EQ(r.body, "raw");
  EXPECT_EQ(r.query, "auth_token=appm-7-tok&id_as_string=1");

  // settingFields: text values resolved, set over a parameter of that name.
  auto fields = at("f", Task::requestParameters({{"user_id", "old"}}, URLEncoding::queryString()));
  fields.fields = {{"user_id", "{user_id}"}, {"app", "a-{app_id}-{user_id}"}, {"n", 5}};
  EXPECT_EQ(decodeForm(send(provider, fields).query), (Form{{"app", "a-7-9"},
                                                            {"auth_token", "appm-7-tok"},
                                                            {"id_as_string", "1"},
                                                            {"user_id", "9"}}));
  provider.set(nullptr);
  EXPECT_EQ(decodeForm(send(provider, fields).query),
            (Form{{"id_as_string", "1"}, {"user_id", "old"}}));
}

TEST_F(Provider, ReadsTheSettingsWhenEachRequestIsBuilt) {
  TavrelProvider<ProbeTarget> provider(nullptr, {}, &transport);
  auto t = at("users/{user_id}");
  EXPECT_EQ(send(provider, t).path, "/api/v1/users/%7Buser_id%7D");
  auto settings = sdkSettings();
  provider.set(settings);
  EXPECT_EQ(send(provider, t).path, "/api/v1/users/9");
  settings->userId = "10";  // shared by reference
  settings->connection = NetworkSettings::ConnectionType::app;
  EXPECT_EQ(send(provider, t).target, "/api/v1/users/10?auth_token=appm-7-tok&id_as_string=1");
  // A stream made before set() reads the settings when it is subscribed.
  auto later = provider.rx().request<JsonValue>(t);
  provider.set(appSettings());
  server.enqueue(Reply::json(200, kEnvelope));
  ASSERT_TRUE(await(later).completed);
  EXPECT_EQ(server.requests().back().path, "/api/v1/users/9");
}

TEST_F(Provider, SendsNothingForATaskWithoutAParameterMap) {
  TavrelProvider<ProbeTarget> provider(sdkSettings(), {}, &transport);
  for (Task task : {Task::requestData("x"), Task::requestJSONEncodable(JsonValue("x"))}) {
    auto run = await(provider.rx().request<JsonValue>(at("nope", task)));
    auto error = run.errorAs<MoyaError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), MoyaError::Kind::parameterEncoding);
    EXPECT_NE(std::string(error->what()).find("Task not overriden fix this"), std::string::npos);
  }
  send(provider, at("yes"));  // the first request the server sees
  EXPECT_EQ(server.requests().size(), 1u);
}

// The HTTP status decides, not the envelope's; bad bodies give the error
// value below 400 and fail the stream from 400 on.
TEST_F(Provider, TurnsAnswersIntoResultsByStatus) {
  const std::string undecodable = "ошибка десериализации модели Response<SimpleId>";
  const std::vector<std::tuple<Reply, bool, std::string>> cases{
      {Reply::json(399, kEnvelope), true, "s1"},
      {Reply::json(200, R"({"meta":{"status":500},"data":{"id":"x"}})"), true, "x"},
      {Reply::json(400, kEnvelope), false, "Ошибка (status: 200) nil: nil"},
      {Reply::json(403, R"({"meta":{"status":403,"error":"no","error_message":"m"},"data":null})"),
       false, "Ошибка (status: 403) no: m"},
      {Reply::json(200, R"({"meta":{"status":200}})"), false, undecodable},
      {Reply::text(502, "<html>Bad Gateway</html>"), false, ""},
  };
  TavrelProvider<ProbeTarget> provider(sdkSettings(), {}, &transport);
  for (const auto& [reply, succeeds, text] : cases) {
    SCOPED_TRACE(std::to_string(reply.status) + ": " + reply.body);
    server.enqueue(reply);
    auto run = await(provider.rx().request<SimpleId>(at("answer")));
    if (text.empty()) {  // no envelope at an error status: the decoder's error
      EXPECT_TRUE(run.errorAs<DecodingError>());
      EXPECT_TRUE(run.elements.empty());
      continue;
    }
    ASSERT_TRUE(run.completed);
    ASSERT_EQ(run.elements.size(), 1u);
    EXPECT_EQ(run.elements[0].succeed(), succeeds);
    EXPECT_EQ(succeeds ? run.elements[0].success()->data.id : run.elements[0].error()->text(),
              text);
  }
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{}})"));
  auto run = await(provider.rx().request<std::vector<Dialog>>(at("dialogs")));
  EXPECT_EQ(run.elements.at(0).error()->text(),
            "ошибка десериализации модели Response<Array<Dialog>>");
}

// A stream outlives the service that made it.
TEST_F(Provider, AStreamOutlivesItsService) {
  std::optional<rx::Observable<Result<Response<SimpleId>>>> stream;
  {
    TavrelService<ProbeTarget> service(sdkSettings(), &transport);
    stream = service.provider().rx().request<SimpleId>(at("kept"));
  }
  server.enqueue(Reply::json(200, kEnvelope));
  EXPECT_EQ(await(*stream).elements.at(0).success()->data.id, "s1");
}

TEST(TavrelTargetDefaults, ApiUrlFromTheMainBundleOrTheBuiltInOne) {
  auto t = AppTarget::getApps("me");
  {
    rx::rxtest::CapturedLines debug;
    Bundle::registerMain({});
    EXPECT_EQ(t.baseURL(), "https://api.tavrelhub.io/api/v1/");
    EXPECT_EQ(debug.lines, std::vector<std::string>{"apiUrl is not exist in Plist"});
  }
  test::MainBundle bundle({{"apiUrl", "https://h.example/api/v1/"}});
  EXPECT_EQ(URL(t), "https://h.example/api/v1/djangousers/me");
}

}  // namespace
}  // namespace tavrel
