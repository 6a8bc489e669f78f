// `tavrel listen` as a user runs it: the executable in a child process, a
// library bundle whose wssUrl is a loopback WebSocket server, signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/test_ws_server.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;
using test::TestWsServer;
using test::WsFrame;
constexpr auto kBound = std::chrono::seconds(10);

// The child: lines to its standard input, from its standard output; its
// standard error goes to a file.
class Child {
 public:
  Child(std::vector<std::string> args, const fs::path& errFile) : errFile_(errFile) {
    args.insert(args.begin(), {std::string(TAVREL_CLI_EXE), std::string("listen")});
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    int in[2], out[2];
    EXPECT_EQ(0, ::pipe2(in, O_CLOEXEC) | ::pipe2(out, O_CLOEXEC));
    if ((pid_ = ::fork()) == 0) {  // only async-signal-safe calls until exec
      ::dup2(in[0], 0), ::dup2(out[1], 1);
      ::dup2(::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      ::execv(argv[0], argv.data()), ::_exit(127);
    }
    ::close(in[0]), ::close(out[1]);
    in_ = in[1], out_ = out[0];
  }
  ~Child() {
    if (!ended_) ::kill(pid_, SIGKILL), ::waitpid(pid_, nullptr, 0);
    ::close(in_), ::close(out_);
  }

  void write(const std::string& lines) {
    ASSERT_EQ(::write(in_, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
  }
  void closeInput() { ::close(std::exchange(in_, -1)); }
  void signal(int number) { ::kill(pid_, number); }
  // The next line of standard output; nothing if none came within the bound.
  std::optional<std::string> line() {
    const auto end = std::chrono::steady_clock::now() + kBound;
    for (auto at = buffer_.find('\n'); at == std::string::npos; at = buffer_.find('\n')) {
      if (std::chrono::steady_clock::now() > end || !read(100)) return std::nullopt;
    }
    std::string first = buffer_.substr(0, buffer_.find('\n'));
    buffer_.erase(0, first.size() + 1);
    return first;
  }
  // Waits within the bound for the exit status (-1 if it did not end) or,
  // with WUNTRACED, for a stop (kStopped).
  int status(int options = 0) {
    const auto end = std::chrono::steady_clock::now() + kBound;
    for (int raw = 0; std::chrono::steady_clock::now() < end; read(20)) {
      if (::waitpid(pid_, &raw, WNOHANG | options) != pid_) continue;
      if (WIFSTOPPED(raw)) return kStopped;
      ended_ = true;
      return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    return -1;
  }
  std::string err() const {
    std::ifstream in(errFile_);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static constexpr int kStopped = -2;

 private:
  // Reads what standard output has within `ms`; false at its end.
  bool read(int ms) {
    pollfd fd{out_, POLLIN, 0};
    char chunk[4096];
    if (::poll(&fd, 1, ms) <= 0) return true;
    const auto n = ::read(out_, chunk, sizeof chunk);
    if (n > 0) buffer_.append(chunk, static_cast<std::size_t>(n));
    return n > 0;
  }

  fs::path errFile_;
  pid_t pid_ = -1;
  int in_ = -1, out_ = -1;
  bool ended_ = false;
  std::string buffer_;  // standard output not yet taken as lines
};

class Listen : public ::testing::Test {
 protected:
  Listen() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    root_ = fs::temp_directory_path() /
            ("tavrel_listen_" + std::to_string(::getpid()) + "_" + test->name());
    fs::create_directories(root_ / "state");
    pointAt("<key>wssUrl</key><string>" + server_.url("") + "</string>");
    ::setenv("TAVREL_TOKEN", "t1", 1);
    ::setenv("XDG_STATE_HOME", (root_ / "state").c_str(), 1);
  }
  ~Listen() override {
    for (auto name : {"TAVREL_LIB_BUNDLE", "TAVREL_TOKEN", "XDG_STATE_HOME"}) ::unsetenv(name);
    fs::remove_all(root_);
  }
  // A library bundle whose property list holds `entries`.
  void pointAt(const std::string& entries) {
    std::ofstream(root_ / "Info.plist") << "<?xml version=\"1.0\"?>\n<plist version=\"1.0\"><dict>"
                                        << entries << "</dict></plist>\n";
    ::setenv("TAVREL_LIB_BUNDLE", root_.c_str(), 1);
  }
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

  fs::path root_;
  TestWsServer server_;
  std::vector<std::string> args_{"--channels", "conversation_reply,ping", "--app-id", "7",
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
    Child child(row.args, root_ / "err");
    EXPECT_EQ(child.status(), row.status) << row.says;
    EXPECT_NE(child.err().find(row.says), std::string::npos) << child.err();
  }
  EXPECT_EQ(server_.connections().size(), 0u);
}

TEST_F(Listen, PrintsFramesAndFollowsControlLinesResumingWhereItLeftOff) {
  Child child(args_, root_ / "err");
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
  Child child(args_, root_ / "err");
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
