// A server replays a log of frames from the resume position each connection
// asks for, while the connection drops at random moments: the far side closes
// or cuts it, or the application goes offline or to the background and back.
// Every frame must reach the service exactly once, in order.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "rts/rts_test_support.h"
#include "tavrel/core/url.h"
#include "tavrel/device/notification_center.h"
#include "tavrel/rts/rts_manager.h"

namespace tavrel {
namespace {

using test::WsFrame;

constexpr int kFrames = 10000;

// Frame i of the log; tags and times both need escaping in a URL.
std::string logFrame(int i) {
  return test::frame(i, "t " + std::to_string(i % 97) + "/" + std::to_string(i), "1700000000." + std::to_string(i));
}

// The server's side: the log, and for the newest connection the next frame
// to push. A connection starts right after the frame its query names.
class ReplayServer {
 public:
  ReplayServer() {
    for (int i = 0; i < kFrames; ++i) {
      auto position = TavrelSocket::resumePosition(logFrame(i));
      index_[{position->tag, position->time}] = i;
    }
    server.onConnect([this](const test::WsConnection& c, const test::WsConnectionRecord& r) {
      auto query = queryDictionary(*Url::parse(r.target));
      int next = 0;
      if (query && query->count("tag")) {
        auto it = index_.find({query->at("tag"), query->at("time")});
        next = it == index_.end() ? kFrames : it->second + 1;  // unknown: a failure shows as loss
        if (it == index_.end()) ADD_FAILURE() << "unknown position in " << r.target;
      }
      std::lock_guard lock(mutex_);
      connection_ = c;
      next_ = next;
      ++served_;
      servedMore_.notify_all();
    });
  }
  ~ReplayServer() { server.stop(); }  // no handler runs once the log is gone

  // Pushes up to `count` further frames on the newest connection.
  void push(int count) {
    std::lock_guard lock(mutex_);
    if (!connection_) return;
    std::vector<WsFrame> batch;
    for (; count > 0 && next_ < kFrames; --count) batch.push_back(WsFrame::text(logFrame(next_++)));
    if (!batch.empty()) connection_->send(std::move(batch));
  }

  // Ends the newest connection from the far side: a close, or a cut.
  void end(bool cut) {
    std::lock_guard lock(mutex_);
    if (!connection_) return;
    cut ? connection_->drop() : connection_->close(1001, "going away");
    connection_.reset();
  }

  std::size_t served() {
    std::lock_guard lock(mutex_);
    return served_;
  }
  // Waits up to 10 s until `n` connections have been served.
  bool waitServed(std::size_t n) {
    std::unique_lock lock(mutex_);
    return servedMore_.wait_for(lock, std::chrono::seconds(10), [&] { return served_ >= n; });
  }

  test::TestWsServer server;

 private:
  std::map<std::pair<std::string, std::string>, int> index_;
  std::mutex mutex_;
  std::optional<test::WsConnection> connection_;
  int next_ = 0;
  std::size_t served_ = 0;
  std::condition_variable servedMore_;
};

void post(std::string_view name) { NotificationCenter::defaultCenter().post(name); }

TEST(ResumeFault, EveryFrameArrivesOnceInOrderAcrossRandomDrops) {
  test::network();
  test::DebugLines quiet;  // thousands of lines otherwise
  ReplayServer replay;
  test::LibBundle bundle(replay.server.url(""));
  auto recorder = std::make_shared<test::Recorder>();
  RtsManager manager;
  test::setNetwork(ConnectivityStatus::connected);

  const auto seed = std::random_device{}();
  std::printf("resume fault seed %u\n", seed);
  std::mt19937 rng(seed);
  auto chance = [&](unsigned in) { return rng() % in == 0; };

  const auto settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::app, "tok", "7", "9");
  auto socket = manager.startRts(settings, {Channel::conversationReply}, recorder);
  ASSERT_NE(socket, nullptr);
  int downs = 0;  // ends of connections the socket has seen
  rx::DisposeBag bag;
  socket->connected().subscribe([&](bool up) { downs += up ? 0 : 1; }).disposed(bag);
  const auto last = TavrelSocket::resumePosition(logFrame(kFrames - 1));
  auto& queue = rx::MainQueue::shared();
  int drops = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  // Until the position reaches the log's end; a lost frame shows below.
  while ((socket->tag != last->tag || socket->time != last->time) && std::chrono::steady_clock::now() < deadline) {
    const std::size_t served = replay.served();
    const std::size_t before = recorder->count();
    replay.push(1 + static_cast<int>(rng() % 256));
    if (!chance(3)) {
      queue.runUntil([&] { return recorder->count() > before; }, std::chrono::milliseconds(100));
      continue;
    }
    // A drop while frames are on their way: what comes behind it is late.
    ++drops;
    const bool ended = chance(2);
    const int downsBefore = downs;
    if (ended) replay.end(chance(2));  // the far side goes first, or not
    if (ended && chance(3)) {
      // Usually the socket sees the end first; if the end met a connection
      // that had not opened yet, the start below meets a live socket, which
      // is a path worth driving too.
      test::drainUntil([&] { return downs > downsBefore; });
      manager.startRts(settings, {}, nullptr);  // a connect with no stop before it
    } else if (chance(2)) {
      test::setNetwork(ConnectivityStatus::notConnected);
      test::setNetwork(ConnectivityStatus::connected);
    } else {
      bool resigned = false;
      queue.post([&] {
        post(UIApplicationWillResignActiveNotification);
        resigned = true;
      });
      ASSERT_TRUE(test::drainUntil([&] { return resigned; }));
      post(UIApplicationDidBecomeActiveNotification);
    }
    // The manager has connected by now; the server's side needs no main queue.
    ASSERT_TRUE(replay.waitServed(served + 1)) << "no reconnect, seed " << seed;
  }
  rx::MainQueue::shared().drainPending();  // a repeated frame would come now
  std::printf("resume fault: %d drops over %zu connections\n", drops, replay.server.connections().size());

  const auto texts = recorder->texts();
  ASSERT_EQ(texts.size(), static_cast<std::size_t>(kFrames)) << "seed " << seed;
  for (int i = 0; i < kFrames; ++i) ASSERT_EQ(texts[i], logFrame(i)) << "at " << i << ", seed " << seed;
}

}  // namespace
}  // namespace tavrel
