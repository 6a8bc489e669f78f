#pragma once
// TavrelSocket: the WebSocket connection to the real-time service for one
// application id. It forms its URL from the settings and channels, keeps a
// resume position (`tag`, `time`) taken from every valid frame and sends it
// back at each connect, mirrors the latest frame text in `message`, and hands
// the text of every frame to the host's RtsServiceProtocol. It never
// reconnects by itself; RtsManager does.
//
// Delivery. Each text frame reaches `onRtsMessage` exactly once, however
// often `connect` is called: a second connect while the delivery subscription
// is still alive keeps that subscription rather than adding another. After
// `disconnect` no frame reaches the service, but a text event that still
// arrives moves the resume position. WebSocket delivers none after a
// disconnect made on its callback queue, so there the position stays at the
// last frame handed over, and the service's replay at the next connect
// sends what followed it: a frame is neither lost nor delivered twice
// across a reconnect.
//
// Threads. Like WebSocket's own events, everything here is meant to run on
// the socket's callback queue (the main queue), where RtsManager calls
// `connect` and `disconnect`. `tag` and `time` are plain fields for that
// thread.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavrel/core/network_settings.h"
#include "tavrel/core/url.h"
#include "tavrel/model/rts.h"
#include "tavrel/rts/web_socket.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

// The resume position a frame carries.
struct RtsResumePosition {
  std::string tag;
  std::string time;
  friend bool operator==(const RtsResumePosition&, const RtsResumePosition&) = default;
};

class TavrelSocket : public WebSocket, public std::enable_shared_from_this<TavrelSocket> {
  struct Token {};

 public:
  // The timeout of the request made at creation; connect uses the default 60 s.
  static constexpr std::chrono::duration<double> initialTimeoutInterval{5.0};

  // A socket for `settings` and `channels` (in their order) that delivers to
  // `service` (held strongly, may be null). Null when no URL can be formed.
  static std::shared_ptr<TavrelSocket> create(std::shared_ptr<NetworkSettings> settings,
                                              std::vector<Channel> channels,
                                              std::shared_ptr<RtsServiceProtocol> service);

  // "<wssUrl>/<channel>.<appId>[.<userId>]/...?auth_token=<token>" with
  // "&tag=<tag>&time=<time>" when both are given, each with every character
  // but ASCII letters and digits percent-escaped. The base is the "wssUrl" of
  // the library bundle, or "error" without one; the token goes as it is.
  // Nothing when the text does not parse as a URL.
  static std::optional<Url> getUrl(const NetworkSettings& settings,
                                   const std::vector<Channel>& channels,
                                   const std::optional<std::string>& tag = std::nullopt,
                                   const std::optional<std::string>& time = std::nullopt);

  // The position a frame's text carries: its "tag" and "time" when the text
  // decodes as an RtsResponse, nothing otherwise.
  static std::optional<RtsResumePosition> resumePosition(std::string_view text);

  TavrelSocket(Token, std::shared_ptr<NetworkSettings> settings, std::vector<Channel> channels,
               std::shared_ptr<RtsServiceProtocol> service, Url url);
  ~TavrelSocket() override;

  // Connects to the URL with the current resume position. Does nothing when
  // no URL can be formed.
  void connect() override;
  // Closes the connection and ends delivery to the service; the resume
  // position stays, and follows any text event that still arrives.
  void disconnect(std::optional<double> forceTimeout = std::nullopt,
                  std::uint16_t closeCode = static_cast<std::uint16_t>(CloseCode::normal)) override;

  // Holds the delivery subscription from connect to disconnect. A client may
  // replace or clear it; the next connect subscribes again if that ended
  // delivery.
  std::optional<rx::DisposeBag> externalDisposeBag;
  // Text of the latest frame, "" after any event that is not a text frame.
  rx::BehaviorRelay<std::string> message{std::string()};
  // The latest resume position; only a valid frame moves them, both at once.
  std::optional<std::string> tag;
  std::optional<std::string> time;

 private:
  void start();
  void onEvent(const WebSocketEvent& event);
  void deliver(const WebSocketEvent& event);

  std::shared_ptr<NetworkSettings> settings_;
  std::vector<Channel> channels_;
  std::shared_ptr<RtsServiceProtocol> service_;
  // Whether the current delivery subscription still runs.
  std::shared_ptr<std::atomic<bool>> delivering_ = std::make_shared<std::atomic<bool>>(false);
  rx::Disposable delivery_;
  rx::DisposeBag disposeBag_;      // the subscriptions of creation, for the socket's life
};

}  // namespace tavrel
