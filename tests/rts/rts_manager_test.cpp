#include "tavrel/rts/rts_manager.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "rts/rts_test_support.h"
#include "tavrel/device/app_state_service.h"
#include "tavrel/device/notification_center.h"

namespace tavrel {
namespace {

using test::DebugLines;
using test::drainUntil;
using test::frame;
using test::Recorder;
using test::WsFrame;
using Mode = NetworkSettings::ConnectionType;

void post(std::string_view name) { NotificationCenter::defaultCenter().post(name); }

// Every connection is greeted with one frame whose tag names the channel
// path it was opened on and whose time is the connection's number.
class RtsManagerTest : public testing::Test {
 protected:
  RtsManagerTest() {
    server.onConnect([](const test::WsConnection& c, const test::WsConnectionRecord& r) {
      const std::string path = r.target.substr(1, r.target.find('?') - 1);
      c.send(WsFrame::text(frame(static_cast<int>(r.id), path + " x", std::to_string(r.id) + ".5")));
    });
  }
  static std::shared_ptr<NetworkSettings> app(const std::string& id) {
    return std::make_shared<NetworkSettings>(Mode::app, "tok", id, "9");
  }
  // Every connect has been called by now; only the server is waited for.
  bool connections(std::size_t n) { return server.waitForConnections(n); }
  std::string target(std::size_t i) const { return server.connections().at(i).target; }

  ManualConnectivityBackend& network = test::network();  // before the manager
  test::TestWsServer server;
  test::LibBundle bundle{server.url("")};
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  RtsManager manager;
};

TEST_F(RtsManagerTest, KeepsOneSocketPerApplicationIdForEver) {
  DebugLines lines;
  EXPECT_EQ(manager.startRts(app("7"), {}, recorder), nullptr);
  EXPECT_EQ(manager.getActiveCount(), 0);

  auto first = manager.startRts(app("7"), {Channel::ping}, recorder);
  ASSERT_NE(first, nullptr);
  ASSERT_TRUE(connections(1));
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 1; }));
  auto other = std::make_shared<NetworkSettings>(Mode::sdk, "tok", "7", "9");
  EXPECT_EQ(manager.startRts(other, {Channel::conversation}, nullptr), first);
  EXPECT_EQ(manager.getActiveCount(), 1);

  manager.stopRts("8");
  manager.stopRts("7");
  EXPECT_EQ(manager.getActiveCount(), 1);
  EXPECT_EQ(manager.startRts(app("7"), {}, nullptr), first);
  ASSERT_TRUE(connections(2));
  EXPECT_EQ(target(1), "/ping.7?auth_token=appm-7-tok&tag=ping%2E7%20x&time=1%2E5");
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 2; }));
  EXPECT_EQ(lines.count("RTS CONNECTED -> Event next(true)", true), 2u);
}

TEST_F(RtsManagerTest, BackgroundAndForegroundReconnectEverySocketFromItsOwnPosition) {
  auto other = std::make_shared<Recorder>();
  manager.startRts(app("7"), {Channel::ping}, recorder);
  manager.startRts(app("8"), {Channel::ping}, other);
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 1 && other->count() == 1; }));

  post(UIApplicationWillResignActiveNotification);
  ASSERT_TRUE(server.waitUntil([](const auto& c) { return c[0].closeCode == 1000 && c[1].closeCode == 1000; }));
  post(UIApplicationDidBecomeActiveNotification);
  ASSERT_TRUE(connections(4));
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 2 && other->count() == 2; }));

  for (std::size_t i : {0u, 1u}) {
    const std::string id = target(i).substr(6, 1);  // of "/ping.7?..."
    const std::string resumed = target(2).substr(6, 1) == id ? target(2) : target(3);
    EXPECT_EQ(resumed, target(i) + "&tag=ping%2E" + id + "%20x&time=" + std::to_string(i + 1) + "%2E5");
  }
}

// A far-side close brings no reconnect; offline then online does, resuming.
// Starting while offline connects as well.
TEST_F(RtsManagerTest, OfflineThenOnlineResumesAfterTheFarSideClosed) {
  DebugLines lines;
  test::setNetwork(ConnectivityStatus::notConnected);
  manager.startRts(app("7"), {Channel::ping}, recorder);
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 1; }));
  server.current()->close(1000);
  ASSERT_TRUE(drainUntil([&] { return lines.count("ZEBOK: rts connected false") == 1; }));

  test::setNetwork(ConnectivityStatus::connected);
  ASSERT_TRUE(connections(2));
  EXPECT_EQ(target(1), "/ping.7?auth_token=appm-7-tok&tag=ping%2E7%20x&time=1%2E5");
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 2; }));

  test::setNetwork(ConnectivityStatus::notConnected);
  EXPECT_EQ(lines.count("ZEBOK: destroy dispose bag"), 1u);
  test::setNetwork(ConnectivityStatus::connectedViaWiFi);
  ASSERT_TRUE(connections(3));
  EXPECT_EQ(target(2), "/ping.7?auth_token=appm-7-tok&tag=ping%2E7%20x&time=2%2E5");
}

}  // namespace
}  // namespace tavrel
