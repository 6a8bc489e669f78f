#include "tavrel/api/user_service.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "api/api_fixture.h"

namespace tavrel {
namespace {

using test::ApiFixture;
using test::await;
using test::decodeForm;
using test::Reply;
using Form = std::map<std::string, std::string>;

const std::string kUserJson =
    R"({"id":"u1","is_banned":false,"has_conversations":true,"conversations_unread":["c1"]})";
const std::string kSettingsJson =
    R"({"messenger_collapsed_color":"#ff0000","messenger_avatar":"a.png",
    "messenger_welcome_message":"Здравствуйте!","messenger_show_powered_by":true,
    "messenger_icon_vk_show":true,"messenger_icon_viber_show":false,
    "messenger_icon_facebook_show":true,"messenger_icon_telegram_show":false,
    "messenger_icon_vk_text":"vk","messenger_icon_viber_text":"viber",
    "messenger_icon_facebook_text":"fb","messenger_icon_telegram_text":"tg"})";
// What connect answers: the User and the Messenger share one document.
const std::string kConnect = R"({"meta":{"status":200},"data":{"auth_token":"tok","user":)" +
                             kUserJson + R"(,"app":{"id":"app7","name":"Shop","settings":)" +
                             kSettingsJson + "}}}";

const DeviceInfo kDevice{"Pixel", "Linux 6.1"};

TEST(UserSession, HexEncodesAndSignsWithHmacSha256) {
  struct Case {
    std::string bytes;
    HexEncodingOptions options;
    std::string hex;
  };
  const std::vector<Case> cases{
      {"", {}, ""},
      {std::string("\x0a\xff", 2), {}, "0aff"},
      {std::string("\x0a\xff", 2), HexEncodingOptions::upperCase, "0AFF"},
      {std::string("\x00\x7f\x80", 3), {}, "007f80"},
  };
  for (const auto& c : cases) EXPECT_EQ(hexEncodedString(c.bytes, c.options), c.hex);

  // Published values (RFC 4231 case 2, and the well-known "quick brown fox").
  EXPECT_EQ(hexEncodedString(hmacSHA256("key", "The quick brown fox jumps over the lazy dog")),
            "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8");
  EXPECT_EQ(hexEncodedString(hmacSHA256("Jefe", "what do ya want for nothing?")),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  // Empty key and message still sign.
  EXPECT_EQ(hexEncodedString(hmacSHA256("", "")),
            "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(UserSession, TargetsDescribeTheThreeRoutes) {
  auto presence = UserTarget::setPresence();
  EXPECT_EQ(presence.path(), "users/{user_id}/setpresence");
  EXPECT_EQ(UserTarget::auth("u", "h").path(), "auth/userappauth");
  EXPECT_EQ(UserTarget::connect({}).path(), "connect");
  const Task work = presence.task();
  const auto* task = work.getIf<Task::RequestCompositeParameters>();
  ASSERT_TRUE(task);
  EXPECT_EQ(task->bodyEncoding, ParameterEncoding(URLEncoding::httpBody()));
  EXPECT_TRUE(task->urlParameters.empty());
  EXPECT_EQ(presence.method(), Method::post);
}

class UserServiceTest : public ApiFixture {};

// connect: the form body of 11 fields, byte for byte, and the query the
// provider adds in each mode; one session id per object.
TEST_F(UserServiceTest, ConnectSendsTheDeviceWithOneSessionIdPerObject) {
  struct Case {
    std::shared_ptr<NetworkSettings> settings;
    std::string query;
  };
  const std::vector<Case> cases{{nullptr, "id_as_string=1"},
                                {appSettings(), "auth_token=appm-7-tok&id_as_string=1"},
                                {sdkSettings(), "auth_token=tok&id_as_string=1"}};
  std::set<std::string> sessionIds;
  for (const auto& c : cases) {
    UserService service(c.settings, &transport, kDevice);
    const std::string& id = service.sessionId();
    SCOPED_TRACE(c.query);
    EXPECT_EQ(id.size(), 32u);
    EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos) << id;
    EXPECT_EQ(id[12], '4') << "a version 4 UUID";
    sessionIds.insert(id);

    const std::size_t before = server.requests().size();
    for (int call = 0; call < 2; ++call) {
      server.enqueue(Reply::json(200, kConnect));
      auto run = await(service.connect("K&1", "1.2"));
      ASSERT_TRUE(run.completed);
    }
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), before + 2);
    for (std::size_t i = before; i < requests.size(); ++i) {
      const auto& r = requests[i];
      EXPECT_EQ(r.method, "POST");
      EXPECT_EQ(r.path, "/api/v1/connect");
      EXPECT_EQ(r.query, c.query);
      EXPECT_EQ(r.header("Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
      EXPECT_EQ(r.body,
                "api_key=K%261&browser=iOS%20sdk%201.2&device=Pixel&device_type=phone"
                "&include_auto_events=0&include_js_scripts=0&include_push_domain=0"
                "&os=iOS%20Linux%206.1&start_session=1&start_session_random_id=" +
                    id + "&token_type=usersdkios");
    }
  }
  EXPECT_EQ(sessionIds.size(), cases.size());
}

// connect reads User and Messenger from the body whatever the status.
TEST_F(UserServiceTest, ConnectDecodesTheBodyWithoutLookingAtTheStatus) {
  const std::string userError = "connect(withKey: withVersion:) Ошибка десериализации модели User";
  const std::string messengerError =
      "connect(withKey: withVersion:) Ошибка десериализации модели Messenger";
  const std::string noMessenger = R"({"meta":{"status":200},"data":{"auth_token":"tok","user":)" +
                                  kUserJson + R"(,"app":{"id":"app7"}}})";
  struct Case {
    std::string name;
    Reply reply;
    std::string error;  // "" for a success
  };
  const std::vector<Case> cases{
      {"200", Reply::json(200, kConnect), ""},
      {"500 with a user", Reply::json(500, kConnect), ""},
      {"no messenger settings", Reply::json(200, noMessenger), messengerError},
      {"refused key", Reply::json(403, R"({"meta":{"status":403,"error":"bad key"},"data":null})"),
       userError},
      {"html", Reply::text(502, "<html>Bad Gateway</html>"), userError},
      {"invalid UTF-8", Reply::json(200, "{\"data\":\"\xc3\x28\"}"), userError},
  };
  UserService service(nullptr, &transport, kDevice);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    server.enqueue(c.reply);
    auto run = await(service.connect("key", "1"));
    ASSERT_TRUE(run.completed);
    ASSERT_EQ(run.elements.size(), 1u);
    const auto& result = run.elements[0];
    if (c.error.empty()) {
      ASSERT_TRUE(result.succeed());
      EXPECT_EQ(result.success()->first.id, "u1");
      EXPECT_EQ(result.success()->first.token, "tok");
      EXPECT_EQ(result.success()->second.name, "Shop");
    } else {
      ASSERT_FALSE(result.succeed());
      EXPECT_EQ(result.error()->text(), c.error);
    }
  }
}

// auth: the HMAC of the user id under the key, and every shape of answer.
TEST_F(UserServiceTest, AuthSendsTheHashAndReadsTheNestedUser) {
  const std::string nested = R"({"meta":{"status":200},"data":{"auth_token":"old","user":)" +
                             kUserJson + R"(,"app":{"id":"app7"}}})";
  const std::string authError =
      "auth(withUserId: withUserAuthKey:) Ошибка десериализации модели User";
  auto quoted = [](const std::string& text) {
    std::string out = "\"";
    for (char ch : text) out += ch == '"' ? std::string("\\\"") : std::string(1, ch);
    return out + "\"";
  };
  struct Case {
    std::string name;
    std::string body;
    std::optional<std::string> token;  // of the user; nullopt for an absent pair
    std::string error;
  };
  const std::vector<Case> cases{
      {"object", R"({"auth_token":"new","user":)" + nested + "}", "new", ""},
      {"text", R"({"auth_token":"new","user":)" + quoted(nested) + "}", "new", ""},
      {"number token", R"({"auth_token":5,"user":)" + nested + "}", "5", ""},
      {"empty", "{}", std::nullopt, ""},
      {"no user", R"({"auth_token":"new"})", std::nullopt, ""},
      {"no token", R"({"user":)" + nested + "}", std::nullopt, ""},
      {"user without data", R"({"auth_token":"new","user":)" + kUserJson + "}", std::nullopt, ""},
      {"no JSON", "<html>", std::nullopt, authError},
      {"truncated JSON", R"({"auth_token":"new",)", std::nullopt, authError},
  };
  Messenger messenger;
  messenger.name = "Given";
  UserService service(nullptr, &transport, kDevice);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    server.enqueue(Reply::json(c.error.empty() ? 200 : 500, c.body));
    auto run = await(service.auth("user-42", messenger, "s3cret"));
    ASSERT_TRUE(run.completed);
    ASSERT_EQ(run.elements.size(), 1u);
    const auto& result = run.elements[0];
    if (!c.error.empty()) {
      ASSERT_FALSE(result.succeed());
      EXPECT_EQ(result.error()->text(), c.error);
      continue;
    }
    ASSERT_TRUE(result.succeed());
    auto pair = *result.success();
    ASSERT_EQ(pair.has_value(), c.token.has_value());
    if (!pair) continue;
    EXPECT_EQ(pair->first.id, "u1");
    EXPECT_EQ(pair->first.token, c.token);
    EXPECT_EQ(pair->second.name, "Given");
  }
  auto r = server.requests().front();
  EXPECT_EQ(r.method, "POST");
  EXPECT_EQ(r.path, "/api/v1/auth/userappauth");
  EXPECT_EQ(r.query, "id_as_string=1");
  EXPECT_EQ(decodeForm(r.body),
            (Form{{"hash", hexEncodedString(hmacSHA256("s3cret", "user-42"))}, {"user_id", "user-42"}}));
}

// setPresence resolves the user id from the settings; without them the
// placeholder goes out as it is.
TEST_F(UserServiceTest, SetPresenceMarksTheVisitorOnline) {
  struct Case {
    std::shared_ptr<NetworkSettings> settings;
    std::string path;
    std::string query;
  };
  const std::vector<Case> cases{
      {sdkSettings(), "/api/v1/users/9/setpresence", "auth_token=tok&id_as_string=1"},
      {appSettings(), "/api/v1/users/9/setpresence", "auth_token=appm-7-tok&id_as_string=1"},
      {nullptr, "/api/v1/users/%7Buser_id%7D/setpresence", "id_as_string=1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    UserService service(c.settings, &transport, kDevice);
    server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":null})"));
    auto run = await(service.setPresence());
    ASSERT_EQ(run.elements.size(), 1u);
    EXPECT_TRUE(run.elements[0].succeed());
    auto r = server.requests().back();
    EXPECT_EQ(r.method, "POST");
    EXPECT_EQ(r.path, c.path);
    EXPECT_EQ(r.query, c.query);
    EXPECT_EQ(r.body, "presence=online");
  }
}

// Below HTTP, connect and auth fail the stream; auth also says why.
TEST_F(UserServiceTest, FailuresBelowHttpFailTheStream) {
  std::string closed;
  {
    test::TestHttpServer gone;
    closed = gone.url("/api/v1/");
  }
  test::MainBundle bundle({{"apiUrl", closed}});
  UserService service(nullptr, &transport, kDevice);

  auto connect = await(service.connect("k", "1"));
  EXPECT_TRUE(connect.elements.empty());
  auto error = connect.errorAs<MoyaError>();
  ASSERT_TRUE(error && error->urlError());
  EXPECT_EQ(error->urlError()->code(), URLError::Code::cannotConnectToHost);

  test::DebugCapture debug;
  auto auth = await(service.auth("u", Messenger{}, "k"));
  EXPECT_TRUE(auth.elements.empty());
  ASSERT_TRUE(auth.errorAs<MoyaError>());
  EXPECT_NE(debug.text().find("cannotConnectToHost"), std::string::npos) << debug.text();
}

// The verbose log shows requests and answers, but never a token or a hash.
TEST_F(UserServiceTest, TheLogNeverShowsTokensOrHashes) {
  auto settings = appSettings();
  settings->token = "tok-SECRET";
  UserService service(settings, &transport, kDevice);
  const std::string hash = hexEncodedString(hmacSHA256("s3cret", "user-42"));
  const std::string nested = R"({"meta":{"status":200},"data":{"auth_token":"old-SECRET","user":)" +
                             kUserJson + R"(,"app":{"id":"app7"}}})";

  test::DebugCapture debug;
  server.enqueue(Reply::json(200, R"({"auth_token":"new-SECRET","user":)" + nested + "}"));
  auto auth = await(service.auth("user-42", Messenger{}, "s3cret"));
  ASSERT_EQ(auth.elements.size(), 1u);
  ASSERT_TRUE(auth.elements[0].success().value());
  EXPECT_EQ(auth.elements[0].success().value()->first.token, "new-SECRET");
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{"auth_token":"x-SECRET"}})"));
  ASSERT_TRUE(await(service.setPresence()).completed);

  const std::string log = debug.text();
  EXPECT_NE(log.find("auth/userappauth"), std::string::npos) << log;
  EXPECT_NE(log.find("presence=online"), std::string::npos) << "verbose: bodies are logged";
  EXPECT_NE(log.find("***"), std::string::npos);
  EXPECT_EQ(log.find("SECRET"), std::string::npos) << log;
  EXPECT_EQ(log.find(hash), std::string::npos) << log;
}

}  // namespace
}  // namespace tavrel
