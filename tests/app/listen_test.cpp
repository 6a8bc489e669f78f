// `tavrel listen` as a user runs it: the executable in a child process, a
// library bundle whose wssUrl is a loopback WebSocket server, signals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "child_process.h"
#include "run_cli.h"
#include "support/test_ws_server.h"

namespace tavrel::cli {
namespace {

using test::TestWsServer;
using test::WsFrame;

class Listen : public ::testing::Test {
 protected:
  Listen() {
    pointAt("<key>wssUrl</key><string>" + server_.url("") + "</string>");
    folder_.env("TAVREL_TOKEN", "t1");
    folder_.env("XDG_STATE_HOME", folder_.path / "state");
  }
  // A library bundle whose property list holds `entries`.
  void pointAt(const std::string& entries) { folder_.bundle("TAVREL_LIB_BUNDLE", "lib", entries); }
  // Waits until connection i (from 0) was closed by the client with code 1000.
  bool closedNormally(std::size_t i) {
    return server_.waitUntil(
        [i](const auto& all) { return all.size() > i && all[i].closeCode == 1000; }, kBound);
  }
  std::string target(std::size_t i) { return server_.connections().at(i).target; }
  // Waits for connection `count` and a frame through it: the child is connected.
  void connected(Child& child, std::size_t count) {
    ASSERT_TRUE(server_.waitForConnections(count, kBound));
    const std::string frame = "frame " + std::to_string(count);
    server_.current()->send(WsFrame::text(frame));
    ASSERT_EQ(child.line(), frame);
  }

  TestFolder folder_;
  TestWsServer server_;
  std::vector<std::string> args_{"listen", "--channels", "conversation_reply,ping", "--app-id", "7",
                                 "--user-id", "9", "--network", "manual"};
};

TEST_F(Listen, RefusesBadCommandLinesAndConfigurationBeforeConnecting) {
  struct {
    std::vector<std::string> args;
    std::string bundle;  // the library bundle's entries, when not the server's
    int status;
    std::string says;
  } rows[] = {
      {{"--channels", "ping,Conversation"}, "", 64, "unknown channel 'Conversation'"},
      {{"--channels", "ping,ping"}, "", 64, "'ping' is given twice"},
      {{"--app-id", "7"}, "", 64, "missing --channels"},
      {{"--channels", "ping", "--network", "wifi", "--app-id", "7"}, "", 64, "linux or manual"},
      {{"--channels", "ping", "--app-id", "7"}, "<key>apiUrl</key><string>x</string>", 78,
       "has no wssUrl"},
      {{"--channels", "ping", "--app-id", "7"}, "<key>wssUrl</key><string>https://h</string>", 78,
       "no ws or wss address"},
  };
  for (const auto& row : rows) {
    if (!row.bundle.empty()) pointAt(row.bundle);
    auto args = row.args;
    args.insert(args.begin(), "listen");
    Child child(args, folder_.path / "err");
    EXPECT_EQ(child.status(), row.status) << row.says;
    EXPECT_NE(child.err().find(row.says), std::string::npos) << child.err();
  }
  EXPECT_EQ(server_.connections().size(), 0u);
}

TEST_F(Listen, PrintsFramesAndFollowsControlLinesResumingWhereItLeftOff) {
  Child child(args_, folder_.path / "err");
  ASSERT_TRUE(server_.waitForConnections(1, kBound));
  EXPECT_EQ(target(0), "/conversation_reply.7.9/ping.7.9?auth_token=t1");
  const std::string frame = R"({"id":1,"channel":"ping","message":{},"tag":"a b","time":"1.5"})";
  server_.current()->send(
      {WsFrame::text(frame), WsFrame::text("not a frame"), WsFrame::text("{\"x\":\n1}")});
  EXPECT_EQ(child.line(), frame);
  EXPECT_EQ(child.line(), "not a frame");
  EXPECT_EQ(child.line(), "{\"x\": 1}");  // still one line

  child.write("offline\n");
  ASSERT_TRUE(closedNormally(0));
  child.write("online\n");
  connected(child, 2);
  const std::string resumed = "/conversation_reply.7.9/ping.7.9?auth_token=t1&tag=a%20b&time=1%2E5";
  EXPECT_EQ(target(1), resumed);

  child.write("stop 8\nstop 7\n");  // another application's id changes nothing
  ASSERT_TRUE(closedNormally(1));
  child.write("no such line\n  start \n");
  connected(child, 3);
  EXPECT_EQ(target(2), resumed);
  child.write("quit\n");
  EXPECT_EQ(child.status(), 0);
  EXPECT_TRUE(closedNormally(2));
  EXPECT_NE(child.err().find("unknown control line 'no such line'"), std::string::npos)
      << child.err();
  EXPECT_EQ(server_.connections().size(), 3u);
}

TEST_F(Listen, CtrlZClosesUntilContinuedAndTermEndsCleanlyAfterEndOfInput) {
  Child child(args_, folder_.path / "err");
  ASSERT_TRUE(server_.waitForConnections(1, kBound));
  child.closeInput();
  const std::string frame = R"({"id":2,"channel":"ping","message":1,"tag":"t","time":"9"})";
  server_.current()->send(WsFrame::text(frame));
  ASSERT_TRUE(child.line().has_value());  // still listening after the end of input

  child.signal(SIGTSTP);
  ASSERT_TRUE(closedNormally(0));
  ASSERT_EQ(child.status(WUNTRACED), Child::kStopped);
  child.signal(SIGCONT);
  connected(child, 2);
  EXPECT_NE(target(1).find("&tag=t&time=9"), std::string::npos) << target(1);

  child.signal(SIGTERM);
  EXPECT_EQ(child.status(), 0);
  EXPECT_TRUE(closedNormally(1));
  EXPECT_EQ(child.err(), "");  // debug lines only with --verbose
}

}  // namespace
}  // namespace tavrel::cli
