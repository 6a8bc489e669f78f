// Real-time frames from the loopback WebSocket server of the tests, read
// through TavrelSocket to RtsServiceProtocol::onRtsMessage (the main queue
// drained by this thread, as a host does) beside a bare Boost.Beast client
// that reads the same server synchronously on this thread.
//
// Throughput: the server pushes kFrames frames of about 200 bytes at once;
// frames per second from the push to the last frame read. Latency: frames
// sent one at a time, every kPace, each carrying its send time; the median
// and the 99th percentile of send to onRtsMessage (to the bare client's read
// for the other side). The sides run back to back in each round and the
// ratio is taken per round; the median over the rounds is printed, since a
// shared machine's speed drifts.
//
// Figures on the 2-core build machine (Release, `scripts/bench rts`), with a
// two-job compile running beside it: ratio 1.19 (rounds 0.99, 1.19, 1.29);
// latency ours 246 us median, 20.1 ms p99; bare 142 us, 5.3 ms. On a quiet
// machine (load 0.6, an -O1 build): ratio 1.50; ours 56 us, 589 us; bare 37 us,
// 166 us. We pass the bare client because it reads one frame per blocking
// call, while the socket's I/O thread reads ahead of the queue that delivers.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/test_ws_server.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"
#include "tavrel/rts/tavrel_socket.h"
#include "tavrel/rx/main_queue.h"

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;
using Clock = std::chrono::steady_clock;
using tavrel::test::TestWsServer;
using tavrel::test::WsFrame;

constexpr int kFrames = 100000;
constexpr int kPaced = 5000;
constexpr auto kPace = std::chrono::microseconds(200);
constexpr int kRounds = 3;
constexpr auto kLimit = std::chrono::seconds(60);

std::int64_t nowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
      .count();
}

// A frame of about 200 bytes as the service sends it, its send time inside.
std::string frame(int id, std::int64_t sentNs) {
  const std::string n = std::to_string(id);
  return R"({"id":)" + n + R"(,"channel":"conversation_reply","message":{"sent":)" +
         std::to_string(sentNs) + R"(,"conversation_id":4242,"body":"Hello, how can we help )" +
         R"(you today? A reply of ordinary length."},"tag":"tag-)" + n + R"(","time":"16e8.)" + n +
         R"("})";
}

std::int64_t sentNs(const std::string& text) {
  const auto at = text.find(R"("sent":)");
  return at == std::string::npos ? 0 : std::strtoll(text.c_str() + at + 7, nullptr, 10);
}

// What one side saw: frames counted, latencies of the paced frames.
struct Tally {
  std::atomic<int> frames{0};
  std::vector<std::int64_t> latencies;
  bool pacing = false;
  void onFrame(const std::string& text) {
    if (pacing) latencies.push_back(nowNs() - sentNs(text));
    frames.fetch_add(1, std::memory_order_relaxed);
  }
};

// One client of the server: waits for what was pushed, whatever it takes.
struct Side {
  std::function<void()> connect;
  std::function<bool(Tally&, int count)> readUntil;  // false if not within kLimit
  std::function<void()> close;
};

struct Printer final : tavrel::RtsServiceProtocol {
  Tally* tally = nullptr;
  void onRtsMessage(const std::string& text) override { tally->onFrame(text); }
};

Side ourSide(TestWsServer&, std::shared_ptr<tavrel::TavrelSocket>& socket,
             std::shared_ptr<Printer> printer) {
  Side side;
  side.connect = [&socket] { socket->connect(); };
  side.readUntil = [printer](Tally& tally, int count) {
    printer->tally = &tally;
    return tavrel::rx::MainQueue::shared().runUntil(
        [&] { return tally.frames.load(std::memory_order_relaxed) >= count; }, kLimit);
  };
  side.close = [&socket] {
    socket->disconnect();
    tavrel::rx::MainQueue::shared().runFor(std::chrono::milliseconds(100));
  };
  return side;
}

Side bareSide(TestWsServer& server, std::shared_ptr<websocket::stream<asio::ip::tcp::socket>>& ws,
              asio::io_context& context) {
  Side side;
  side.connect = [&server, &ws, &context] {
    ws = std::make_shared<websocket::stream<asio::ip::tcp::socket>>(context);
    asio::ip::tcp::resolver resolver(context);
    asio::connect(ws->next_layer(), resolver.resolve("127.0.0.1", std::to_string(server.port())));
    ws->handshake("127.0.0.1", "/conversation_reply.7?auth_token=t");
  };
  side.readUntil = [&ws](Tally& tally, int count) {
    boost::beast::flat_buffer buffer;
    while (tally.frames.load(std::memory_order_relaxed) < count) {
      ws->read(buffer);
      tally.onFrame(boost::beast::buffers_to_string(buffer.data()));
      buffer.consume(buffer.size());
    }
    return true;
  };
  side.close = [&ws] { ws->close(websocket::close_code::normal); };
  return side;
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "bench_rts: %s within %lld s\n", what,
               static_cast<long long>(kLimit.count()));
  std::exit(1);
}

struct Round {
  double framesPerSecond = 0;
  std::vector<std::int64_t> latencies;
};

// One side's turn: a fresh connection, the burst, then the paced frames.
Round runSide(TestWsServer& server, Side& side) {
  const auto before = server.connections().size();
  side.connect();
  if (!server.waitForConnections(before + 1, kLimit)) fail("no connection");
  auto connection = *server.current();
  Round round;
  {
    Tally tally;
    std::vector<WsFrame> burst;
    burst.reserve(kFrames);
    for (int i = 0; i < kFrames; ++i) burst.push_back(WsFrame::text(frame(i, 0)));
    const auto start = Clock::now();
    connection.send(std::move(burst));
    if (!side.readUntil(tally, kFrames)) {
      std::fprintf(stderr, "bench_rts: %d of %d frames\n", tally.frames.load(), kFrames);
      fail("the burst did not arrive");
    }
    round.framesPerSecond =
        kFrames / std::chrono::duration<double>(Clock::now() - start).count();
  }
  {
    Tally tally;
    tally.pacing = true;
    tally.latencies.reserve(kPaced);
    std::thread sender([&connection] {
      auto next = Clock::now();
      for (int i = 0; i < kPaced; ++i) {
        std::this_thread::sleep_until(next += kPace);
        connection.send(WsFrame::text(frame(kFrames + i, nowNs())));
      }
    });
    const bool all = side.readUntil(tally, kPaced);
    sender.join();
    if (!all) fail("the paced frames did not arrive");
    round.latencies = std::move(tally.latencies);
  }
  side.close();
  return round;
}

double percentile(std::vector<std::int64_t> values, double p) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1))] / 1000.0;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main() {
  tavrel::setDebugSink([](std::string_view) {});  // the socket's debug lines
  TestWsServer server;
  const auto bundle = std::filesystem::temp_directory_path() /
                      ("tavrel_rts_bench_" + std::to_string(::getpid()));
  std::filesystem::create_directories(bundle);
  std::ofstream(bundle / "Info.plist") << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                                          "<key>wssUrl</key><string>"
                                       << server.url("") << "</string></dict></plist>\n";
  tavrel::Bundle::registerBundle(tavrel::Bundle::libIdentifier, bundle);

  auto settings = std::make_shared<tavrel::NetworkSettings>(
      tavrel::NetworkSettings::ConnectionType::app, "t", "7", "9");
  auto printer = std::make_shared<Printer>();
  auto socket = tavrel::TavrelSocket::create(settings, {tavrel::Channel::conversationReply},
                                             printer);
  asio::io_context context;
  std::shared_ptr<websocket::stream<asio::ip::tcp::socket>> bare;
  Side ours = ourSide(server, socket, printer);
  Side plain = bareSide(server, bare, context);

  std::printf("%d frames of %zu bytes per burst, %d paced frames every %lld us, %d rounds\n",
              kFrames, frame(kFrames, nowNs()).size(), kPaced,
              static_cast<long long>(kPace.count()), kRounds);
  std::printf("%-26s %14s %14s %12s %12s\n", "round", "ours frames/s", "bare frames/s", "ratio",
              "");
  std::vector<double> ratios;
  std::vector<std::int64_t> ourLatencies, bareLatencies;
  for (int r = 0; r < kRounds; ++r) {
    const Round a = runSide(server, ours);
    const Round b = runSide(server, plain);
    ratios.push_back(a.framesPerSecond / b.framesPerSecond);
    ourLatencies.insert(ourLatencies.end(), a.latencies.begin(), a.latencies.end());
    bareLatencies.insert(bareLatencies.end(), b.latencies.begin(), b.latencies.end());
    std::printf("%-26d %14.0f %14.0f %12.2f\n", r + 1, a.framesPerSecond, b.framesPerSecond,
                ratios.back());
  }
  std::printf("throughput ratio, median of rounds: %.2f (goal at least 0.80)\n", median(ratios));
  std::printf("latency, send to delivery: %-8s median %8.1f us   p99 %8.1f us\n", "ours",
              percentile(ourLatencies, 0.5), percentile(ourLatencies, 0.99));
  std::printf("latency, send to delivery: %-8s median %8.1f us   p99 %8.1f us\n", "bare",
              percentile(bareLatencies, 0.5), percentile(bareLatencies, 0.99));
  socket.reset();
  std::filesystem::remove_all(bundle);
  return 0;
}
