// The transfer engine on its own: cancelling, throttled progress, refused
// names, and a partial file that outlives its answer.

#include "tavrel/http/download_manager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <cstdint>

#include "support/test_http_server.h"
#include "tavrel/http/http_transport.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;
using test::Reply;

// What one transfer reported.
struct Outcome {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<double> fractions;
  std::optional<DownloadError> error;
  std::optional<Url> file;
  bool done = false;

  SDDownloadManager::ProgressBlock progress() {
    return [this](double f) {
      std::lock_guard lock(mutex);
      fractions.push_back(f);
      changed.notify_all();
    };
  }
  SDDownloadManager::CompletionBlock completion() {
    return [this](const std::optional<DownloadError>& e, const std::optional<Url>& f) {
      std::lock_guard lock(mutex);
      error = e;
      file = f;
      done = true;
      changed.notify_all();
    };
  }
  // Waits until the transfer ends, or has reported progress `reports` times.
  bool wait(std::size_t reports = SIZE_MAX) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(20), [&] { return done || fractions.size() >= reports; });
  }
};

class DownloadManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    base = fs::temp_directory_path() / ("tavrel_dm_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(base);
  }
  void TearDown() override { fs::remove_all(base); }
  HttpRequest get(const std::string& path) {
    HttpRequest r;
    r.url = server.url(path);
    return r;
  }
  fs::path base;
  test::TestHttpServer server;
};

TEST_F(DownloadManagerTest, ProgressIsThrottledRisingAndEndsAtTheWholeBody) {
  constexpr std::size_t kSize = 64u << 20;
  server.enqueue(Reply::huge(kSize));
  SDDownloadManager manager(base);
  Outcome out;
  const auto started = std::chrono::steady_clock::now();
  ASSERT_TRUE(manager.downloadFile(get("/huge.bin"), "d", "huge.bin", true, out.progress(), out.completion()));
  ASSERT_TRUE(out.wait());
  const auto elapsed = std::chrono::steady_clock::now() - started;
  ASSERT_FALSE(out.error) << out.error->localizedDescription;
  EXPECT_EQ(fs::file_size(*filePath(*out.file)), kSize);
  ASSERT_FALSE(out.fractions.empty());
  EXPECT_EQ(out.fractions.back(), 1.0);
  EXPECT_TRUE(std::is_sorted(out.fractions.begin(), out.fractions.end()));
  // At most one report per 1%, plus one per 100 ms.
  EXPECT_LE(out.fractions.size(), 102 + static_cast<std::size_t>(elapsed / std::chrono::milliseconds(100)));
  EXPECT_FALSE(manager.isDownloadInProgress(server.url("/huge.bin")));
}

TEST_F(DownloadManagerTest, CancelKeepsAResumablePartialFileAndASecondCancelForgetsIt) {
  server.enqueue(Reply::huge(std::size_t{8} << 30));  // far more than arrives before the cancel
  SDDownloadManager manager(base);
  Outcome out;
  const std::string key = *manager.downloadFile(get("/big"), "d", "big", true, out.progress(), out.completion());
  EXPECT_FALSE(manager.downloadFile(get("/big"), "d", "big", true, nullptr, nullptr))
      << "a second start of a running key starts nothing";
  ASSERT_TRUE(out.wait(2));
  manager.cancelDownload(key);
  ASSERT_TRUE(out.wait());
  ASSERT_TRUE(out.error);
  EXPECT_EQ(out.error->urlError, URLError::Code::cancelled);
  EXPECT_FALSE(fs::exists(base / "d" / "big"));
  EXPECT_TRUE(manager.isDownloadInProgress(key));
  ASSERT_EQ(std::distance(fs::directory_iterator(base / "d" / ".partial"), {}), 2);
  {
    SDDownloadManager later(base);  // a new run finds it from its record
    EXPECT_TRUE(later.isDownloadInProgress(key));
  }
  manager.cancelDownload(key);
  EXPECT_FALSE(manager.isDownloadInProgress(key));
  EXPECT_TRUE(fs::is_empty(base / "d" / ".partial"));
}

TEST_F(DownloadManagerTest, NamesThatLeaveTheDirectoryAreRefused) {
  SDDownloadManager manager(base);
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"d", ".."}, {"d", "a/b"}, {"..", "x"}, {"d", "a\\b"}, {"d", std::string_view("a\0b", 3)}, {"d", ""}};
  for (auto [directory, name] : rows) {
    Outcome out;
    EXPECT_FALSE(manager.downloadFile(get("/x"), directory, name, true, nullptr, out.completion()));
    ASSERT_TRUE(out.wait());
    ASSERT_TRUE(out.error);
    EXPECT_EQ(out.error->kind, DownloadError::Kind::refused) << out.error->localizedDescription;
  }
  EXPECT_TRUE(server.requests().empty());
  EXPECT_FALSE(fs::exists(base));
}

}  // namespace
}  // namespace tavrel
