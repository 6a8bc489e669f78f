#pragma once
// WebSocket: one client connection (RFC 6455) over ws or wss, with reactive
// views of its events.
//
// Threads. Every socket of the process is served by one I/O thread, owned by
// the layer and started with the first connect; no code of the caller runs
// there. Events are delivered on the socket's callback queue, the main queue
// unless the host sets another, one at a time and in the order they happened.
// `connect` and `disconnect` may be called from any thread, but a host that
// wants the ordering rules below to be exact calls them where events are
// delivered (the main thread by default).
//
// Connections. `connect` opens a connection to `request` as it is at that
// moment; it does nothing while a connection is open or opening. A connect
// after `disconnect`, or after the far side or the network ended the
// connection, opens a new one on the same object. Once a new connection has
// been asked for, no event of an earlier one is delivered any more.
// `disconnect` starts the closing handshake and ends reading: no frame of
// that connection is delivered after it, neither those the far side sends
// before it answers the close nor those already read and waiting for the
// callback queue; then comes `Disconnected`. A client that resumes from the
// last frame it handled gets those again from a service that replays.
//
// Limits, each ending the connection with a close rather than a crash: a
// message over `maxMessageBytes` closes with 1009, a text frame that is not
// UTF-8 with 1007; a connection whose TCP connect, TLS and opening handshake
// do not finish within the request's timeout fails with an `Error` event.
// wss peers are verified against the system's trust store, host name
// included.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include "tavrel/core/url.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/scheduler.h"

namespace tavrel {

// The request a connection is opened with.
struct URLRequest {
  // 60 seconds: the default timeout interval of a request.
  static constexpr std::chrono::duration<double> defaultTimeoutInterval{60.0};

  explicit URLRequest(Url requestUrl,
                      std::chrono::duration<double> timeout = defaultTimeoutInterval)
      : url(std::move(requestUrl)), timeoutInterval(timeout) {}

  Url url;                                         // ws:// or wss:// address
  std::chrono::duration<double> timeoutInterval;  // bounds connect and handshakes
  std::map<std::string, std::string> headers;     // extra handshake headers
};

// RFC 6455 close codes the library uses by name.
enum class CloseCode : std::uint16_t {
  normal = 1000,         // the purpose of the connection was fulfilled
  goingAway = 1001,      // an endpoint is going away
  protocolError = 1002,  // the peer broke the protocol
  invalid = 1007,        // a text message that is not UTF-8
  tooBig = 1009,         // a message over the size limit
};

// Why a connection failed, as the `Error` event carries it.
struct WebSocketError {
  enum class Kind {
    badURL,          // the request's URL is not ws or wss with a host
    cannotConnect,   // name lookup, TCP or TLS failed
    timedOut,        // connect and handshakes took longer than the timeout
    upgradeRefused,  // the server answered the opening handshake without 101
    protocol,        // a frame broke the protocol, the connection is closed
    connectionLost,  // the connection broke without a closing handshake
  };
  Kind kind;
  std::error_code code;  // the underlying cause, if any
  std::string message;   // for people: what happened and with what
};

// What happens on a connection, in order.
struct WebSocketEvent {
  struct Connected {
    std::map<std::string, std::string> headers;  // the server's 101 answer
  };
  struct Disconnected {
    std::string reason;  // the close frame's reason text
    std::uint16_t code;  // the close frame's code
  };
  struct Text {
    std::string text;  // one whole text message, valid UTF-8
  };
  struct Binary {
    std::vector<std::uint8_t> data;  // one whole binary message
  };
  struct Ping {
    std::vector<std::uint8_t> data;  // the ping's payload (answered already)
  };
  struct Pong {
    std::vector<std::uint8_t> data;  // the pong's payload
  };
  struct Error {
    WebSocketError error;
  };
  struct Cancelled {};  // the connection was cut without a close (forceTimeout)

  std::variant<Connected, Disconnected, Text, Binary, Ping, Pong, Error, Cancelled> payload;
};

class WebSocket {
 public:
  // `protocols` go into Sec-WebSocket-Protocol when not empty.
  explicit WebSocket(URLRequest request, std::vector<std::string> protocols = {});
  // Closes an open connection (1001) without waiting; nothing is delivered
  // afterwards.
  virtual ~WebSocket();
  WebSocket(const WebSocket&) = delete;
  WebSocket& operator=(const WebSocket&) = delete;

  // The request of the next connect. Changing it does not touch an open
  // connection.
  URLRequest request;
  // Largest message accepted; see the limits above.
  std::size_t maxMessageBytes = 16u * 1024 * 1024;
  // A PEM file of certificates that wss peers may also chain to, besides the
  // system's trust store (a private CA, or a test server's own certificate).
  // Read at each connect; a file that cannot be read fails the connect with
  // an `Error` event.
  std::optional<std::filesystem::path> extraCaFile;

  // Where events are delivered; the main queue by default (also when given
  // none). Set it before connecting: events already on their way stay on
  // the queue they were given to.
  void setCallbackQueue(rx::SchedulerPtr queue);

  virtual void connect();
  // Sends a close frame with `closeCode` and waits for the far side's close,
  // at most the request's timeout (then `Error` timedOut). With
  // `forceTimeout`, a far side that does not answer within that many seconds
  // is cut off (event `Cancelled`); a connection still opening is cut at once
  // (`Cancelled`). Does nothing without a connection, or a second time.
  virtual void disconnect(std::optional<double> forceTimeout = std::nullopt,
                          std::uint16_t closeCode = static_cast<std::uint16_t>(CloseCode::normal));
  // Sends one text message on the open connection; dropped without one.
  void write(std::string text);

  // Every event, on the callback queue. Hot: a subscriber sees what happens
  // after it subscribed.
  rx::Observable<WebSocketEvent> response() const;
  // true at `Connected`; false at `Disconnected`, `Error` and `Cancelled`.
  rx::Observable<bool> connected() const;

 private:
  struct Impl;
  std::vector<std::string> protocols_;
  std::shared_ptr<Impl> impl_;
};

}  // namespace tavrel
