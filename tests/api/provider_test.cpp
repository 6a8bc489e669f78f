#include "tavrel/api/tavrel_provider.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "tavrel/api/app_target.h"
#include "tavrel/api/tavrel_service.h"
#include "tavrel/model/dialog.h"

namespace tavrel {
namespace {

using test::ApiFixture;
using test::await;
using test::decodeForm;
using test::Reply;
using Form = std::map<std::string, std::string>;

// A target whose every part a test sets.
struct ProbeTarget : TavrelTarget {
  std::string route = "things";
  Method verb = Method::get;
  Task work;
  Parameters fields;
  bool conversation = false;
  std::optional<std::string> base;  // baseURL() when absent

  std::string baseURL() const override { return base ? *base : TavrelTarget::baseURL(); }
  std::string path() const override { return route; }
  Method method() const override { return verb; }
  Task task() const override { return work; }
  Parameters settingFields() const override { return fields; }
  bool isConversationTarget() const override { return conversation; }
};

ProbeTarget at(std::string route, bool conversation = false) {
  ProbeTarget t;
  t.route = std::move(route);
  t.conversation = conversation;
  return t;
}

const std::string kEnvelope = R"({"meta":{"status":200},"data":{"id":"s1"}})";

class Provider : public ApiFixture {
 protected:
  // Sends the target and gives what the server recorded of it.
  test::RecordedRequest send(const TavrelProvider<ProbeTarget>& provider, const ProbeTarget& t) {
    server.enqueue(Reply::json(200, kEnvelope));
    auto run = await(provider.rx().request<JsonValue>(t));
    EXPECT_TRUE(run.completed) << t.route;
    auto all = server.requests();
    return all.empty() ? test::RecordedRequest{} : all.back();
  }
};

// Placeholders in the path, by mode, and the authorisation query.
TEST_F(Provider, ResolvesPlaceholdersByModeAndAddsTheCredentialsToTheQuery) {
  struct Case {
    std::string route;
    bool conversation;
    std::shared_ptr<NetworkSettings> settings;
    std::string path;
    Form query;
  };
  const Form app{{"auth_token", "appm-7-tok"}, {"id_as_string", "1"}};
  const Form sdk{{"auth_token", "tok"}, {"id_as_string", "1"}};
  const Form none{{"id_as_string", "1"}};
  const std::vector<Case> cases{
      {"{path_root}/conversations", true, appSettings(), "/api/v1/apps/7/conversations", app},
      {"{path_root}/conversations", true, sdkSettings(), "/api/v1/users/9/conversations", sdk},
      {"{path_root}/c/{path_root}", true, sdkSettings(), "/api/v1/users/9/c/users/9", sdk},
      {"{path_root}/conversations", false, appSettings(), "/api/v1/%7Bpath_root%7D/conversations", app},
      {"{path_root}/conversations", true, nullptr, "/api/v1/%7Bpath_root%7D/conversations", none},
      {"users/{user_id}/setpresence", false, appSettings(), "/api/v1/users/9/setpresence", app},
      {"users/{user_id}/setpresence", false, sdkSettings(), "/api/v1/users/9/setpresence", sdk},
      {"users/{user_id}/setpresence", false, nullptr, "/api/v1/users/%7Buser_id%7D/setpresence", none},
      {"apps/{app_id}/events", false, sdkSettings(), "/api/v1/apps/7/events", sdk},
      {"a b/é", false, sdkSettings(), "/api/v1/a%20b/%C3%A9", sdk},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.route + (c.settings ? " with settings" : " without settings"));
    TavrelProvider<ProbeTarget> provider(c.settings, {}, &transport);
    auto t = at(c.route, c.conversation);
    auto request = send(provider, t);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.path, c.path);
    EXPECT_EQ(decodeForm(request.query), c.query);
    EXPECT_EQ(request.body, "");
  }
}

// Where the credentials go for each task, and what the target's own
// parameters and settingFields become.
TEST_F(Provider, TokenizesEachTaskIntoTheRightPlace) {
  auto settings = appSettings();
  TavrelProvider<ProbeTarget> provider(settings, {}, &transport);

  // requestParameters with JSONEncoding: one JSON body, nothing in the query;
  // a target's own "auth_token" is overwritten.
  auto json = at("j");
  json.verb = Method::post;
  json.work = Task::requestParameters({{"a", 1}, {"auth_token", "mine"}}, JSONEncoding());
  auto r = send(provider, json);
  EXPECT_EQ(r.query, "");
  EXPECT_EQ(r.body, R"({"a":1,"auth_token":"appm-7-tok","id_as_string":"1"})");

  // requestParameters with URLEncoding on GET: all in the query.
  auto query = at("q");
  query.work = Task::requestParameters({{"after", "x y"}}, URLEncoding());
  r = send(provider, query);
  EXPECT_EQ(r.query, "after=x%20y&auth_token=appm-7-tok&id_as_string=1");

  // requestCompositeParameters: the body as given (a placeholder there stays
  // as text), the credentials in the query.
  auto composite = at("c");
  composite.verb = Method::post;
  composite.work = Task::requestCompositeParameters({{"who", "{user_id}"}}, URLEncoding::httpBody(),
                                                    {{"page", 2}});
  r = send(provider, composite);
  EXPECT_EQ(r.body, "who=%7Buser_id%7D");
  EXPECT_EQ(r.query, "auth_token=appm-7-tok&id_as_string=1&page=2");

  // requestCompositeData: the bytes as they are.
  auto data = at("d");
  data.verb = Method::post;
  data.work = Task::requestCompositeData("raw bytes", {});
  r = send(provider, data);
  EXPECT_EQ(r.body, "raw bytes");
  EXPECT_EQ(r.query, "auth_token=appm-7-tok&id_as_string=1");

  // settingFields: text values resolved and set over a parameter of the same
  // name; other values skipped.
  auto fields = at("f");
  fields.work = Task::requestParameters({{"user_id", "old"}}, URLEncoding::queryString());
  fields.fields = {{"user_id", "{user_id}"}, {"app", "a-{app_id}-{user_id}"}, {"n", 5}};
  r = send(provider, fields);
  EXPECT_EQ(decodeForm(r.query), (Form{{"app", "a-7-9"},
                                       {"auth_token", "appm-7-tok"},
                                       {"id_as_string", "1"},
                                       {"user_id", "9"}}));

  // Without settings, settingFields are not used at all.
  provider.set(nullptr);
  r = send(provider, fields);
  EXPECT_EQ(decodeForm(r.query), (Form{{"id_as_string", "1"}, {"user_id", "old"}}));
}

// The settings are read when each request is built: set() and changes to the
// shared object take effect at the next request, not before.
TEST_F(Provider, ReadsTheSettingsAtEachRequest) {
  TavrelProvider<ProbeTarget> provider(nullptr, {}, &transport);
  auto t = at("users/{user_id}");
  EXPECT_EQ(send(provider, t).path, "/api/v1/users/%7Buser_id%7D");

  auto settings = sdkSettings();
  provider.set(settings);
  EXPECT_EQ(provider.settings(), settings);
  auto r = send(provider, t);
  EXPECT_EQ(r.path, "/api/v1/users/9");
  EXPECT_EQ(decodeForm(r.query).at("auth_token"), "tok");

  settings->userId = "10";
  settings->connection = NetworkSettings::ConnectionType::app;
  r = send(provider, t);
  EXPECT_EQ(r.path, "/api/v1/users/10");
  EXPECT_EQ(decodeForm(r.query).at("auth_token"), "appm-7-tok");

  // A stream made before set() still reads the settings when subscribed.
  auto later = provider.rx().request<JsonValue>(t);
  provider.set(appSettings());
  server.enqueue(Reply::json(200, kEnvelope));
  ASSERT_TRUE(await(later).completed);
  EXPECT_EQ(server.requests().back().path, "/api/v1/users/9");
}

// A task the provider cannot add credentials to never goes out.
TEST_F(Provider, RefusesTasksWithoutAParameterMap) {
  TavrelProvider<ProbeTarget> provider(sdkSettings(), {}, &transport);
  for (Task task : {Task::requestData("x"), Task::requestJSONEncodable(JsonValue("x"))}) {
    auto t = at("nope");
    t.verb = Method::post;
    t.work = task;
    auto run = await(provider.rx().request<JsonValue>(t));
    ASSERT_TRUE(run.finished);
    auto error = run.errorAs<MoyaError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), MoyaError::Kind::parameterEncoding);
    EXPECT_NE(std::string(error->what()).find("Task not overriden fix this"), std::string::npos);
    EXPECT_TRUE(run.elements.empty());
  }
  // The next good request is the first one the server sees.
  send(provider, at("yes"));
  ASSERT_EQ(server.requests().size(), 1u);
  EXPECT_EQ(server.requests()[0].path, "/api/v1/yes");
}

// The answer table: the HTTP status decides, the envelope's status does not.
TEST_F(Provider, TurnsAnswersIntoResultsByStatus) {
  enum class Expect { success, error, failure };
  struct Case {
    std::string name;
    Reply reply;
    Expect expect;
    std::string text;  // the id of a success, the error's text
  };
  const std::string refusal =
      R"({"meta":{"status":403,"error":"forbidden","error_message":"no"},"data":null})";
  const std::vector<Case> cases{
      {"200", Reply::json(200, kEnvelope), Expect::success, "s1"},
      {"399", Reply::json(399, kEnvelope), Expect::success, "s1"},
      {"200 with meta 500", Reply::json(200, R"({"meta":{"status":500},"data":{"id":"x"}})"),
       Expect::success, "x"},
      {"400 with meta 200", Reply::json(400, kEnvelope), Expect::error,
       "Ошибка (status: 200) nil: nil"},
      {"403", Reply::json(403, refusal), Expect::error, "Ошибка (status: 403) forbidden: no"},
      {"500 without error_message",
       Reply::json(500, R"({"meta":{"status":500,"error":"boom"},"data":{}})"), Expect::error,
       "Ошибка (status: 500) boom: nil"},
      {"200 without data", Reply::json(200, R"({"meta":{"status":200}})"), Expect::error,
       "ошибка десериализации модели Response<SimpleId>"},
      {"200 with wrong data", Reply::json(200, R"({"meta":{"status":200},"data":{"id":5}})"),
       Expect::error, "ошибка десериализации модели Response<SimpleId>"},
      {"200 invalid UTF-8", Reply::json(200, "{\"meta\":{\"status\":200},\"data\":{\"id\":\"\xff\"}}"),
       Expect::error, "ошибка десериализации модели Response<SimpleId>"},
      {"200 empty", Reply::text(200, ""), Expect::error,
       "ошибка десериализации модели Response<SimpleId>"},
      {"502 html", Reply::text(502, "<html><body>Bad Gateway</body></html>"), Expect::failure, ""},
      {"404 empty", Reply::text(404, ""), Expect::failure, ""},
      {"400 envelope without meta status", Reply::json(400, R"({"meta":{},"data":1})"),
       Expect::failure, ""},
  };
  TavrelProvider<ProbeTarget> provider(sdkSettings(), {}, &transport);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    server.enqueue(c.reply);
    auto run = await(provider.rx().request<SimpleId>(at("answer")));
    ASSERT_TRUE(run.finished);
    if (c.expect == Expect::failure) {
      EXPECT_TRUE(run.elements.empty());
      EXPECT_TRUE(run.errorAs<DecodingError>()) << "the stream fails with the decoder's error";
      continue;
    }
    EXPECT_TRUE(run.completed);
    ASSERT_EQ(run.elements.size(), 1u);
    const auto& result = run.elements[0];
    if (c.expect == Expect::success) {
      ASSERT_TRUE(result.succeed());
      EXPECT_EQ(result.success()->data.id, c.text);
    } else {
      ASSERT_FALSE(result.succeed());
      EXPECT_EQ(result.error()->kind(), UIRepresentableError::Kind::custom);
      EXPECT_EQ(result.error()->text(), c.text);
    }
  }
}

// The name of the data type in the decode message, generic arguments included.
TEST_F(Provider, NamesTheDataTypeInTheDecodeMessage) {
  EXPECT_EQ(typeDisplayName<JsonValue>(), "JsonValue");
  EXPECT_EQ(typeDisplayName<std::vector<Dialog>>(), "Array<Dialog>");
  EXPECT_EQ(typeDisplayName<std::vector<std::optional<std::string>>>(), "Array<Optional<String>>");
  EXPECT_EQ(typeDisplayName<std::shared_ptr<Message>>(), "Message");
  EXPECT_EQ(typeDisplayName<bool>(), "Bool");

  TavrelProvider<ProbeTarget> provider(nullptr, {}, &transport);
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{}})"));
  auto run = await(provider.rx().request<std::vector<Dialog>>(at("dialogs")));
  ASSERT_EQ(run.elements.size(), 1u);
  EXPECT_EQ(run.elements[0].error()->text(), "ошибка десериализации модели Response<Array<Dialog>>");
}

// Failures below HTTP fail the stream with the transport's URLError.
TEST_F(Provider, FailsTheStreamBelowHttp) {
  auto urlCode = [](const test::StreamRun<Result<Response<JsonValue>>>& run) {
    auto error = run.errorAs<MoyaError>();
    EXPECT_TRUE(run.elements.empty());
    return error && error->urlError() ? error->urlError()->code() : URLError::Code::unknown;
  };
  TavrelProvider<ProbeTarget> provider(sdkSettings(), {}, &transport);

  // A port nobody listens on.
  std::string closed;
  {
    test::TestHttpServer gone;
    closed = gone.url("/api/v1/");
  }
  auto t = at("x");
  t.base = closed;
  EXPECT_EQ(urlCode(await(provider.rx().request<JsonValue>(t))),
            URLError::Code::cannotConnectToHost);

  // A body cut short, and one far beyond the transport's cap.
  server.enqueue(Reply::truncated(R"({"meta":{"status":200},)", 100));
  EXPECT_EQ(urlCode(await(provider.rx().request<JsonValue>(at("cut")))),
            URLError::Code::networkConnectionLost);
  server.enqueue(Reply::huge(50u * 1024 * 1024));
  EXPECT_EQ(urlCode(await(provider.rx().request<JsonValue>(at("huge")))),
            URLError::Code::dataLengthExceedsMaximum);

  // A server that never answers, on a transport with a short time limit.
  TransportOptions options;
  options.requestTimeout = std::chrono::milliseconds(300);
  HttpTransport impatient(options);
  TavrelProvider<ProbeTarget> hurried(sdkSettings(), {}, &impatient);
  server.enqueue(Reply::never());
  EXPECT_EQ(urlCode(await(hurried.rx().request<JsonValue>(at("silent")))), URLError::Code::timedOut);
}

// A shared call sends one request for all of its subscribers, and a stream
// of a service keeps working after the service is gone.
TEST_F(Provider, SharesOneRequestAndOutlivesItsService) {
  std::optional<rx::Observable<Result<Response<SimpleId>>>> stream;
  {
    TavrelService<ProbeTarget> service(sdkSettings(), &transport);
    stream = service.provider().rx().request<SimpleId>(at("shared")).shareReplay1();
  }
  server.enqueue(Reply::json(200, kEnvelope));
  auto first = await(*stream);
  auto second = await(*stream);
  ASSERT_EQ(first.elements.size(), 1u);
  ASSERT_EQ(second.elements.size(), 1u);
  EXPECT_EQ(second.elements[0].success()->data.id, "s1");
  EXPECT_EQ(server.requests().size(), 1u);
}

// The base address: the bundle's apiUrl, else the built-in one with a line.
TEST(TavrelTargetBase, UsesApiUrlOrTheBuiltInDefault) {
  auto t = AppTarget::getApps("me");
  EXPECT_EQ(t.path(), "djangousers/me");
  EXPECT_EQ(t.method(), Method::get);
  EXPECT_EQ(t.sampleData(), "");
  EXPECT_FALSE(t.headers());
  EXPECT_EQ(t.validationType().kind, ValidationType::Kind::none);
  EXPECT_TRUE(t.settingFields().empty());
  EXPECT_EQ(t.pathPrefix() + t.userId() + t.appId(), "{path_root}{user_id}{app_id}");
  {
    test::DebugCapture debug;
    Bundle::registerMain({});
    EXPECT_EQ(t.baseURL(), "https://api.tavrelhub.io/api/v1/");
    EXPECT_EQ(debug.lines(), std::vector<std::string>{"apiUrl is not exist in Plist"});
  }
  test::MainBundle bundle({{"apiUrl", "https://h.example/api/v1/"}});
  EXPECT_EQ(t.baseURL(), "https://h.example/api/v1/");
  EXPECT_EQ(URL(t), "https://h.example/api/v1/djangousers/me");
}

}  // namespace
}  // namespace tavrel
