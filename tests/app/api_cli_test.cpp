// The API subcommands, run in memory against a loopback server that a main
// bundle (named by TAVREL_MAIN_BUNDLE) points at, with a state directory of
// the test's own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "app/run_cli.h"
#include "support/test_http_server.h"
#include "tavrel/api/user_service.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;
using Form = std::map<std::string, std::string>;
using test::decodeForm;
using test::Reply;

const std::string kMeta =
    R"({"status":200,"error":null,"error_message":null,"next_after":null,"next_before_position":null})";
const std::string kSettings =
    R"({"messenger_collapsed_color":"#f00","messenger_avatar":"a.png",)"
    R"("messenger_welcome_message":"Hi","messenger_show_powered_by":true,)"
    R"("messenger_icon_vk_show":true,"messenger_icon_viber_show":false,)"
    R"("messenger_icon_facebook_show":true,"messenger_icon_telegram_show":false,)"
    R"("messenger_icon_vk_text":"vk","messenger_icon_viber_text":"viber",)"
    R"("messenger_icon_facebook_text":"fb","messenger_icon_telegram_text":"tg"})";
// A connect answer for the user u1 of the application app7 with the token t1.
const std::string kConnectData =
    R"({"auth_token":"t1","user":{"id":"u1","has_conversations":false,"is_banned":false,)"
    R"("conversations_unread":[]},"app":{"id":"app7","name":"Shop","settings":)" +
    kSettings + "}}";

class ApiCli : public ::testing::Test {
 protected:
  ApiCli() {
    static std::atomic<int> counter{0};
    root_ = fs::temp_directory_path() /
            ("tavrel_cli_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
    state = root_ / "state";
    pointAt(server.url("/api/v1/"));
  }
  ~ApiCli() override {
    ::unsetenv("TAVREL_MAIN_BUNDLE");
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // A new main bundle whose "apiUrl" is url.
  void pointAt(const std::string& url) {
    const fs::path dir = root_ / ("bundle" + std::to_string(bundles_++));
    fs::create_directories(dir);
    std::ofstream(dir / "Info.plist")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
           "<key>apiUrl</key><string>"
        << url << "</string></dict></plist>\n";
    ::setenv("TAVREL_MAIN_BUNDLE", dir.c_str(), 1);
  }

  // Runs `tavrel args...` with `--state <state>` after the command's words.
  CliRun run(std::vector<std::string> args) {
    const std::size_t words =
        args.size() > 1 && args[0] == "kb" ? 2 : std::min<std::size_t>(1, args.size());
    args.insert(args.begin() + static_cast<std::ptrdiff_t>(words), {"--state", state.string()});
    return runCli(args);
  }

  void saveSession(const std::string& json) {
    fs::create_directories(state);
    std::ofstream(state / "session.json") << json;
  }
  std::string savedSession() const {
    std::ifstream in(state / "session.json");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  test::RecordedRequest lastRequest() const {
    auto all = server.requests();
    return all.empty() ? test::RecordedRequest{} : all.back();
  }

  test::TestHttpServer server;
  fs::path state;

 private:
  fs::path root_;
  int bundles_ = 0;
};

TEST_F(ApiCli, ConnectAndAuthSaveTheSessionThatLaterCallsUse) {
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":)" + kConnectData + "}"));
  auto connect = run({"connect", "--key", "k 1", "--version", "2.0"});
  ASSERT_EQ(connect.status, 0) << connect.err;
  EXPECT_EQ(connect.out.rfind(R"({"user":{"data":{"auth_token":"t1","user":{"id":"u1",)", 0), 0u)
      << connect.out;
  EXPECT_NE(connect.out.find(R"(}}},"messenger":{"data":{)"), std::string::npos) << connect.out;
  auto request = lastRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/api/v1/connect");
  EXPECT_EQ(request.query, "id_as_string=1");  // no credentials before connect
  auto form = decodeForm(request.body);
  EXPECT_EQ(form["api_key"], "k 1");
  EXPECT_EQ(form["browser"], "iOS sdk 2.0");
  EXPECT_EQ(form["token_type"], "usersdkios");
  EXPECT_EQ(form["start_session_random_id"].size(), 32u);
  struct stat info {};
  ASSERT_EQ(::stat((state / "session.json").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);  // the token is a secret
  EXPECT_EQ(savedSession().rfind(R"({"token":"t1","app_id":"app7","user_id":"u1","messenger":)", 0),
            0u);

  // The saved session in both modes, and the options over it.
  const std::string page = R"({"meta":{"status":200},"data":[]})";
  struct Case {
    std::vector<std::string> args;
    std::string path, token;
  } cases[] = {
      {{"conversations"}, "/api/v1/users/u1/conversations", "t1"},
      {{"conversations", "--mode", "app"}, "/api/v1/apps/app7/conversations", "appm-app7-t1"},
      {{"conversations", "--token=t2", "--user-id", "u2"}, "/api/v1/users/u2/conversations", "t2"},
      {{"conversations", "--mode", "app", "--app-id", "a3"}, "/api/v1/apps/a3/conversations",
       "appm-a3-t1"},
  };
  for (const auto& c : cases) {
    server.enqueue(Reply::json(200, page));
    auto list = run(c.args);
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, R"({"meta":)" + kMeta + R"(,"data":[]})" + "\n");
    EXPECT_EQ(lastRequest().path, c.path);
    EXPECT_EQ(decodeForm(lastRequest().query)["auth_token"], c.token);
  }

  // auth signs the id with the key and keeps the saved messenger.
  const std::string nested = R"({\"data\":{\"auth_token\":\"old\",\"user\":{\"id\":\"u5\",)"
                             R"(\"has_conversations\":true,\"is_banned\":false,)"
                             R"(\"conversations_unread\":[]},\"app\":{\"id\":\"app7\"}}})";
  server.enqueue(Reply::json(200, R"({"auth_token":"t5","user":")" + nested + "\"}"));
  auto auth = run({"auth", "--user-id", "u5", "--user-auth-key", "secret"});
  ASSERT_EQ(auth.status, 0) << auth.err;
  EXPECT_EQ(auth.out.rfind(R"({"user":{"data":{"auth_token":"t5","user":{"id":"u5",)", 0), 0u);
  form = decodeForm(lastRequest().body);
  EXPECT_EQ(form["user_id"], "u5");
  EXPECT_EQ(form["hash"], hexEncodedString(hmacSHA256("secret", "u5")));
  EXPECT_EQ(lastRequest().query, "id_as_string=1");
  EXPECT_EQ(savedSession().rfind(
                R"({"token":"t5","app_id":"app7","user_id":"u5","messenger":{"data":{)", 0),
            0u);
  EXPECT_NE(savedSession().find(R"("name":"Shop")"), std::string::npos);

  // An answer that names no user is a success that changes nothing.
  server.enqueue(Reply::json(200, "{}"));
  const std::string before = savedSession();
  auth = run({"auth", "--user-id", "u6", "--user-auth-key", "secret"});
  EXPECT_EQ(auth.status, 0);
  EXPECT_EQ(auth.out, "{\"user\":null,\"messenger\":null}\n");
  EXPECT_NE(auth.err.find("session is unchanged"), std::string::npos);
  EXPECT_EQ(savedSession(), before);
}

TEST_F(ApiCli, EachSubcommandSendsItsRoute) {
  saveSession(R"({"token":"tok","app_id":"7","user_id":"9","messenger":null})");
  const Form auth{{"auth_token", "tok"}, {"id_as_string", "1"}};
  auto with = [](Form base, const Form& more) {
    base.insert(more.begin(), more.end());
    return base;
  };
  struct Case {
    std::vector<std::string> args;
    std::string data;  // "data" of the answer
    std::string method, path;
    Form query, body;
  } cases[] = {
      {{"presence"}, "{}", "POST", "/api/v1/users/9/setpresence", auth, {{"presence", "online"}}},
      {{"conversations", "--after", "a b"}, "[]", "GET", "/api/v1/users/9/conversations",
       with(auth, {{"after", "a%20b"}, {"paginate_including", "0"}, {"paginate_direction", "before"}}),
       {}},
      {{"start", "--", "-hi"}, R"({"id":"5"})", "POST", "/api/v1/users/9/startconversation", {},
       with(auth, {{"body", "-hi"}})},
      {{"reply", "12", "x", "--random-id=1", "--type", "note", "--mode", "app"}, R"({"id":"6"})",
       "POST", "/api/v1/conversations/12/reply", {},
       {{"auth_token", "appm-7-tok"}, {"id_as_string", "1"}, {"body", "x"}, {"from_user", "0"},
        {"random_id", "1"}, {"type", "note"}}},
      {{"mark-read", "12"}, "null", "POST", "/api/v1/conversations/12/markread", auth, {}},
      {{"messages", "12", "--position", "p1"}, "[]", "GET", "/api/v1/conversations/12/parts",
       with(auth, {{"after", "p1"}, {"paginate_include", "false"}, {"paginate_direction", "before"}}),
       {}},
      {{"update-meta", "m1", R"({"a":1})"}, "{}", "POST", "/api/v1/conversationparts/m1/meta_data",
       auth, {{"meta_data", R"({"a":1})"}}},
      {{"event", "buy", R"({"sum":1})"}, "{}", "POST", "/api/v1/users/9/events",
       with(auth, {{"user_id", "9"}}),
       {{"user_id", "{user_id}"}, {"event", "buy"}, {"params", R"({"sum":1})"}}},
      {{"props", "set_once:plan=pro", "add:n:x="}, "{}", "POST", "/api/v1/users/9/props",
       with(auth, {{"user_id", "9"}}),
       {{"operations",
         R"([{"op":"set_once","key":"plan","value":"pro"},{"op":"add","key":"n:x","value":""}])"}}},
      {{"kb", "categories"}, "[]", "GET", "/api/v1/knowledgebase/7/categories",
       with(auth, {{"include_articles_counter", "1"}}), {}},
      {{"kb", "articles", "c1"}, "[]", "GET", "/api/v1/knowledgebase/7/articles",
       with(auth, {{"category", "c1"}}), {}},
      {{"kb", "article", "a1"}, R"({"id":"a1","name":"n"})", "GET",
       "/api/v1/knowledgebase/7/articles/a1", auth, {}},
      {{"kb", "search", "x y"}, "[]", "GET", "/api/v1/knowledgebase/7/search",
       with(auth, {{"pattern", "x y"}, {"include_quote", "1"}, {"include_category", "1"}}), {}},
  };
  for (const auto& c : cases) {
    const std::string name = c.args[0] + (c.args.size() > 1 ? " " + c.args[1] : "");
    server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":)" + c.data + "}"));
    const std::size_t before = server.requests().size();
    auto result = run(c.args);
    EXPECT_EQ(result.status, 0) << name << ": " << result.err << result.out;
    EXPECT_EQ(result.err, "") << name;
    EXPECT_EQ(result.out.rfind(R"({"meta":)" + kMeta + R"(,"data":)", 0), 0u) << name;
    ASSERT_EQ(server.requests().size(), before + 1) << name;
    const auto request = lastRequest();
    EXPECT_EQ(request.method, c.method) << name;
    EXPECT_EQ(request.path, c.path) << name;
    EXPECT_EQ(decodeForm(request.query), c.query) << name;
    EXPECT_EQ(decodeForm(request.body), c.body) << name;
  }
  // The cursor is encoded twice on the wire.
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":[]})"));
  run({"conversations", "--after", "a b"});
  EXPECT_NE(lastRequest().query.find("after=a%2520b"), std::string::npos) << lastRequest().query;
}

TEST_F(ApiCli, ErrorsAndFailuresHaveTheirOutputAndStatus) {
  struct Case {
    std::vector<std::string> args;
    Reply reply;
    int status;
    std::string out, err;  // out exactly; err as a part of the one line
  } cases[] = {
      {{"start", "x"}, Reply::json(403, R"({"meta":{"status":403,"error":"forbidden"},"data":null})"),
       1, R"({"error":{"kind":"custom","text":"Ошибка (status: 403) forbidden: nil"}})", ""},
      {{"conversation", "12"}, Reply::json(200, R"({"meta":{"status":500},"data":{}})"), 1,
       R"({"error":{"kind":"custom","text":"ошибка десериализации модели Response<Dialog>"}})", ""},
      {{"presence"}, Reply::text(502, "<html><body>Bad gateway</body></html>"), 2, "",
       "tavrel presence: the error answer is no JSON envelope"},
      {{"messages", "1"}, Reply::truncated(R"({"meta":{"status":200},"da)", 100), 2, "",
       "networkConnectionLost"},
      {{"conversations"}, Reply::huge(50u * 1024 * 1024), 2, "", "dataLengthExceedsMaximum"},
      {{"event", "e", "p", "--timeout", "0.3"}, Reply::never(), 2, "", "timedOut"},
  };
  for (const auto& c : cases) {
    server.enqueue(c.reply);
    auto result = run(c.args);
    EXPECT_EQ(result.status, c.status) << c.args[0] << ": " << result.err;
    EXPECT_EQ(result.out, c.out.empty() ? "" : c.out + "\n") << c.args[0];
    if (c.err.empty()) {
      EXPECT_EQ(result.err, "") << c.args[0];
    } else {
      EXPECT_NE(result.err.find(c.err), std::string::npos) << c.args[0] << ": " << result.err;
      EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
  }

  // Nothing listens on the port.
  std::string closed;
  {
    test::TestHttpServer gone;
    closed = gone.url("/api/v1/");
  }
  pointAt(closed);
  auto result = run({"kb", "categories"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("tavrel kb categories: cannotConnectToHost"), std::string::npos)
      << result.err;
}

TEST_F(ApiCli, WithoutCredentialsAndVerboseLog) {
  // No session and no options: no settings, so the placeholders stay.
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{}})"));
  auto quiet = run({"presence"});
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(lastRequest().path, "/api/v1/users/%7Buser_id%7D/setpresence");
  EXPECT_EQ(lastRequest().query, "id_as_string=1");

  // --verbose: the request log on standard error, the token masked.
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":{}})"));
  auto verbose = run({"presence", "--verbose", "--token", "sekret", "--user-id", "9"});
  EXPECT_EQ(verbose.status, 0);
  EXPECT_EQ(verbose.out, R"({"meta":)" + kMeta + R"(,"data":{}})" + "\n");
  EXPECT_NE(verbose.err.find("Moya_Logger"), std::string::npos);
  EXPECT_NE(verbose.err.find("users/9/setpresence"), std::string::npos);
  EXPECT_EQ(verbose.err.find("sekret"), std::string::npos) << verbose.err;
  EXPECT_EQ(decodeForm(lastRequest().query)["auth_token"], "sekret");

  // Without --state: $XDG_STATE_HOME/tavrel.
  server.enqueue(Reply::json(200, R"({"meta":{"status":200},"data":)" + kConnectData + "}"));
  ::setenv("XDG_STATE_HOME", state.c_str(), 1);
  const auto connect = runCli({"connect", "--key", "k"});
  EXPECT_EQ(connect.status, 0) << connect.err;
  ::unsetenv("XDG_STATE_HOME");
  EXPECT_TRUE(fs::exists(state / "tavrel" / "session.json"));
}

TEST_F(ApiCli, BadCommandLinesAndSessionsAreRefusedBeforeSending) {
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"conversations", "--frob"}, "unknown option '--frob'"},
      {{"conversations", "extra"}, "unexpected argument 'extra'"},
      {{"conversation"}, "missing arguments"},
      {{"reply", "1", "x"}, "missing --random-id"},
      {{"reply", "1", "x", "--random-id", "-3"}, "--random-id takes a whole number"},
      {{"messages", "1", "--position"}, "option '--position' needs a value"},
      {{"presence", "--mode", "web"}, "--mode is app or sdk"},
      {{"presence", "--timeout", "0"}, "--timeout takes a number of seconds"},
      {{"props", "set:k=v"}, "is no OP:KEY=VALUE"},
      {{"props", "add:k"}, "is no OP:KEY=VALUE"},
      {{"connect"}, "missing --key"},
      {{"auth", "--user-id", "u", "--user-auth-key", "k"}, "run `tavrel connect` first"},
      {{"kb"}, "usage: tavrel kb"},
      {{"kb", "faq"}, "unknown part 'faq'"},
  };
  for (const auto& c : cases) {
    auto result = run(c.args);
    EXPECT_EQ(result.status, 2) << c.err;
    EXPECT_EQ(result.out, "") << c.err;
    EXPECT_NE(result.err.find(c.err), std::string::npos) << c.err << ": " << result.err;
  }
  EXPECT_TRUE(server.requests().empty());

  saveSession(R"({"token":"t","app_id":1})");
  auto corrupt = run({"presence"});
  EXPECT_EQ(corrupt.status, 2);
  EXPECT_NE(corrupt.err.find("does not decode: typeMismatch at app_id"), std::string::npos)
      << corrupt.err;

  for (std::vector<std::string> args : {std::vector<std::string>{"connect"}, {"reply"}, {"props"},
                                        {"kb", "search"}}) {
    args.push_back("--help");
    auto help = run(args);
    EXPECT_EQ(help.status, 0) << args[0];
    EXPECT_EQ(help.out.rfind("usage: tavrel " + args[0], 0), 0u) << help.out;
    EXPECT_NE(help.out.find("--mode app|sdk"), std::string::npos) << args[0];
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST(DemoCommand, TourRunsOfflineWithARealRoundTrip) {
  const auto demo = runCli({"demo"});
  EXPECT_EQ(demo.status, 0);
  const std::string& text = demo.out;
  for (const char* expected :
       {"message 314 (random id 42) in conversation 12", "before position 1700000000.5",
        "Ошибка (status: 403) forbidden: nil", "escaped again: Где мой заказ? :package: :thumbsup:",
        "the server read: POST /api/v1/conversations/12/reply HTTP/1.1", "auth_token=***",
        "from_user=1", "id of the new message: 2718"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
  }
  EXPECT_EQ(text.find("secret-token"), std::string::npos);
  EXPECT_EQ(demo.err, "");
}

}  // namespace
}  // namespace tavrel::cli
