#pragma once
// HttpTransport: sends HttpRequests over HTTP/1.1 or HTTP/2. Connections are
// kept alive and reused, TLS peers are always verified, nothing is retried.
//
// Threads. The transport has two kinds of thread, all its own, started at
// the first request:
//  - one I/O thread, which only moves bytes: it runs libcurl, reads bodies
//    into memory and hands each outcome over; no code of the caller runs there;
//  - the callback queue, the HTTP layer's default queue: up to
//    callbackThreads workers, started when work waits and none is free. Every
//    completion runs there, and with it what a provider does with an answer
//    (plugins' didReceive and process, writing downloads, decoding, the
//    subscribers of a reactive request). Completions start in the order their
//    requests finished, but two of them may run at once, so a completion that
//    shares state with another must lock it. A long one (decoding a large
//    answer) holds one worker and delays neither transfers nor, while
//    another worker is free, other completions.
// An exception that escapes a completion or a posted job is caught there and
// written to the debug sink; it never takes a thread down.
//
// Redirects are followed only within the request's origin (scheme, host and
// port), so credentials in a URL or body never go elsewhere and https never
// turns into http; a redirect to another origin is the answer itself.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "tavrel/http/http_message.h"
#include "tavrel/http/url_error.h"

namespace tavrel {

struct TransportOptions {
  // Largest body accepted; a bigger one fails with dataLengthExceedsMaximum.
  std::size_t maxResponseBytes = 32u * 1024 * 1024;
  // Time allowed to connect (name lookup, TCP, TLS).
  std::chrono::milliseconds connectTimeout = std::chrono::seconds(30);
  // Time allowed for the whole transfer, unless the request sets its own. It
  // counts from the moment the request gets its connection, not while it
  // waits for one, and covers the redirects it follows.
  std::chrono::milliseconds requestTimeout = std::chrono::seconds(60);
  // Redirects within the origin followed before httpTooManyRedirects.
  long maxRedirects = 5;
  // Requests in flight at once to one origin, each on a connection of its
  // own; more wait in order for one to finish.
  long maxConnectionsPerHost = 8;
  // Workers of the callback queue.
  std::size_t callbackThreads = 2;
  // A streamed body (HttpTransport::stream) has no overall time limit unless
  // its request sets one; it fails with timedOut once it has moved less than
  // one byte a second for this long.
  std::chrono::milliseconds stallTimeout = std::chrono::seconds(30);
  // A PEM file of additional trust anchors, such as a private CA; empty for
  // none. The system store is always used, and every TLS peer is verified,
  // host name included, whether this is set or not.
  std::string caFile;
};

// The outcome of one request: the answer, whatever its status, or the failure.
using HttpResult = std::variant<HttpResponse, URLError>;

// Where a streamed body goes instead of memory. Both functions run on the I/O
// thread, so they must be quick (writing to a file is), must not block, and
// may call nothing of the transport but RequestHandle::cancel. Returning
// false from either stops the transfer; it then completes with a URLError.
struct BodySink {
  // The status and headers of the final answer, after redirects, once and
  // before its first byte (also for an empty body).
  std::function<bool(int status, const HeaderFields& headers)> onResponse;
  // Each piece of the body, in order.
  std::function<bool(std::string_view bytes)> onData;
};

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
  // Completes every unfinished request with cancelled, runs what the callback
  // queue holds, then joins the threads.
  ~HttpTransport();
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  // The process-wide transport with default options, made at first use and
  // shut down at exit.
  static HttpTransport& shared();

  const TransportOptions& options() const noexcept;

  // Starts the request; completion runs exactly once, on the callback queue.
  RequestHandle send(HttpRequest request, Completion completion);

  // As send, but the final answer's body goes to sink piece by piece as it
  // arrives, in constant memory; the HttpResponse handed to completion holds
  // no data. The body is asked for without compression, so that its bytes
  // are the resource's own (byte ranges stay meaningful), and has no size cap.
  RequestHandle stream(HttpRequest request, BodySink sink, Completion completion);

  // Runs job on the callback queue. A job that is still waiting when the
  // transport shuts down is run on its way out; one posted after that runs at
  // once on the caller's thread.
  void post(std::function<void()> job);

  struct Core;

 private:
  RequestHandle start(HttpRequest request, BodySink* sink, Completion completion);
  std::shared_ptr<Core> core_;
};

}  // namespace tavrel
