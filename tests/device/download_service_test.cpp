// DownloadService against the loopback server: states, names, failures,
// continuation in a new service, and names that try to leave the folder.

#include "tavrel/device/download_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <random>

#include "support/test_http_server.h"
#include "tavrel/device/user_defaults.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;
using test::Reply;
using test::TestHttpServer;
using Case = DownloadService::State::Case;

std::string randomBytes(std::size_t n) {
  std::mt19937 gen(7);
  std::string s(n, '\0');
  for (auto& c : s) c = static_cast<char>(gen());
  return s;
}

std::string contents(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Every state a subject goes through from now on, and a wait for the end
// that follows the state it had.
struct StateLog {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<DownloadService::State> states;
  rx::DisposeBag bag;

  explicit StateLog(const rx::BehaviorSubject<DownloadService::State>& subject) {
    subject.asObservable()
        .subscribe([this](const DownloadService::State& s) {
          std::lock_guard lock(mutex);
          states.push_back(s);
          changed.notify_all();
        })
        .disposed(bag);
  }
  DownloadService::State waitEnd() {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(20), [&] {
      return states.size() > 1 && (states.back().kind == Case::done || states.back().kind == Case::error);
    });
    return states.back();
  }
};

// A service on its own manager, store and cache folder, as one run of a program.
struct Program {
  explicit Program(const fs::path& root)
      : defaults(root / "state" / "defaults.sqlite"), manager(root / "cache"), service(manager, defaults) {}
  UserDefaults defaults;
  SDDownloadManager manager;
  DownloadService service;

  // Downloads `url` to its end state, gathering the percents on the way.
  DownloadService::State fetch(const std::string& url, std::vector<int>* percents = nullptr) {
    StateLog log(service.getFileState(url));
    service.startDownload(url);
    const auto end = log.waitEnd();
    std::lock_guard lock(log.mutex);
    for (const auto& s : log.states) {
      if (percents && s.kind == Case::progress) percents->push_back(s.percent);
    }
    return end;
  }
};

class DownloadServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() /
           ("tavrel_dl_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root);
    folder = root / "cache" / "tavrel";
  }
  void TearDown() override { fs::remove_all(root); }
  fs::path root, folder;
  TestHttpServer server;
};

TEST_F(DownloadServiceTest, NumberedNamesRisingProgressAndTruncatedPercent) {
  const std::string body = randomBytes(3 << 20);
  server.setHandler([&](const test::RecordedRequest& r) { return test::rangeReply(r, body, ""); });
  Program run(root);
  for (const char* expected : {"report.pdf", "report_1.pdf", "report_2.pdf"}) {
    std::vector<int> percents;
    const auto end = run.fetch(server.url("/files/report.pdf"), &percents);
    ASSERT_EQ(end.kind, Case::done) << toString(end);
    EXPECT_EQ(filePath(*end.file), folder / expected);
    EXPECT_TRUE(contents(folder / expected) == body);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_EQ(percents.empty() ? -1 : percents.back(), 100);
  }
  // No extension: every "." leaves the base name and the numbered one ends in ".".
  for (auto [path, expected] : {std::pair{"/.profile", ".profile"}, {"/.profile", "profile_1."},
                                 {"/README", "README"}, {"/README", "README_1."}}) {
    EXPECT_EQ(filePath(*run.fetch(server.url(path)).file), folder / expected);
  }

  // 999 of 1000 bytes, then the connection drops: 0.999 shows as 99.
  server.setHandler([](const test::RecordedRequest&) { return Reply::truncated(std::string(999, 'a'), 1); });
  std::vector<int> percents;
  EXPECT_EQ(run.fetch(server.url("/almost.bin"), &percents).kind, Case::error);
  EXPECT_EQ(percents.empty() ? -1 : percents.back(), 99);
}

TEST_F(DownloadServiceTest, FailuresGiveTheErrorStateWithTheirText) {
  server.enqueue(Reply::text(404, "no such file"));
  TestHttpServer closed;
  const std::string refused = closed.url("/a.pdf");
  closed.stop();
  Program run(root);
  struct Row {
    std::string url;
    std::vector<std::string> texts;  // each within the error text
  };
  const Row rows[] = {
      {"http://bad host/x.pdf", {"Invalid file url: http://bad host/x.pdf"}},
      {server.url("/dir/"), {"Invalid file url: " + server.url("/dir/")}},
      {server.url("/missing.pdf"), {"status 404"}},
      {refused, {"cannot connect to 127.0.0.1:", "Connection refused"}},
  };
  for (const auto& row : rows) {
    const auto end = run.fetch(row.url);
    ASSERT_EQ(end.kind, Case::error) << row.url;
    for (const auto& text : row.texts) EXPECT_NE(end.text.find(text), std::string::npos) << end.text;
  }
  EXPECT_EQ(run.service.getFileState(rows[0].url).value(), DownloadService::State::error(rows[0].texts[0]));
  EXPECT_FALSE(fs::exists(folder / "missing.pdf"));
}

TEST_F(DownloadServiceTest, DoneIsRememberedByANewServiceEvenForADeletedFile) {
  server.setHandler([](const test::RecordedRequest&) { return Reply::text(200, "hello"); });
  const std::string url = server.url("/notes.txt");
  fs::path file;
  {
    Program first(root);
    file = *filePath(*first.fetch(url).file);
  }
  Program second(root);
  const auto state = second.service.getFileState(url, DownloadService::State::error("ignored")).value();
  ASSERT_EQ(state.kind, Case::done);
  EXPECT_EQ(filePath(*state.file), file);
  fs::remove(file);
  Program third(root);
  EXPECT_EQ(third.service.getFileState(url).value(), state);
  EXPECT_EQ(third.service.getFileState(server.url("/other.txt")).value(), DownloadService::State::none());
}

TEST_F(DownloadServiceTest, ACutOffBodyResumesAtTheNextStartOrStartsOverWithoutRanges) {
  const std::string body = randomBytes(1 << 20);
  for (bool ranges : {true, false}) {
    SCOPED_TRACE(ranges ? "ranges" : "no ranges");
    fs::remove_all(root);
    TestHttpServer files;
    int served = 0;
    files.setHandler([&](const test::RecordedRequest& r) {
      if (served++ == 0) {
        Reply cut = Reply::truncated(body.substr(0, body.size() / 2), body.size() - body.size() / 2);
        cut.headers = {{"ETag", "\"v1\""}};
        return cut;
      }
      return test::rangeReply(r, body, "\"v1\"", ranges);
    });
    const std::string url = files.url("/big.bin");
    {
      Program first(root);
      EXPECT_EQ(first.fetch(url).kind, Case::error);
      EXPECT_FALSE(fs::exists(folder / "big.bin"));
    }
    Program second(root);
    StateLog log(second.service.getFileState(url));
    EXPECT_EQ(log.states.front(), DownloadService::State::progress(0));
    const auto end = log.waitEnd();
    ASSERT_EQ(end.kind, Case::done) << toString(end);
    EXPECT_TRUE(contents(folder / "big.bin") == body);
    const auto second_request = files.requests().at(1);
    EXPECT_EQ(second_request.header("Range"), "bytes=" + std::to_string(body.size() / 2) + "-");
    EXPECT_EQ(second_request.header("If-Range"), "\"v1\"");
    EXPECT_TRUE(fs::is_empty(folder / ".partial"));
  }
}

TEST_F(DownloadServiceTest, HostileNamesAreRefusedAndNothingLeavesTheFolder) {
  server.setHandler([](const test::RecordedRequest&) { return Reply::text(200, "x"); });
  Program run(root);
  const char* hostile[] = {"..", "%2e%2e", "..%2F..%2Fevil.pdf", "a%5Cb.pdf", "%00x.pdf",
                           "x%0Ay.pdf", "%2E"};
  for (const char* name : hostile) {
    const std::string url = server.url("/d/") + name;
    const auto end = run.fetch(url);
    ASSERT_EQ(end.kind, Case::error) << name;
    EXPECT_TRUE(end.text.starts_with("Unsafe file name in " + url + ": it ")) << end.text;
  }
  // A control character written plainly never gets as far as a URL.
  EXPECT_EQ(run.fetch(server.url("/d/a\nb.pdf")).kind, Case::error);
  EXPECT_TRUE(server.requests().empty());
  EXPECT_EQ(filePath(*run.fetch(server.url("/d/a..b.pdf")).file), folder / "a..b.pdf");
  for (const auto& entry : fs::recursive_directory_iterator(root / "cache")) {
    EXPECT_TRUE(entry.path().string().starts_with(folder.string())) << entry.path();
  }
}

}  // namespace
}  // namespace tavrel
