#include "tavrel/api/user_service.h"

#include <gtest/gtest.h>

#include "api/api_fixture.h"
#include "rx/recorder.h"
#include "model/record_json.h"

namespace tavrel {
namespace {

using test::await;
using test::Reply;
using testing::edited;
using testing::kConnect;

const DeviceInfo kDevice{"Pixel", "Linux 6.1"};

TEST(UserSession, HexEncodingAndHmacSha256) {
  EXPECT_EQ(hexEncodedString("\x0a\xff"), "0aff");
  EXPECT_EQ(hexEncodedString(std::string("\x00\x7f", 2), HexEncodingOptions::upperCase), "007F");
  EXPECT_EQ(hexEncodedString(hmacSHA256("key", "The quick brown fox jumps over the lazy dog")),
            "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8");
}

class UserServiceTest : public test::ApiFixture {};

// The three routes byte for byte, as form bodies; one session id per object,
// and no hash in the log.
TEST_F(UserServiceTest, SendsTheThreeRoutes) {
  UserService service(appSettings(), &transport, kDevice), other(nullptr, &transport, kDevice);
  const std::string& id = service.sessionId();
  EXPECT_EQ(id.size(), 32u);
  EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos) << id;
  EXPECT_NE(other.sessionId(), id);
  rx::rxtest::CapturedLines debug;
  server.enqueue(Reply::json(200, kConnect));
  await(service.connect("K&1", "1.2"));
  server.enqueue(Reply::json(200, "{}"));
  await(service.auth("user-42", Messenger{}, "s3cret"));
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":null})"));
  EXPECT_TRUE(await(service.setPresence()).elements.at(0).succeed());
  server.enqueue(Reply::json(200, kConnect));
  await(other.connect("K&1", "1.2"));

  const std::string hash = hexEncodedString(hmacSHA256("s3cret", "user-42"));
  const std::string app = "?auth_token=appm-7-tok&id_as_string=1 ";
  const std::string connect =
      "api_key=K%261&browser=iOS%20sdk%201.2&device=Pixel&device_type=phone"
      "&include_auto_events=0&include_js_scripts=0&include_push_domain=0"
      "&os=iOS%20Linux%206.1&start_session=1&start_session_random_id=";
  const std::vector<std::string> expected{
      "/api/v1/connect" + app + connect + id + "&token_type=usersdkios",
      "/api/v1/auth/userappauth" + app + "hash=" + hash + "&user_id=user-42",
      "/api/v1/users/9/setpresence" + app + "presence=online",
      "/api/v1/connect?id_as_string=1 " + connect + other.sessionId() + "&token_type=usersdkios",
  };
  auto requests = server.requests();
  ASSERT_EQ(requests.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& r = requests[i];
    EXPECT_EQ(r.method + " " + r.path + "?" + r.query + " " + r.body, "POST " + expected[i]);
    EXPECT_EQ(r.header("Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
  }
  EXPECT_EQ(debug.text().find(hash), std::string::npos);
}

// connect reads both records from the body whatever the status.
TEST_F(UserServiceTest, ConnectDecodesTheBodyWhateverTheStatus) {
  const std::string refused = R"({"meta":{"status":403,"error":"bad key"},"data":null})";
  const std::string noSettings = edited(kConnect, {{{"data", "app", "settings"}, {}}});
  const std::string prefix = "connect(withKey: withVersion:) Ошибка десериализации модели ";
  const std::vector<std::pair<Reply, std::string>> cases{
      {Reply::json(500, kConnect), "Shop"},
      {Reply::json(200, noSettings), prefix + "Messenger"},
      {Reply::json(403, refused), prefix + "User"},
  };
  UserService service(nullptr, &transport, kDevice);
  for (const auto& [reply, expected] : cases) {
    server.enqueue(reply);
    auto run = await(service.connect("key", "1"));
    ASSERT_EQ(run.elements.size(), 1u) << reply.body;
    const auto& result = run.elements[0];
    EXPECT_EQ(result.succeed() ? result.success()->second.name : result.error()->text(), expected);
  }
}

// auth: a user only for a well-formed nested document, as an object or as
// its text, with the top-level token, which never reaches the log.
TEST_F(UserServiceTest, AuthReadsTheNestedUser) {
  const std::string nested = edited(kConnect, {{{"data", "auth_token"}, R"("old-SECRET")"}});
  const std::string quoted = encodeJson(JsonValue(kConnect)).value();
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"({"auth_token":"new-SECRET","user":)" + nested + "}", "Given new-SECRET"},
      {R"({"auth_token":"new-SECRET","user":)" + quoted + "}", "Given new-SECRET"},  // as text
      {"{}", "absent"},
      {R"({"auth_token":"new"})", "absent"},
      {R"({"user":)" + nested + "}", "absent"},
      {R"({"auth_token":"new","user":{"id":"u1"}})", "absent"},
      {R"({"auth_token":"new",)",
       "auth(withUserId: withUserAuthKey:) Ошибка десериализации модели User"},
  };
  Messenger given;
  given.name = "Given";
  UserService service(nullptr, &transport, kDevice);
  rx::rxtest::CapturedLines debug;
  for (const auto& [body, expected] : cases) {
    server.enqueue(Reply::json(500, body));
    auto run = await(service.auth("user-42", given, "s3cret"));
    ASSERT_EQ(run.elements.size(), 1u) << body;
    const auto& result = run.elements[0];
    std::string outcome = "absent";
    if (!result.succeed()) {
      outcome = result.error()->text();
    } else if (auto pair = *result.success()) {
      outcome = pair->second.name + " " + pair->first.token.value_or("-");
    }
    EXPECT_EQ(outcome, expected) << body;
  }
  EXPECT_EQ(debug.text().find("SECRET"), std::string::npos) << debug.text();
}

// auth notes a failure below HTTP on the console and fails the stream.
TEST_F(UserServiceTest, AuthFailureBelowHttpIsNoted) {
  test::MainBundle closed({{"apiUrl", test::TestHttpServer().url("/api/v1/")}});
  UserService service(nullptr, &transport, kDevice);
  rx::rxtest::CapturedLines debug;
  auto auth = await(service.auth("u", Messenger{}, "k"));
  EXPECT_TRUE(auth.elements.empty());
  EXPECT_TRUE(auth.errorAs<MoyaError>());
  EXPECT_NE(debug.text().find("cannotConnectToHost"), std::string::npos) << debug.text();
}

}  // namespace
}  // namespace tavrel
