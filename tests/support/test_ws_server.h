#pragma once
// A loopback WebSocket server for tests (ws, or wss with the run-time test
// certificate of test_cert.h). It listens on one address with an ephemeral
// port, serves every connection on one thread of its own, and records what
// each connection did. Every member may be called from any thread. Sends are
// posted to the server's thread and go out in the order they were posted; a
// batch costs one post whatever its size. The connect handler runs on the
// server's thread, must not block, and may use the connection it gets.
//
// Misbehaviour on purpose (Options): `silentHandshake` accepts TCP and never
// answers (neither TLS nor the upgrade); `ignoreClose` stops reading once
// upgraded, so a close from the client is never answered.
// `WsConnection::drop` cuts TCP without a close.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_http_server.h"  // HeaderList

namespace tavrel::test {

struct WsFrame {
  enum class Kind { text, binary, ping, pong, close };
  Kind kind = Kind::text;
  std::string payload;  // sent as it is (a text need not be UTF-8); a close's reason
  std::uint16_t code = 1000;  // of a close

  static WsFrame text(std::string s) { return {Kind::text, std::move(s)}; }
  static WsFrame binary(std::string s) { return {Kind::binary, std::move(s)}; }
  static WsFrame ping(std::string s = {}) { return {Kind::ping, std::move(s)}; }
  static WsFrame pong(std::string s = {}) { return {Kind::pong, std::move(s)}; }
  // Starts the closing handshake; frames after it are not sent.
  static WsFrame close(std::uint16_t code, std::string reason = {}) {
    return {Kind::close, std::move(reason), code};
  }
};

// What the server saw of one connection.
struct WsConnectionRecord {
  std::size_t id = 0;        // 1 for the first connection accepted, and so on
  std::string target;        // path and query of the upgrade request
  HeaderList headers;        // of the upgrade request
  bool upgraded = false;     // the opening handshake completed
  std::vector<std::string> received;      // the client's messages, in order
  std::optional<std::uint16_t> closeCode;  // of the client's close frame
  bool ended = false;        // the connection is gone, whichever side ended it
};

// A handle on one upgraded connection; copies share it. Calls on a
// connection that has ended do nothing.
class WsConnection {
 public:
  struct Session;
  WsConnection(std::shared_ptr<void> server, std::weak_ptr<Session> session, std::size_t id)
      : server_(std::move(server)), session_(std::move(session)), id_(id) {}

  std::size_t id() const { return id_; }
  void send(WsFrame frame) const { send(std::vector<WsFrame>{std::move(frame)}); }
  void send(std::vector<WsFrame> frames) const;
  void close(std::uint16_t code, std::string reason = {}) const {
    send(WsFrame::close(code, std::move(reason)));
  }
  // Closes the TCP connection without a close frame.
  void drop() const;

 private:
  std::shared_ptr<void> server_;  // keeps the server's context alive for posts
  std::weak_ptr<Session> session_;
  std::size_t id_;
};

class TestWsServer {
 public:
  struct Options {
    bool tls = false;                  // wss with testCertificate()
    std::string address = "127.0.0.1";  // any loopback address
    bool silentHandshake = false;
    bool ignoreClose = false;
  };
  using ConnectHandler = std::function<void(const WsConnection&, const WsConnectionRecord&)>;

  TestWsServer();
  explicit TestWsServer(Options options);
  // Stops and joins; open connections are cut.
  ~TestWsServer();
  TestWsServer(const TestWsServer&) = delete;
  TestWsServer& operator=(const TestWsServer&) = delete;

  std::uint16_t port() const;
  // "ws://<address>:<port>" (or wss) followed by pathAndQuery.
  std::string url(std::string_view pathAndQuery = "/") const;

  // Called once a connection is upgraded, before anything is read from it.
  void onConnect(ConnectHandler handler);

  // The latest upgraded connection, if any.
  std::optional<WsConnection> current() const;
  // Every connection so far, accepted ones that never upgraded included.
  std::vector<WsConnectionRecord> connections() const;
  // Waits until `done(connections())` holds; false on timeout.
  bool waitUntil(const std::function<bool(const std::vector<WsConnectionRecord>&)>& done,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  // Waits until count connections were upgraded.
  bool waitForConnections(std::size_t count,
                          std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  void stop();  // idempotent; called by the destructor

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
};

}  // namespace tavrel::test
