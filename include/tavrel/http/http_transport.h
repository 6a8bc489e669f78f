#pragma once
// HttpTransport: sends HttpRequests over HTTP/1.1 or HTTP/2 on one I/O thread
// of its own, started at the first request. Connections are kept alive and
// reused, TLS peers are always verified, nothing is retried. Completions run
// on the I/O thread: that thread is the HTTP layer's default queue, so a
// completion must not block.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <variant>

#include "tavrel/http/http_message.h"
#include "tavrel/http/url_error.h"

namespace tavrel {

struct TransportOptions {
  // Largest body accepted; a bigger one fails with dataLengthExceedsMaximum.
  std::size_t maxResponseBytes = 32u * 1024 * 1024;
  // Time allowed to connect (name lookup, TCP, TLS).
  std::chrono::milliseconds connectTimeout = std::chrono::seconds(30);
  // Time allowed for the whole transfer, unless the request sets its own.
  std::chrono::milliseconds requestTimeout = std::chrono::seconds(60);
  // Redirects followed before httpTooManyRedirects.
  long maxRedirects = 10;
  // Connections open at once to one host; more requests wait for one.
  long maxConnectionsPerHost = 8;
};

// The outcome of one request: the answer, whatever its status, or the failure.
using HttpResult = std::variant<HttpResponse, URLError>;

// Lets the caller cancel one request from any thread. Cancelling a request
// that has not finished completes it with URLError cancelled; cancelling one
// that has finished, or an empty handle, does nothing. Copies share the request.
class RequestHandle {
 public:
  RequestHandle() = default;
  void cancel() const;

  struct State;  // the transport's own record of the request

 private:
  friend class HttpTransport;
  explicit RequestHandle(std::shared_ptr<State> state) : state_(std::move(state)) {}
  std::shared_ptr<State> state_;
};

class HttpTransport {
 public:
  using Completion = std::function<void(HttpResult)>;

  explicit HttpTransport(TransportOptions options = {});
  // Completes every unfinished request with cancelled, then joins the thread.
  ~HttpTransport();
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  // The process-wide transport with default options, made at first use and
  // shut down at exit.
  static HttpTransport& shared();

  const TransportOptions& options() const noexcept;

  // Starts the request; completion runs exactly once, on the I/O thread.
  RequestHandle send(HttpRequest request, Completion completion);

  // Runs job on the I/O thread, after what is queued before it. A job that
  // is still waiting when the transport shuts down is run on its way out.
  void post(std::function<void()> job);

  struct Core;

 private:
  std::shared_ptr<Core> core_;
};

}  // namespace tavrel
