// The avatar's picture before, during and after a load from a loopback
// server, the loader's caches, and the placeholder's crop.
#include <gtest/gtest.h>

#include <QBuffer>
#include <filesystem>
#include <unistd.h>

#include "support/test_http_server.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/avatar.h"
#include "tavrel/ui/placeholder.h"

namespace tavrel::ui {
namespace {

using namespace std::chrono_literals;

std::string png(QColor colour) {
  QImage image(16, 16, QImage::Format_ARGB32);
  image.fill(colour);
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return bytes.toStdString();
}

QColor middle(const std::optional<QImage>& image) {
  return image ? image->pixelColor(image->width() / 2, image->height() / 2) : QColor();
}

class AvatarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.setHandler([](const test::RecordedRequest& request) {
      if (request.path == "/green.png") return test::Reply::text(200, png(Qt::green));
      if (request.path == "/blue.png") return test::Reply::text(200, png(Qt::blue));
      if (request.path == "/text") return test::Reply::text(200, "not an image");
      return test::Reply::text(404, "no such picture");
    });
    std::filesystem::remove_all(cache);
  }
  void TearDown() override { std::filesystem::remove_all(cache); }

  // Sets the avatar up with `path` and waits for the end of its load.
  std::optional<bool> load(Avatar& avatar, const std::string& path, std::optional<QImage>* during = nullptr) {
    std::optional<bool> loaded;
    avatar.onLoadFinished = [&](bool ok) { loaded = ok; };
    avatar.setup(Person(std::nullopt, "user", "Ada", path.empty() ? "" : server.url(path)));
    if (during) *during = avatar.getAvatarImage();
    rx::MainQueue::shared().runUntil([&] { return loaded.has_value(); }, 10s);
    return loaded;
  }

  test::TestHttpServer server;
  HttpTransport transport;
  // One folder per test and process: CTest runs tests side by side.
  std::filesystem::path cache =
      std::filesystem::temp_directory_path() /
      ("tavrel-ui-avatar-" + std::to_string(getpid()) + "-" +
       ::testing::UnitTest::GetInstance()->current_test_info()->name());
  ImageLoader loader{transport, cache};
  QColor blue = QColor(0x4A, 0x90, 0xE2);
};

TEST_F(AvatarTest, ShowsThePlaceholderThenTheImageAndLaterLoadsComeFromTheCaches) {
  Avatar avatar(QRectF(0, 0, 40, 40), blue);
  avatar.setImageLoader(&loader);
  EXPECT_FALSE(avatar.getAvatarImage());  // before setup: only the view's colour

  std::optional<QImage> during;
  EXPECT_EQ(load(avatar, "/green.png", &during), true);
  // During the load: a disc of the background colour, clear in its corners.
  ASSERT_TRUE(during);
  EXPECT_EQ(middle(during), blue);
  EXPECT_EQ(during->pixelColor(0, 0).alpha(), 0);
  // After: the picture, its corners rounded away.
  const auto image = avatar.getAvatarImage();
  EXPECT_EQ(middle(image), QColor(Qt::green));
  EXPECT_EQ(image->pixelColor(0, 0).alpha(), 0);

  // From memory, at once: the placeholder never shows.
  EXPECT_EQ(load(avatar, "/green.png", &during), true);
  EXPECT_EQ(middle(during), QColor(Qt::green));

  // A new loader on the same folder reads the disk.
  ImageLoader again(transport, cache);
  Avatar second(QRectF(0, 0, 40, 40), blue);
  second.setImageLoader(&again);
  EXPECT_EQ(load(second, "/green.png"), true);
  EXPECT_EQ(middle(second.getAvatarImage()), QColor(Qt::green));
  EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(AvatarTest, KeepsThePlaceholderWhenTheLoadFails) {
  for (const std::string path : {"/missing.png", "/text", ""}) {
    Avatar avatar(QRectF(0, 0, 40, 40), std::nullopt);  // no colour: a red disc
    avatar.setImageLoader(&loader);
    EXPECT_EQ(load(avatar, path), false) << path;
    EXPECT_EQ(middle(avatar.getAvatarImage()), QColor(Qt::red)) << path;
  }
  EXPECT_EQ(server.requests().size(), 2u);  // no request without a URL
}

TEST_F(AvatarTest, ALaterSetupWinsOverAnEarlierOne) {
  Avatar avatar(QRectF(0, 0, 40, 40), blue);
  avatar.setImageLoader(&loader);
  avatar.setup(Person(std::nullopt, "user", "Ada", server.url("/green.png")));
  EXPECT_EQ(load(avatar, "/blue.png"), true);
  // Both answers kept on disk: the earlier one has been through too.
  auto files = [&] {
    return std::distance(std::filesystem::directory_iterator(cache), std::filesystem::directory_iterator());
  };
  ASSERT_TRUE(rx::MainQueue::shared().runUntil([&] { return files() == 2; }, 10s));
  EXPECT_EQ(middle(avatar.getAvatarImage()), QColor(Qt::blue));
}

TEST(Placeholder, CropsTheCentredSquareAndClipsItToACircle) {
  struct Row {
    QSizeF size;
    QRectF crop;
  } rows[] = {
      {{200, 100}, {50, 0, 100, 100}},
      {{100, 201}, {0, 50, 100, 100}},
      {{64, 64}, {0, 0, 64, 64}},
  };
  for (const auto& row : rows) {
    auto placeholder = Placeholder::make(Qt::blue, row.size);
    ASSERT_TRUE(placeholder);
    EXPECT_EQ(placeholder->cropRect(), row.crop) << row.size.width() << "x" << row.size.height();
    const auto disc = placeholder->circleMasked();
    ASSERT_TRUE(disc);
    EXPECT_EQ(disc->deviceIndependentSize(), row.crop.size());
    EXPECT_EQ(disc->pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(middle(disc), QColor(Qt::blue));
  }
  EXPECT_FALSE(Placeholder::make(Qt::blue, {0, 0}));
}

}  // namespace
}  // namespace tavrel::ui
