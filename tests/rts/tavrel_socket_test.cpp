#include "tavrel/rts/tavrel_socket.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "rts/rts_test_support.h"

namespace tavrel {
namespace {

using test::DebugLines;
using test::drainUntil;
using test::frame;
using test::LibBundle;
using test::Recorder;
using test::TestWsServer;
using test::WsFrame;
using Mode = NetworkSettings::ConnectionType;

TEST(TavrelSocketUrl, FormsChannelsTokenAndResumePosition) {
  struct Row {
    Mode mode;
    std::string token;
    std::vector<Channel> channels;
    std::optional<std::string> tag, time;
    std::optional<std::string> expected;  // after the base
  };
  const std::vector<Channel> two{Channel::conversationReply, Channel::ping};
  const Row rows[] = {
      {Mode::app, "tok", two, {}, {}, "/conversation_reply.7/ping.7?auth_token=appm-7-tok"},
      {Mode::sdk, "tok", two, {}, {}, "/conversation_reply.7.9/ping.7.9?auth_token=tok"},
      {Mode::sdk, "tok", {}, {}, {}, "?auth_token=tok"},
      // Everything but letters and digits is escaped, the point too.
      {Mode::sdk, "tok", {Channel::ping}, "a b", "1.5", "/ping.7.9?auth_token=tok&tag=a%20b&time=1%2E5"},
      {Mode::sdk, "t", {}, "\xC3\xA9%&=", "-_~", "?auth_token=t&tag=%C3%A9%25%26%3D&time=%2D%5F%7E"},
      // One half of a position is no position.
      {Mode::sdk, "tok", {}, "a", std::nullopt, "?auth_token=tok"},
      {Mode::sdk, "tok", {}, std::nullopt, "1", "?auth_token=tok"},
      // The token goes as it is: what a URL may hold passes, anything else
      // leaves no URL.
      {Mode::sdk, "a+b/c=", {}, {}, {}, "?auth_token=a+b/c="},
      {Mode::sdk, "a b", {}, {}, {}, std::nullopt},
  };
  LibBundle bundle(std::string("wss://rts.example"));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected.value_or("no url"));
    const NetworkSettings settings(row.mode, row.token, "7", "9");
    auto url = TavrelSocket::getUrl(settings, row.channels, row.tag, row.time);
    ASSERT_EQ(url.has_value(), row.expected.has_value());
    if (url) {
      EXPECT_EQ(url->absoluteString(), "wss://rts.example" + *row.expected);
    }
    auto socket = TavrelSocket::create(std::make_shared<NetworkSettings>(settings), row.channels, nullptr);
    EXPECT_EQ(socket != nullptr, row.expected.has_value());
  }
}

TEST(TavrelSocketUrl, WithoutWssUrlTheBaseIsErrorAndConnectFailsInTheSocketLayer) {
  LibBundle bundle(std::nullopt);
  DebugLines lines;
  auto settings = std::make_shared<NetworkSettings>(Mode::app, "tok", "7", "9");
  auto socket = TavrelSocket::create(settings, {Channel::ping}, nullptr);
  ASSERT_NE(socket, nullptr);
  EXPECT_EQ(socket->request.url.absoluteString(), "error/ping.7?auth_token=appm-7-tok");
  socket->connect();
  EXPECT_TRUE(drainUntil([&] { return lines.count("ZEBOK: rts connected false") == 1; }));
}

class TavrelSocketTest : public testing::Test {
 protected:
  TestWsServer server;
  LibBundle bundle{server.url("")};
  std::shared_ptr<NetworkSettings> settings = std::make_shared<NetworkSettings>(Mode::app, "tok", "7", "9");
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  std::shared_ptr<TavrelSocket> socket = TavrelSocket::create(settings, {Channel::ping}, recorder);

  // Connects and waits for the server to see connection number `n`.
  void connect(std::size_t n) {
    socket->connect();
    ASSERT_TRUE(server.waitForConnections(n));
  }
  void send(std::vector<WsFrame> frames) { server.current()->send(std::move(frames)); }
  std::string lastTarget() const { return server.connections().back().target; }
};

// One connection's events: every one goes through `message`, only text
// reaches the service, and only a valid frame moves the position.
TEST_F(TavrelSocketTest, TextFramesReachTheServiceAndValidOnesMoveThePosition) {
  DebugLines lines;
  std::vector<std::string> messages;
  rx::DisposeBag bag;
  socket->message.asObservable().subscribe([&](const std::string& m) { messages.push_back(m); }).disposed(bag);
  EXPECT_EQ(socket->request.timeoutInterval.count(), 5.0);

  connect(1);
  EXPECT_EQ(socket->request.timeoutInterval.count(), 60.0);
  EXPECT_EQ(lastTarget(), "/ping.7?auth_token=appm-7-tok");
  const std::string valid = frame(1, "a b", "1.5");
  send({WsFrame::text(valid), WsFrame::pong("p"), WsFrame::binary("b"), WsFrame::text("not a frame")});
  ASSERT_TRUE(drainUntil([&] { return recorder->count() == 2; }));

  EXPECT_EQ(recorder->texts(), (std::vector<std::string>{valid, "not a frame"}));
  EXPECT_EQ(messages, (std::vector<std::string>{"", "", valid, "", "", "not a frame"}));
  EXPECT_EQ(socket->tag, "a b");
  EXPECT_EQ(socket->time, "1.5");
  EXPECT_EQ(lines.count("create dispose bag"), 1u);
  EXPECT_EQ(lines.count("ZEBOK: rts connected true"), 1u);
  EXPECT_EQ(lines.count("ZEBOK: rts message"), 5u);  // connected, then four frames
}

// A callback queue whose events wait until the test runs them.
class HeldQueue final : public rx::Scheduler {
 public:
  rx::TimePoint now() const override { return rx::Clock::now(); }
  rx::Disposable schedule(std::function<void()> task) override {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    added_.notify_all();
    return {};
  }
  rx::Disposable scheduleAfter(rx::Duration, std::function<void()> task) override {
    return schedule(std::move(task));
  }
  // Waits up to 10 s for `n` events to be waiting.
  bool waitFor(std::size_t n) {
    std::unique_lock lock(mutex_);
    return added_.wait_for(lock, std::chrono::seconds(10), [&] { return tasks_.size() >= n; });
  }
  void run() {
    std::vector<std::function<void()>> tasks;
    {
      std::lock_guard lock(mutex_);
      tasks.swap(tasks_);
    }
    for (auto& task : tasks) task();
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::function<void()>> tasks_;
};

// A frame already on its way when disconnect is called is dropped with the
// connection: the position stays at the last frame handed over, so the next
// URL asks the service for that frame again rather than skipping it.
TEST_F(TavrelSocketTest, FrameOnItsWayAtDisconnectIsAskedForAgain) {
  DebugLines lines;
  auto queue = std::make_shared<HeldQueue>();
  socket->setCallbackQueue(queue);
  connect(1);
  ASSERT_TRUE(queue->waitFor(1));  // connected
  queue->run();
  send({WsFrame::text(frame(1, "a", "1.5"))});
  ASSERT_TRUE(queue->waitFor(1));
  queue->run();
  send({WsFrame::text(frame(2, "late", "9.9"))});
  ASSERT_TRUE(queue->waitFor(1));
  socket->disconnect();
  EXPECT_FALSE(socket->externalDisposeBag.has_value());
  EXPECT_EQ(lines.count("ZEBOK: destroy dispose bag"), 1u);
  queue->run();
  EXPECT_EQ(socket->tag, "a");
  EXPECT_EQ(recorder->texts(), std::vector<std::string>{frame(1, "a", "1.5")});

  connect(2);
  EXPECT_EQ(lastTarget(), "/ping.7?auth_token=appm-7-tok&tag=a&time=1%2E5");
}

// A text event that is still being handed out when the socket disconnects
// (here a subscriber ahead of the delivery disconnects on it) moves the
// position but does not reach the service.
TEST_F(TavrelSocketTest, TextEventDuringDisconnectMovesThePositionOnly) {
  rx::Disposable ahead = socket->response().subscribe([&](const WebSocketEvent& e) {
    if (std::holds_alternative<WebSocketEvent::Text>(e.payload)) socket->disconnect();
  });
  connect(1);
  send({WsFrame::text(frame(1, "late", "9.9"))});
  ASSERT_TRUE(drainUntil([&] { return socket->tag == "late"; }));
  ahead.dispose();
  EXPECT_EQ(socket->time, "9.9");
  EXPECT_EQ(recorder->count(), 0u);
  EXPECT_FALSE(socket->externalDisposeBag.has_value());
}

// A connect on a live connection, whatever a client did to the bag before,
// leaves exactly one delivery.
TEST_F(TavrelSocketTest, RepeatedConnectsDeliverEachFrameOnce) {
  rx::DisposeBag elsewhere;
  const std::vector<std::function<void(TavrelSocket&)>> changes{
      [](TavrelSocket&) {},
      [](TavrelSocket& s) { s.externalDisposeBag.emplace(); },
      [](TavrelSocket& s) { s.externalDisposeBag.reset(); },
      [&](TavrelSocket& s) { elsewhere = std::move(*s.externalDisposeBag); },
  };
  connect(1);
  int id = 0;
  for (const auto& change : changes) {
    change(*socket);
    socket->connect();
    send({WsFrame::text(frame(++id, "t", "1")), WsFrame::text("marker")});
    ASSERT_TRUE(drainUntil([&] { return socket->message.value() == "marker"; }));
    socket->message.accept("");
    EXPECT_EQ(recorder->count(), 2u * id) << "change " << id;
  }
}

TEST_F(TavrelSocketTest, ConnectWithoutAUrlDoesNothing) {
  settings->token = "a b";  // the host changed the shared settings
  socket->connect();
  EXPECT_FALSE(socket->externalDisposeBag.has_value());
  EXPECT_EQ(socket->request.timeoutInterval.count(), 5.0);
}

}  // namespace
}  // namespace tavrel
