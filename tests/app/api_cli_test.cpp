// The API subcommands, run in memory against a loopback server that a main
// bundle (named by TAVREL_MAIN_BUNDLE) points at, with a state directory of
// the test's own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "app/run_cli.h"
#include "model/record_json.h"
#include "support/test_http_server.h"
#include "tavrel/api/user_service.h"
#include "tavrel/core/info_plist.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;
using Form = std::map<std::string, std::string>;
using test::decodeForm;
using test::Reply;

const std::string kMeta =
    R"({"status":200,"error":null,"error_message":null,"next_after":null,"next_before_position":null})";

class ApiCli : public ::testing::Test {
 protected:
  ApiCli() {
    pointAt(server.url("/api/v1/"));
    ::unsetenv("TAVREL_TOKEN");  // the caller's own token is no part of these runs
  }

  // A new main bundle whose "apiUrl" is url; none without one.
  void pointAt(const std::string& url) {
    const std::string entry = url.empty() ? "" : "<key>apiUrl</key><string>" + url + "</string>";
    folder_.bundle("TAVREL_MAIN_BUNDLE", "bundle" + std::to_string(bundles_++), entry);
  }

  // Runs `tavrel args...` with `--state <state>` after the command's words.
  CliRun run(std::vector<std::string> args) {
    const std::size_t words =
        args.size() > 1 && args[0] == "kb" ? 2 : std::min<std::size_t>(1, args.size());
    args.insert(args.begin() + static_cast<std::ptrdiff_t>(words), {"--state", state.string()});
    return runCli(args);
  }

  // A session file as connect leaves it: private to its owner.
  void saveSession(const std::string& json) {
    fs::create_directories(state);
    fs::permissions(state, fs::perms::owner_all);
    std::ofstream(state / "session.json") << json;
    fs::permissions(state / "session.json", fs::perms::owner_read | fs::perms::owner_write);
  }
  std::string savedSession() const {
    std::ifstream in(state / "session.json");
    return {std::istreambuf_iterator<char>(in), {}};
  }

  test::RecordedRequest lastRequest() const {
    auto all = server.requests();
    return all.empty() ? test::RecordedRequest{} : all.back();
  }

  TestFolder folder_;
  test::TestHttpServer server;
  fs::path state = folder_.path / "state";

 private:
  int bundles_ = 0;
};

TEST_F(ApiCli, ConnectAndAuthSaveTheSessionThatLaterCallsUse) {
  server.enqueue(Reply::json(200, testing::kConnect));
  auto connect = run({"connect", "--key", "k 1", "--app-version", "2.0"});
  ASSERT_EQ(connect.status, 0) << connect.err;
  EXPECT_EQ(connect.out.rfind(R"({"user":{"data":{"auth_token":"tok","user":{"id":"u1",)", 0), 0u)
      << connect.out;
  EXPECT_NE(connect.out.find(R"(}}},"messenger":{"data":{)"), std::string::npos) << connect.out;
  auto form = decodeForm(lastRequest().body);
  EXPECT_EQ(form["api_key"], "k 1");
  EXPECT_EQ(form["browser"], "iOS sdk 2.0");
  struct stat file {}, directory {};  // the token is a secret
  ASSERT_EQ(::stat((state / "session.json").c_str(), &file), 0);
  ASSERT_EQ(::stat(state.c_str(), &directory), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600u);
  EXPECT_EQ(directory.st_mode & 0777, 0700u);
  EXPECT_EQ(savedSession().rfind(R"({"token":"tok","app_id":"app7","user_id":"u1","messenger":)", 0), 0u);

  // The saved session in both modes, with TAVREL_TOKEN, --token-file (its
  // first line) and the options over it.
  const std::string page = R"({"meta":{"status":200},"data":[]})";
  const fs::path tokenFile = state.parent_path() / "token";
  std::ofstream(tokenFile) << "t4\r\nsecond line\n";
  ::setenv("TAVREL_TOKEN", "t3", 1);
  struct Case {
    std::vector<std::string> args;
    std::string path, token;
  } cases[] = {
      {{"conversations"}, "/api/v1/users/u1/conversations", "t3"},
      {{"conversations", "--mode", "app"}, "/api/v1/apps/app7/conversations", "appm-app7-t3"},
      {{"conversations", "--token=t2", "--user-id", "u2"}, "/api/v1/users/u2/conversations", "t2"},
      {{"conversations", "--mode", "app", "--app-id", "a3", "--token-file", tokenFile.string()},
       "/api/v1/apps/a3/conversations", "appm-a3-t4"},
  };
  for (const auto& c : cases) {
    server.enqueue(Reply::json(200, page));
    auto list = run(c.args);
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, R"({"meta":)" + kMeta + R"(,"data":[]})" + "\n");
    EXPECT_EQ(lastRequest().path, c.path);
    EXPECT_EQ(decodeForm(lastRequest().query)["auth_token"], c.token);
  }
  ::unsetenv("TAVREL_TOKEN");

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

// Each subcommand's options reach its request; the requests themselves, byte
// for byte, are the api tests' own.
TEST_F(ApiCli, EachSubcommandSendsItsRoute) {
  saveSession(R"({"token":"tok","app_id":"7","user_id":"9","messenger":null})");
  struct Case {
    std::vector<std::string> args;
    std::string data;  // "data" of the answer
    std::string route;  // "METHOD path"
    Form sent;          // some of the query and body parameters
  } cases[] = {
      {{"presence"}, "{}", "POST /api/v1/users/9/setpresence", {{"auth_token", "tok"}}},
      {{"conversations", "--after", "a b"}, "[]", "GET /api/v1/users/9/conversations",
       {{"after", "a%20b"}}},
      {{"start", "--", "-hi"}, R"({"id":"5"})", "POST /api/v1/users/9/startconversation",
       {{"body", "-hi"}}},
      {{"reply", "12", "x", "--random-id=1", "--type", "note", "--mode", "app"}, R"({"id":"6"})",
       "POST /api/v1/conversations/12/reply",
       {{"auth_token", "appm-7-tok"}, {"body", "x"}, {"random_id", "1"}, {"type", "note"}}},
      {{"mark-read", "12"}, "null", "POST /api/v1/conversations/12/markread", {}},
      {{"messages", "12", "--position", "p1"}, "[]", "GET /api/v1/conversations/12/parts",
       {{"after", "p1"}}},
      {{"update-meta", "m1", R"({"a":1})"}, "{}", "POST /api/v1/conversationparts/m1/meta_data",
       {{"meta_data", R"({"a":1})"}}},
      {{"event", "buy", R"({"sum":1})"}, "{}", "POST /api/v1/users/9/events",
       {{"event", "buy"}, {"params", R"({"sum":1})"}}},
      {{"props", "set_once:plan=pro", "add:n:x="}, "{}", "POST /api/v1/users/9/props",
       {{"operations",
         R"([{"op":"set_once","key":"plan","value":"pro"},{"op":"add","key":"n:x","value":""}])"}}},
      {{"kb", "categories"}, "[]", "GET /api/v1/knowledgebase/7/categories",
       {{"include_articles_counter", "1"}}},
      {{"kb", "articles", "c1"}, "[]", "GET /api/v1/knowledgebase/7/articles", {{"category", "c1"}}},
      {{"kb", "article", "a1"}, R"({"id":"a1","name":"n"})", "GET /api/v1/knowledgebase/7/articles/a1",
       {}},
      {{"kb", "search", "x y"}, "[]", "GET /api/v1/knowledgebase/7/search", {{"pattern", "x y"}}},
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
    EXPECT_EQ(request.method + " " + request.path, c.route) << name;
    Form sent = decodeForm(request.query);
    sent.merge(decodeForm(request.body));
    for (const auto& [key, value] : c.sent) EXPECT_EQ(sent[key], value) << name << ": " << key;
  }
}

// Each failure: the library's text where there is one, and on standard error
// one line saying in English what happened, with its cause.
TEST_F(ApiCli, ErrorsAndFailuresAreExplainedWithTheirStatus) {
  struct Case {
    std::vector<std::string> args;
    Reply reply;
    int status;
    std::string out, err;  // out exactly; err as a part of the one line
  } cases[] = {
      {{"start", "x"}, Reply::json(403, R"({"meta":{"status":403,"error":"forbidden"},"data":null})"),
       1, R"({"error":{"kind":"custom","text":"Ошибка (status: 403) forbidden: nil"}})",
       "tavrel start: the service refused the request with status 403 (error \"forbidden\")"},
      {{"conversation", "12"}, Reply::json(200, R"({"meta":{"status":500},"data":{}})"), 1,
       R"({"error":{"kind":"custom","text":"ошибка десериализации модели Response<Dialog>"}})",
       "the answer (status 200) is not the Response<Dialog> this command expects: keyNotFound at "
       "data.id"},
      {{"kb", "settings"}, Reply::text(200, "maintenance"), 1,
       R"({"error":{"kind":"custom","text":"ошибка десериализации модели Response<KnowledgeBaseSettings>"}})",
       "the answer is not JSON (plain text, status 200)"},
      {{"presence"}, Reply::text(502, "<html><body>Bad gateway</body></html>"), 2, "",
       "tavrel presence: the answer is not JSON (HTML page, status 502) [the error answer is no "
       "JSON envelope: dataCorrupted"},
      {{"messages", "1"}, Reply::truncated(R"({"meta":{"status":200},"da)", 100), 2, "",
       "broke before the whole answer arrived [networkConnectionLost"},
      {{"conversations"}, Reply::huge(50u * 1024 * 1024), 2, "", "larger than this client accepts"},
      {{"event", "e", "p", "--timeout", "0.3"}, Reply::never(), 2, "",
       "tavrel event: timed out after 0.3 s waiting for 127.0.0.1:"},
  };
  for (const auto& c : cases) {
    server.enqueue(c.reply);
    auto result = run(c.args);
    EXPECT_EQ(result.status, c.status) << c.args[0] << ": " << result.err;
    EXPECT_EQ(result.out, c.out.empty() ? "" : c.out + "\n") << c.args[0];
    EXPECT_NE(result.err.find(c.err), std::string::npos) << c.args[0] << ": " << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }

  // Nothing listens on the port.
  std::uint16_t port = 0;
  {
    test::TestHttpServer gone;
    pointAt(gone.url("/api/v1/"));
    port = gone.port();
  }
  auto result = run({"kb", "categories"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.rfind("tavrel kb categories: connection refused by 127.0.0.1:" +
                                 std::to_string(port) + " [cannotConnectToHost (-1004)",
                             0),
            0u)
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
  server.enqueue(Reply::json(200, testing::kConnect));
  ::setenv("XDG_STATE_HOME", state.c_str(), 1);
  const auto connect = runCli({"connect", "--key", "k"});
  EXPECT_EQ(connect.status, 0) << connect.err;
  ::unsetenv("XDG_STATE_HOME");
  EXPECT_TRUE(fs::exists(state / "tavrel" / "session.json"));
}

// A usage mistake is one line that names it and where the help is, status 64,
// and nothing is sent; ids that would change the request's path among them.
TEST_F(ApiCli, UsageMistakesAreOneLineAndSendNothing) {
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"conversations", "--frob"}, "tavrel conversations: unknown option '--frob'"},
      {{"conversations", "extra"}, "unexpected argument 'extra'"},
      {{"conversation"}, "missing arguments: tavrel conversation ID"},
      {{"reply", "1", "x"}, "missing --random-id"},
      {{"reply", "1", "x", "--random-id", "-3"}, "whole number from 0 to 9223372036854775807"},
      {{"messages", "1", "--position"}, "option '--position' needs a value"},
      {{"presence", "--mode", "web"}, "--mode is app or sdk"},
      {{"presence", "--timeout", "0"}, "seconds above 0 and at most 86400, not '0'"},
      {{"props", "add:k"}, "is no OP:KEY=VALUE"},
      {{"connect", "--version", "1"}, "tavrel connect: unknown option '--version'"},
      {{"auth", "--user-id", "u", "--user-auth-key", "k"}, "run `tavrel connect` first"},
      {{"kb", "faq"}, "tavrel kb: unknown part 'faq'"},
      {{"conversation", "../../admin?x=1"}, "ID '../../admin?x=1' is no id of the service"},
      {{"kb", "article", "a/b"}, "tavrel kb article: ID 'a/b' is no id"},
      {{"presence", "--user-id", "9?x=1"}, "--user-id '9?x=1' is no id"},
      {{"presence", "--token", "t", "--token-file", "f"}, "take one"},
      {{"presence", "--token-file", "/nonexistent/token"}, "cannot read --token-file"},
  };
  for (const auto& c : cases) {
    auto result = run(c.args);
    EXPECT_EQ(result.status, 64) << c.err;
    EXPECT_EQ(result.out, "") << c.err;
    EXPECT_NE(result.err.find(c.err), std::string::npos) << c.err << ": " << result.err;
    const std::string command = result.err.substr(0, result.err.find(": "));
    EXPECT_TRUE(result.err.ends_with("; see `" + command + " --help`\n")) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }
  EXPECT_TRUE(server.requests().empty());

  for (std::vector<std::string> args : {std::vector<std::string>{"connect"}, {"kb", "search"}}) {
    args.push_back("--help");
    auto help = run(args);
    EXPECT_EQ(help.status, 0) << args[0];
    EXPECT_EQ(help.out.rfind("usage: tavrel " + args[0], 0), 0u) << help.out;
    EXPECT_NE(help.out.find("--token-file FILE"), std::string::npos) << args[0];
  }
}

// A missing bundle or apiUrl, and a session file that is not private or does
// not decode: status 78, the reason, and nothing sent.
TEST_F(ApiCli, ConfigurationErrorsStopBeforeSending) {
  saveSession(R"({"token":"t","app_id":"7","user_id":"9"})");
  fs::permissions(state / "session.json", fs::perms::group_read | fs::perms::others_read,
                  fs::perm_options::add);
  auto open = run({"presence"});
  EXPECT_EQ(open.status, 78);
  EXPECT_EQ(open.err,
            "tavrel presence: refusing the session: " + (state / "session.json").string() +
                ": its mode is 0644, so other users can read or change the token; "
                "chmod 600 it\n");

  saveSession(R"({"token":"t","app_id":1})");
  auto corrupt = run({"presence"});
  EXPECT_EQ(corrupt.status, 78);
  EXPECT_NE(corrupt.err.find("does not decode: typeMismatch at app_id"), std::string::npos)
      << corrupt.err;

  pointAt("");
  auto noUrl = run({"presence"});
  EXPECT_EQ(noUrl.status, 78);
  EXPECT_NE(noUrl.err.find("Info.plist has no apiUrl"), std::string::npos) << noUrl.err;
  ::setenv("TAVREL_MAIN_BUNDLE", "/nonexistent/bundle", 1);
  auto missing = run({"presence"});
  EXPECT_EQ(missing.status, 78);
  EXPECT_EQ(
      missing.err,
      "tavrel presence: TAVREL_MAIN_BUNDLE names /nonexistent/bundle, which is no directory\n");
  ::unsetenv("TAVREL_MAIN_BUNDLE");
  EXPECT_NE(run({"presence"}).err.find("no main bundle: set TAVREL_MAIN_BUNDLE"),
            std::string::npos);
  EXPECT_TRUE(server.requests().empty());
}

// The bundle copied beside the executable: an apiUrl, and the library's texts
// in English when LANG asks for it.
TEST(InstalledBundle, ConfiguresTheServerAndTranslatesForLang) {
  ::setenv("TAVREL_MAIN_BUNDLE", TAVREL_CLI_BUNDLE, 1);
  const std::string saved = std::getenv("LANG") ? std::getenv("LANG") : "";
  for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES"}) ::unsetenv(name);
  for (auto [locale, text] :
       {std::pair<const char*, const char*>{"en_GB.UTF-8", "No internet connection"},
        {"ru_RU.UTF-8", "Нет интернет соединения"}}) {
    ::setenv("LANG", locale, 1);
    EXPECT_EQ(localize("Нет интернет соединения"), text) << locale;
  }
  EXPECT_EQ(InfoPlist::shared().getValue(InfoPlist::Keys::apiUrl)->rfind("https://", 0), 0u);
  ::setenv("LANG", saved.c_str(), 1);  // empty says nothing, as if unset
  ::unsetenv("TAVREL_MAIN_BUNDLE");
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
