#pragma once
// One WebSocket connection on the socket layer's I/O thread. A session is
// made per connect; it opens, reads, writes and closes, and reports what
// happens through its sink, from the I/O thread, in order. Its last report
// is one of Disconnected, Error or Cancelled; nothing follows it.
//
// The session keeps itself alive through the handlers it has pending, so
// whoever made it may drop it at any time; `abandon` asks it to end without
// anyone waiting for it.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavrel/rts/web_socket.h"

namespace tavrel::detail {

struct WsSessionConfig {
  URLRequest request;
  std::vector<std::string> protocols;
  std::size_t maxMessageBytes;
  std::optional<std::filesystem::path> extraCaFile;
};

// Called on the I/O thread for every event of the session.
using WsEventSink = std::function<void(WebSocketEvent)>;

class WsSession {
 public:
  virtual ~WsSession() = default;

  // Any thread. Each posts to the I/O thread, in the order called.
  virtual void write(std::string text) = 0;
  // The closing handshake with `code`; with `forceTimeout`, the connection
  // is cut (Cancelled) if it has not ended that many seconds later. While
  // still opening, the attempt is cut at once (Cancelled).
  virtual void close(std::uint16_t code, std::optional<double> forceTimeout) = 0;
  // The owner is gone: close with 1001 (bounded by the request's timeout)
  // or stop opening, and report nothing more.
  virtual void abandon() = 0;

  // Whether the last event has been reported (set before it is handed on).
  bool ended() const { return ended_.load(std::memory_order_acquire); }

 protected:
  std::atomic<bool> ended_{false};
};

// Starts a connection for `config`. A request that is not ws or wss with a
// host ends at once with Error badURL, reported from the I/O thread as well.
std::shared_ptr<WsSession> startWsSession(WsSessionConfig config, WsEventSink sink);

}  // namespace tavrel::detail
