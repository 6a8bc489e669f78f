#include "tavrel/api/user_service.h"

#include <gtest/gtest.h>

#include <set>

#include "api/api_fixture.h"

namespace tavrel {
namespace {

using test::await;
using test::Reply;

const std::string kUser =
    R"({"id":"u1","is_banned":false,"has_conversations":true,"conversations_unread":[]})";
const std::string kApp = R"({"id":"app7","name":"Shop","settings":{
  "messenger_collapsed_color":"#f00","messenger_avatar":"a.png","messenger_welcome_message":"Hi",
  "messenger_show_powered_by":true,"messenger_icon_vk_show":true,"messenger_icon_viber_show":false,
  "messenger_icon_facebook_show":true,"messenger_icon_telegram_show":false,
  "messenger_icon_vk_text":"vk","messenger_icon_viber_text":"vb","messenger_icon_facebook_text":"fb",
  "messenger_icon_telegram_text":"tg"}})";
// A connect answer: User and Messenger read the same document.
std::string document(const std::string& token, const std::string& app = kApp) {
  return R"({"meta":{"status":200},"data":{"auth_token":")" + token + R"(","user":)" + kUser +
         R"(,"app":)" + app + "}}";
}
const DeviceInfo kDevice{"Pixel", "Linux 6.1"};

TEST(UserSession, HexEncodingAndHmacSha256) {
  EXPECT_EQ(hexEncodedString("\x0a\xff"), "0aff");
  EXPECT_EQ(hexEncodedString(std::string("\x00\x7f", 2), HexEncodingOptions::upperCase), "007F");
  EXPECT_EQ(hexEncodedString(hmacSHA256("key", "The quick brown fox jumps over the lazy dog")),
            "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8");
}

class UserServiceTest : public test::ApiFixture {};

// Every route byte for byte, in both modes and without settings; one
// session id per object.
TEST_F(UserServiceTest, SendsTheThreeRoutes) {
  const std::vector<std::pair<std::shared_ptr<NetworkSettings>, std::string>> modes{
      {nullptr, "id_as_string=1"},
      {appSettings(), "auth_token=appm-7-tok&id_as_string=1"}};
  std::set<std::string> sessionIds;
  for (const auto& [settings, query] : modes) {
    SCOPED_TRACE(query);
    UserService service(settings, &transport, kDevice);
    const std::string& id = service.sessionId();
    EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos) << id;
    EXPECT_EQ(id.size(), 32u);
    sessionIds.insert(id);
    const std::size_t first = server.requests().size();
    for (int i = 0; i < 2; ++i) {
      server.enqueue(Reply::json(200, document("tok")));
      await(service.connect("K&1", "1.2"));
    }
    server.enqueue(Reply::json(200, "{}"));
    await(service.auth("user-42", Messenger{}, "s3cret"));
    server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":null})"));
    EXPECT_TRUE(await(service.setPresence()).elements.at(0).succeed());

    const std::string connect =
        "api_key=K%261&browser=iOS%20sdk%201.2&device=Pixel&device_type=phone"
        "&include_auto_events=0&include_js_scripts=0&include_push_domain=0"
        "&os=iOS%20Linux%206.1&start_session=1&start_session_random_id=" +
        id + "&token_type=usersdkios";
    const std::vector<std::pair<std::string, std::string>> expected{
        {"/api/v1/connect", connect},
        {"/api/v1/connect", connect},
        {"/api/v1/auth/userappauth",
         "hash=" + hexEncodedString(hmacSHA256("s3cret", "user-42")) + "&user_id=user-42"},
        {settings ? "/api/v1/users/9/setpresence" : "/api/v1/users/%7Buser_id%7D/setpresence",
         "presence=online"}};
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), first + expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const auto& r = requests[first + i];
      EXPECT_EQ(r.method, "POST");
      EXPECT_EQ(r.path, expected[i].first);
      EXPECT_EQ(r.query, query);
      EXPECT_EQ(r.body, expected[i].second);
      EXPECT_EQ(r.header("Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
    }
  }
  EXPECT_EQ(sessionIds.size(), modes.size());
}

// connect reads both records from the body whatever the status.
TEST_F(UserServiceTest, ConnectDecodesTheBodyWhateverTheStatus) {
  const std::string prefix = "connect(withKey: withVersion:) Ошибка десериализации модели ";
  const std::vector<std::pair<Reply, std::string>> cases{
      {Reply::json(500, document("tok")), ""},
      {Reply::json(200, document("tok", R"({"id":"app7"})")), prefix + "Messenger"},
      {Reply::json(403, R"({"meta":{"status":403,"error":"bad key"},"data":null})"),
       prefix + "User"},
      {Reply::json(200, "{\"data\":\"\xc3\x28\"}"), prefix + "User"},
  };
  UserService service(nullptr, &transport, kDevice);
  for (const auto& [reply, error] : cases) {
    server.enqueue(reply);
    auto run = await(service.connect("key", "1"));
    ASSERT_EQ(run.elements.size(), 1u) << reply.body;
    const auto& result = run.elements[0];
    EXPECT_EQ(result.succeed() ? "" : result.error()->text(), error);
    if (result.succeed()) {
      EXPECT_EQ(result.success()->second.name, "Shop");
    }
  }
}

// auth: a user only for a well-formed nested document, with the top-level token.
TEST_F(UserServiceTest, AuthReadsTheNestedUser) {
  const std::string nested = document("old");
  std::string quoted = "\"";
  for (char ch : nested) {
    if (ch != '\n') quoted += ch == '"' ? std::string("\\\"") : std::string(1, ch);
  }
  quoted += "\"";
  const std::string error = "auth(withUserId: withUserAuthKey:) Ошибка десериализации модели User";
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"({"auth_token":"new","user":)" + nested + "}", "Given new"},
      {R"({"auth_token":"new","user":)" + quoted + "}", "Given new"},
      {R"({"auth_token":5,"user":)" + nested + "}", "Given 5"},
      {"{}", "absent"},
      {R"({"auth_token":"new"})", "absent"},
      {R"({"user":)" + nested + "}", "absent"},
      {R"({"auth_token":"new","user":)" + kUser + "}", "absent"},
      {R"({"auth_token":"new",)", error},
  };
  Messenger given;
  given.name = "Given";
  UserService service(nullptr, &transport, kDevice);
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
}

// auth notes a failure below HTTP on the console and fails the stream.
TEST_F(UserServiceTest, AuthFailureBelowHttpIsNoted) {
  test::MainBundle closed({{"apiUrl", test::TestHttpServer().url("/api/v1/")}});
  UserService service(nullptr, &transport, kDevice);
  test::DebugCapture debug;
  auto auth = await(service.auth("u", Messenger{}, "k"));
  EXPECT_TRUE(auth.elements.empty());
  EXPECT_TRUE(auth.errorAs<MoyaError>());
  EXPECT_NE(debug.text().find("cannotConnectToHost"), std::string::npos) << debug.text();
}

// The verbose log shows requests and bodies, never a token or a hash.
TEST_F(UserServiceTest, TheLogNeverShowsTokensOrHashes) {
  auto settings = appSettings();
  settings->token = "tok-SECRET";
  UserService service(settings, &transport, kDevice);
  test::DebugCapture debug;
  server.enqueue(
      Reply::json(200, R"({"auth_token":"new-SECRET","user":)" + document("old-SECRET") + "}"));
  auto auth = await(service.auth("user-42", Messenger{}, "s3cret"));
  EXPECT_EQ((*auth.elements.at(0).success())->first.token, "new-SECRET");
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{"auth_token":"x-SECRET"}})"));
  await(service.setPresence());

  const std::string log = debug.text();
  EXPECT_NE(log.find("presence=online"), std::string::npos) << "bodies are logged";
  EXPECT_EQ(log.find("SECRET"), std::string::npos) << log;
  EXPECT_EQ(log.find(hexEncodedString(hmacSHA256("s3cret", "user-42"))), std::string::npos) << log;
}

}  // namespace
}  // namespace tavrel
