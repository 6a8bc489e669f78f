// `tavrel download` against the loopback server: paths on standard output,
// reasons on standard error, the state query, and Ctrl-C then a rerun that
// goes on from the partial file.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "run_cli.h"
#include "support/test_http_server.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;
using test::Reply;

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// The cache and state directories of these tests, for this process and the
// children it starts; the library's shared instances take them at first use.
class DownloadCliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    root = fs::temp_directory_path() / ("tavrel_dlcli_" + std::to_string(::getpid()));
    fs::remove_all(root);
    fs::create_directories(root);  // the children write their output here
    for (const char* name : {"XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
      const char* old = std::getenv(name);
      saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    }
    ::setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (root / "state").c_str(), 1);
  }
  static void TearDownTestSuite() {
    for (const auto& [name, value] : saved) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
    fs::remove_all(root);
  }
  static inline fs::path root;
  static inline std::vector<std::pair<std::string, std::optional<std::string>>> saved;
  test::TestHttpServer server;
};

TEST_F(DownloadCliTest, PrintsPathsAndSaysWhyTheOthersFailed) {
  server.setHandler([](const test::RecordedRequest& r) {
    return r.path == "/ok.txt" ? Reply::text(200, "fine") : Reply::text(404, "gone");
  });
  test::TestHttpServer closed;
  const std::string refused = closed.url("/x.pdf");
  closed.stop();
  const std::string ok = server.url("/ok.txt"), missing = server.url("/missing.pdf");

  const auto run = runCli({"download", ok, missing, refused});
  EXPECT_EQ(run.status, 2);
  const fs::path file = root / "cache" / "tavrel" / "ok.txt";
  EXPECT_EQ(run.out, file.string() + "\n");
  EXPECT_EQ(slurp(file), "fine");
  EXPECT_NE(run.err.find("ok.txt: 100%\n"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find(missing + ": the server answered with status 404\n"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find(refused + ": cannot connect to 127.0.0.1:"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("(Connection refused)"), std::string::npos) << run.err;

  const auto state = runCli({"download", "--state", ok, missing});
  EXPECT_EQ(state.status, 0);
  EXPECT_EQ(state.out, ok + ": done " + file.string() + "\n" + missing + ": none\n");
  EXPECT_EQ(runCli({"download", "--state"}).status, 64);
  EXPECT_EQ(runCli({"download", "--resume", ok}).status, 64);
}

// The executable with its standard output and error in a file; its exit status.
struct Child {
  explicit Child(std::vector<std::string> args, const fs::path& err) {
    args.insert(args.begin(), TAVREL_CLI_EXE);
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    if ((pid = ::fork()) == 0) {
      const int fd = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      ::dup2(fd, 2), ::dup2(fd, 1);
      ::execv(argv[0], argv.data()), ::_exit(127);
    }
  }
  int status() {  // within a bound that only a failure reaches
    for (int i = 0, raw = 0; i < 2000; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
      if (::waitpid(pid, &raw, WNOHANG) == pid) return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    ::kill(pid, SIGKILL);
    return -1;
  }
  pid_t pid;
};

TEST_F(DownloadCliTest, CtrlCKeepsThePartialFileAndTheSameCommandGoesOn) {
  constexpr std::size_t kTail = 10;
  server.setHandler([&](const test::RecordedRequest& r) {
    const auto range = r.header("Range");
    if (!range) {  // more than arrives before Ctrl-C
      Reply huge = Reply::huge(std::size_t{64} << 30);
      huge.headers = {{"ETag", "\"e\""}};
      return huge;
    }
    // The rest from the offset asked for; the resource ends kTail bytes later.
    const std::size_t from = std::stoull(range->substr(6));
    Reply rest = Reply::text(206, std::string(kTail, 'x'));
    rest.headers = {{"ETag", "\"e\""},
                    {"Content-Range", "bytes " + std::to_string(from) + "-" + std::to_string(from + kTail - 1) +
                                          "/" + std::to_string(from + kTail)}};
    return rest;
  });
  const std::string url = server.url("/big.bin");
  const fs::path err = root / "err";
  Child first({"download", url}, err);
  for (int i = 0; i < 2000 && slurp(err).find('%') == std::string::npos; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ::kill(first.pid, SIGINT);
  EXPECT_EQ(first.status(), 130);
  EXPECT_NE(slurp(err).find(url + ": stopped; what came is kept"), std::string::npos) << slurp(err);
  EXPECT_FALSE(fs::exists(root / "cache" / "tavrel" / "big.bin"));

  Child state({"download", "--state", url}, err);
  EXPECT_EQ(state.status(), 0);
  EXPECT_EQ(slurp(err), url + ": in progress\n");
  Child again({"download", url}, err);
  ASSERT_EQ(again.status(), 0) << slurp(err);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].header("If-Range"), "\"e\"");
  const auto size = fs::file_size(root / "cache" / "tavrel" / "big.bin");
  EXPECT_EQ(requests[1].header("Range"), "bytes=" + std::to_string(size - kTail) + "-");
  EXPECT_GT(size, kTail);
}

}  // namespace
}  // namespace tavrel::cli
