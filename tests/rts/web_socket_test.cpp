#include "tavrel/rts/web_socket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "support/test_cert.h"
#include "support/test_ws_server.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel {
namespace {

using namespace std::chrono_literals;
using test::TestWsServer;
using test::WsConnectionRecord;
using test::WsFrame;
using Kind = WebSocketError::Kind;
using Records = std::vector<WsConnectionRecord>;

URLRequest requestFor(const std::string& url, double timeout = 5) {
  return URLRequest(*Url::parse(url), std::chrono::duration<double>(timeout));
}

// Everything a socket delivers, read on the main queue, which the test
// drains while it waits.
struct Recorder {
  explicit Recorder(WebSocket& ws)
      : events(ws.response().subscribe([this](const WebSocketEvent& e) { seen.push_back(e); })),
        states(ws.connected().subscribe([this](bool c) { connected.push_back(c); })) {}
  ~Recorder() {
    events.dispose();
    states.dispose();
  }

  // Drains until an event of type T has arrived since the last wait.
  template <class T>
  const T* next(rx::Duration timeout = 10s) {
    const T* found = nullptr;
    rx::MainQueue::shared().runUntil(
        [&] {
          for (; !found && checked < seen.size(); ++checked) found = std::get_if<T>(&seen[checked].payload);
          return found != nullptr;
        },
        timeout);
    return found;
  }
  template <class T>
  std::size_t count() const {
    return std::count_if(seen.begin(), seen.end(),
                         [](const auto& e) { return std::holds_alternative<T>(e.payload); });
  }

  std::vector<WebSocketEvent> seen;
  std::vector<bool> connected;
  std::size_t checked = 0;
  rx::Disposable events, states;
};

auto closedWith(std::uint16_t code) {
  return [code](const Records& r) { return !r.empty() && r.back().closeCode == code && r.back().ended; };
}

// Over wss with the test certificate trusted.
TEST(WebSocket, DeliversFramesInOrderWritesAndSendsTheRequest) {
  TestWsServer server({.tls = true});
  server.onConnect([](const test::WsConnection& c, const WsConnectionRecord&) {
    c.send({WsFrame::text("first"), WsFrame::binary(std::string("\0\xff", 2)), WsFrame::ping("p"),
            WsFrame::pong("q"), WsFrame::text("last")});
  });
  WebSocket ws(requestFor(server.url("/chan.7/ping.7?auth_token=t%20k")));
  ws.extraCaFile = test::testCertificate().certFile;
  ws.request.headers["X-Trace"] = "42";
  Recorder rec(ws);
  ws.connect();
  ws.connect();  // open or opening: nothing more

  auto* connected = rec.next<WebSocketEvent::Connected>();
  ASSERT_NE(connected, nullptr);
  EXPECT_EQ(connected->headers.at("Upgrade"), "websocket");
  ASSERT_NE(rec.next<WebSocketEvent::Pong>(), nullptr);
  auto* last = rec.next<WebSocketEvent::Text>();
  ASSERT_NE(last, nullptr);
  ASSERT_EQ(rec.seen.size(), 6u);
  EXPECT_EQ(std::get<WebSocketEvent::Text>(rec.seen[1].payload).text, "first");
  EXPECT_EQ(std::get<WebSocketEvent::Binary>(rec.seen[2].payload).data, (std::vector<std::uint8_t>{0, 0xff}));
  EXPECT_EQ(std::get<WebSocketEvent::Ping>(rec.seen[3].payload).data, std::vector<std::uint8_t>{'p'});
  EXPECT_EQ(std::get<WebSocketEvent::Pong>(rec.seen[4].payload).data, std::vector<std::uint8_t>{'q'});
  EXPECT_EQ(last->text, "last");

  ws.write("one");
  ws.write("two");
  ws.disconnect(std::nullopt, 4002);  // after the writes asked for before it
  auto* closed = rec.next<WebSocketEvent::Disconnected>();
  ASSERT_NE(closed, nullptr);
  EXPECT_EQ(closed->code, 4002);  // as the server echoes it
  EXPECT_TRUE(server.waitUntil(closedWith(4002)));
  auto records = server.connections();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].target, "/chan.7/ping.7?auth_token=t%20k");
  EXPECT_EQ(records[0].received, (std::vector<std::string>{"one", "two"}));
  auto header = std::find_if(records[0].headers.begin(), records[0].headers.end(),
                             [](const auto& h) { return h.first == "X-Trace"; });
  ASSERT_NE(header, records[0].headers.end());
  EXPECT_EQ(header->second, "42");
  EXPECT_EQ(rec.connected, (std::vector<bool>{true, false}));
}

// How a connection ends, from either side, and what the socket reports.
TEST(WebSocket, EndsAsEachSideOrTheNetworkEndsIt) {
  enum class Ender { serverClose, serverDrop, clientForce, clientNoAnswer };
  for (Ender ender : {Ender::serverClose, Ender::serverDrop, Ender::clientForce, Ender::clientNoAnswer}) {
    SCOPED_TRACE(static_cast<int>(ender));
    // The client's own close is never answered.
    TestWsServer server({.ignoreClose = ender == Ender::clientForce || ender == Ender::clientNoAnswer});
    WebSocket ws(requestFor(server.url(), 0.3));
    Recorder rec(ws);
    ws.connect();
    ASSERT_NE(rec.next<WebSocketEvent::Connected>(), nullptr);
    ASSERT_TRUE(server.waitForConnections(1));  // current() is set
    const auto started = std::chrono::steady_clock::now();
    switch (ender) {
      case Ender::serverClose: {
        server.current()->close(4000, "bye");
        auto* d = rec.next<WebSocketEvent::Disconnected>();
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->code, 4000);
        EXPECT_EQ(d->reason, "bye");
        EXPECT_TRUE(server.waitUntil(closedWith(4000)));  // the client echoes the code
        break;
      }
      case Ender::clientForce:
        ws.disconnect(0.1);
        ASSERT_NE(rec.next<WebSocketEvent::Cancelled>(), nullptr);
        EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
        break;
      case Ender::serverDrop:
      case Ender::clientNoAnswer: {  // the latter bounded by the request's timeout
        ender == Ender::serverDrop ? server.current()->drop() : ws.disconnect();
        auto* e = rec.next<WebSocketEvent::Error>();
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->error.kind, ender == Ender::serverDrop ? Kind::connectionLost : Kind::timedOut)
            << e->error.message;
        if (ender == Ender::clientNoAnswer) {
          EXPECT_GE(std::chrono::steady_clock::now() - started, 250ms);
        }
        break;
      }
    }
    EXPECT_EQ(rec.connected, (std::vector<bool>{true, false}));
    ws.write("late");
    ws.disconnect();  // nothing left to close
    rx::MainQueue::shared().drainPending();
    EXPECT_EQ(rec.seen.size(), 2u);
  }
}

TEST(WebSocket, ReconnectsWithTheNewRequestAndDropsTheOldSessionsEvents) {
  TestWsServer first, second;
  first.onConnect([](const test::WsConnection& c, const WsConnectionRecord&) {
    c.send(std::vector<WsFrame>(50, WsFrame::text("old")));
    c.close(1000);
  });
  WebSocket ws(requestFor(first.url("/a")));
  Recorder rec(ws);
  ws.connect();
  // The server has seen the client's close answer, so the old frames are on
  // their way to the main queue, which nobody drains meanwhile.
  ASSERT_TRUE(first.waitUntil(closedWith(1000)));
  ws.request = requestFor(second.url("/b?tag=1"));
  ws.disconnect();
  ws.connect();
  ASSERT_NE(rec.next<WebSocketEvent::Connected>(), nullptr);
  ASSERT_TRUE(second.waitForConnections(1));
  second.current()->send(WsFrame::text("new"));
  auto* text = rec.next<WebSocketEvent::Text>();
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->text, "new");
  EXPECT_EQ(rec.seen.size(), 2u);  // Connected and "new" only
  EXPECT_EQ(rec.count<WebSocketEvent::Disconnected>(), 0u);
  EXPECT_EQ(second.connections()[0].target, "/b?tag=1");

  // Reconnecting after the far side ended the connection.
  second.current()->close(1001);
  ASSERT_NE(rec.next<WebSocketEvent::Disconnected>(), nullptr);
  ws.connect();
  ASSERT_NE(rec.next<WebSocketEvent::Connected>(), nullptr);
  EXPECT_TRUE(second.waitForConnections(2));
  EXPECT_EQ(rec.connected, (std::vector<bool>{true, false, true}));
}

// Limits: each ends the connection with the close code RFC 6455 gives.
TEST(WebSocket, ClosesOnOversizeAndInvalidText) {
  const std::size_t limit = 16u * 1024 * 1024;
  struct Case {
    const char* name;
    std::size_t maxMessageBytes;
    std::vector<WsFrame> frames;
    std::uint16_t code;
  };
  const Case cases[] = {
      {"one frame over the default", limit, {WsFrame::binary(std::string(limit + 1, 'x'))}, 1009},
      {"a text over a small limit", 4, {WsFrame::text("12345")}, 1009},
      {"not UTF-8", limit, {WsFrame::text("ok"), WsFrame::text("caf\xc3")}, 1007},
      {"overlong encoding", limit, {WsFrame::text("\xc0\xaf")}, 1007},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestWsServer server;
    server.onConnect([&c](const test::WsConnection& conn, const WsConnectionRecord&) { conn.send(c.frames); });
    WebSocket ws(requestFor(server.url()));
    ws.maxMessageBytes = c.maxMessageBytes;
    Recorder rec(ws);
    ws.connect();
    auto* e = rec.next<WebSocketEvent::Error>();
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->error.kind, Kind::protocol) << e->error.message;
    EXPECT_TRUE(server.waitUntil(closedWith(c.code)));
    EXPECT_EQ(rec.count<WebSocketEvent::Text>(), c.code == 1007 && c.frames.size() == 2 ? 1u : 0u);
    EXPECT_EQ(rec.connected.back(), false);
  }
}

// Opening fails with a clear error: a bad URL at once, a silent server
// within the request's timeout, an untrusted or misnamed wss peer.
TEST(WebSocket, OpeningFailsWithAnError) {
  for (const char* url : {"http://127.0.0.1/", "ws:/no-host", "wss://"}) {
    SCOPED_TRACE(url);
    WebSocket ws(requestFor(url));
    Recorder rec(ws);
    ws.connect();
    auto* e = rec.next<WebSocketEvent::Error>();
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->error.kind, Kind::badURL);
    EXPECT_EQ(rec.connected, std::vector<bool>{false});
  }
  const auto caFile = test::testCertificate().certFile;
  struct Case {
    const char* name;
    TestWsServer::Options options;
    bool trustTestCa;
    Kind kind;
  };
  const Case cases[] = {
      {"silent ws", {.silentHandshake = true}, false, Kind::timedOut},
      {"silent wss", {.tls = true, .silentHandshake = true}, true, Kind::timedOut},
      {"untrusted", {.tls = true}, false, Kind::cannotConnect},
      {"host not in the certificate", {.tls = true, .address = "127.0.0.2"}, true, Kind::cannotConnect},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestWsServer server(c.options);
    WebSocket ws(requestFor(server.url(), 0.3));
    if (c.trustTestCa) ws.extraCaFile = caFile;
    Recorder rec(ws);
    auto started = std::chrono::steady_clock::now();
    ws.connect();
    auto* e = rec.next<WebSocketEvent::Error>();
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->error.kind, c.kind) << e->error.message;
    if (c.options.silentHandshake) {
      auto took = std::chrono::steady_clock::now() - started;
      EXPECT_GE(took, 250ms);
      EXPECT_LT(took, 3s);
    }
    EXPECT_EQ(rec.connected, std::vector<bool>{false});
  }

  // A socket still opening is cut at once.
  TestWsServer silent({.silentHandshake = true});
  WebSocket ws(requestFor(silent.url()));
  Recorder rec(ws);
  ws.connect();
  ASSERT_TRUE(silent.waitUntil([](const Records& r) { return !r.empty(); }));
  ws.disconnect();
  ASSERT_NE(rec.next<WebSocketEvent::Cancelled>(), nullptr);
}

TEST(WebSocket, ADestroyedSocketClosesAndDeliversNothingMore) {
  TestWsServer server;
  auto ws = std::make_unique<WebSocket>(requestFor(server.url()));
  Recorder rec(*ws);
  ws->connect();
  ASSERT_NE(rec.next<WebSocketEvent::Connected>(), nullptr);
  ASSERT_TRUE(server.waitForConnections(1));
  server.current()->send(std::vector<WsFrame>(20, WsFrame::text("x")));
  ASSERT_NE(rec.next<WebSocketEvent::Text>(), nullptr);  // more are on their way
  ws.reset();
  EXPECT_TRUE(server.waitUntil(closedWith(1001)));
  std::size_t before = rec.seen.size();
  rx::MainQueue::shared().drainPending();
  EXPECT_EQ(rec.seen.size(), before);
}

}  // namespace
}  // namespace tavrel
