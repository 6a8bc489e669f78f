// `tavrel download` against the loopback server: paths on standard output,
// reasons on standard error, the state query, and Ctrl-C then a rerun that
// goes on from the partial file.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "child_process.h"
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
    ::setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (root / "state").c_str(), 1);
  }
  static void TearDownTestSuite() {
    ::unsetenv("XDG_CACHE_HOME");
    ::unsetenv("XDG_STATE_HOME");
    fs::remove_all(root);
  }
  static inline fs::path root;
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
  Child first({"download", url}, root / "err");
  ASSERT_TRUE(first.errHas("%"));
  first.signal(SIGINT);
  EXPECT_EQ(first.status(), 130);
  EXPECT_NE(first.err().find(url + ": stopped; what came is kept"), std::string::npos) << first.err();
  EXPECT_FALSE(fs::exists(root / "cache" / "tavrel" / "big.bin"));

  Child state({"download", "--state", url}, root / "err");
  EXPECT_EQ(state.line(), url + ": in progress");
  EXPECT_EQ(state.status(), 0);
  Child again({"download", url}, root / "err");
  ASSERT_EQ(again.status(), 0) << again.err();
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].header("If-Range"), "\"e\"");
  const auto size = fs::file_size(root / "cache" / "tavrel" / "big.bin");
  EXPECT_EQ(requests[1].header("Range"), "bytes=" + std::to_string(size - kTail) + "-");
  EXPECT_GT(size, kTail);
}

}  // namespace
}  // namespace tavrel::cli
