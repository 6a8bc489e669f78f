#pragma once
// A loopback HTTP/1.1 server for tests, plain or over TLS with the run-time
// certificate of test_cert.h (a client reaches it by trusting certFile). It
// listens on 127.0.0.1 with an ephemeral port, serves each connection on a
// thread of its own, records every request it reads, and answers each one
// from a queue of canned replies or from a handler. Besides ordinary answers
// it can misbehave on purpose: never answer, drop the connection, stream a
// huge body, or close in the middle of a body.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrel::test {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// One request as the server read it.
struct RecordedRequest {
  std::string method;   // "GET", "POST", ...
  std::string target;   // path and query as sent, e.g. "/a/b?x=1"
  std::string path{};    // target up to "?"
  std::string query{};   // target after "?", without it; empty if none
  HeaderList headers{};  // in the order received
  std::string body{};

  // The first header of that name (case-insensitive), if any.
  std::optional<std::string> header(std::string_view name) const;
};

// What the server does with one request.
struct Reply {
  enum class Kind {
    normal,           // status, headers and body
    neverAnswer,      // keep the connection open and say nothing
    closeConnection,  // close the connection without a reply
    hugeBody,         // a valid reply of hugeSize bytes "x", streamed, with headers
    truncatedBody,    // announce body + missing bytes, send headers and body, close
  };
  Kind kind = Kind::normal;
  int status = 200;
  HeaderList headers{};
  std::string body{};
  std::size_t hugeSize = 0;      // for hugeBody
  std::size_t missingBytes = 0;  // for truncatedBody
  // A normal reply goes out this long after the request, holding up no
  // other connection.
  std::chrono::milliseconds delay{0};

  static Reply text(int status, std::string body) {
    return {.status = status, .headers = {{"Content-Type", "text/plain; charset=utf-8"}}, .body = std::move(body)};
  }
  static Reply json(int status, std::string body) {
    return {.status = status, .headers = {{"Content-Type", "application/json"}}, .body = std::move(body)};
  }
  static Reply never() { return {.kind = Kind::neverAnswer}; }
  static Reply close() { return {.kind = Kind::closeConnection}; }
  static Reply huge(std::size_t bytes) { return {.kind = Kind::hugeBody, .hugeSize = bytes}; }
  static Reply truncated(std::string body, std::size_t missing) {
    return {.kind = Kind::truncatedBody, .body = std::move(body), .missingBytes = missing};
  }
};

// A file served as a server with byte ranges would serve it: 206 with the
// part from a "Range: bytes=N-" when ranges are on and If-Range (if sent)
// matches etag, else 200 with the whole body; ETag sent when not empty.
Reply rangeReply(const RecordedRequest& request, const std::string& body, const std::string& etag,
                 bool ranges = true);

class TestHttpServer {
 public:
  using Handler = std::function<Reply(const RecordedRequest&)>;
  enum class Security { plain, tls };

  // Starts listening and serving at once.
  explicit TestHttpServer(Security security = Security::plain);
  // Stops and joins; connections still open are closed.
  ~TestHttpServer();
  TestHttpServer(const TestHttpServer&) = delete;
  TestHttpServer& operator=(const TestHttpServer&) = delete;

  std::uint16_t port() const;
  // "http://127.0.0.1:<port>" (https for a TLS server) followed by path (which should start with "/").
  std::string url(std::string_view path = "/") const;

  // Queues a reply; queued replies are used first, in order.
  void enqueue(Reply reply);
  // Answers requests once the queue is empty; without one the server
  // answers 200 with an empty body. It runs on the connection's thread; an
  // exception from it becomes a 500 answer.
  void setHandler(Handler handler);

  // Everything recorded so far, in arrival order.
  std::vector<RecordedRequest> requests() const;
  // Waits until at least count requests have arrived; false on timeout.
  bool waitForRequests(std::size_t count,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  // Connections accepted so far.
  std::size_t connectionCount() const;

  // Stops serving; idempotent. Called by the destructor.
  void stop();

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace tavrel::test
