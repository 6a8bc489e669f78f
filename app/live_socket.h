#pragma once
// The session's real-time connection as a command-line host keeps it: one
// RtsManager, the socket of the session, and what the host posts that a
// phone's system would (the application leaving and regaining the
// foreground, the network status). Shared by `tavrel listen` and `tavrel
// chat`. Everything here runs on the main thread, the one that drains
// MainQueue.

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tavrel/core/network_settings.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/model/rts.h"
#include "tavrel/rts/rts_manager.h"
#include "tavrel/rts/tavrel_socket.h"
#include "tavrel/rx/disposable.h"

namespace tavrel::cli {

// The library bundle installed with the executable, unless TAVREL_LIB_BUNDLE
// names one or one is registered: "lib_bundle" beside it, or
// "../share/tavrel/lib_bundle".
void useInstalledLibBundle();

// The reason the library bundle gives no ws or wss base, or "".
std::string wssUrlProblem();

class LiveSocket {
 public:
  // `note` gets one line for each failure and each close that was not ours.
  // `network` is the manual backend, when the command has one.
  LiveSocket(std::shared_ptr<NetworkSettings> settings, std::vector<Channel> channels,
             std::shared_ptr<RtsServiceProtocol> receiver,
             std::shared_ptr<ManualConnectivityBackend> network,
             std::function<void(std::string_view)> note);
  ~LiveSocket();
  LiveSocket(const LiveSocket&) = delete;
  LiveSocket& operator=(const LiveSocket&) = delete;

  // Called when the connection failed or the far side closed it, with no
  // close of ours under way; `beforeFirst` while none has connected yet.
  std::function<void(bool beforeFirst)> onLost;
  // Called each time a connection opens.
  std::function<void()> onConnected;

  // Starts (or connects again) the session's socket; false when none exists.
  bool start();
  // The application leaves the foreground: the connection closes.
  void background();
  // It comes back: the connection opens again, resuming.
  void foreground();
  // Whether the status can be set here (a manual backend).
  bool hasManualNetwork() const { return network_ != nullptr; }
  // Sets the manual network status; only with hasManualNetwork().
  void setOnline(bool online);
  // Closes the socket of application `appId`.
  void stop(const std::string& appId);
  // Ctrl-Z: leaves the foreground and waits, a little, for the close.
  void suspend();
  // At the end: closes every socket and waits, a little, for the close.
  void stopAll();

  bool connected() const noexcept { return connected_; }
  bool everConnected() const noexcept { return everConnected_; }
  const NetworkSettings& settings() const noexcept { return *settings_; }

 private:
  void onEvent(const WebSocketEvent& event);
  // After something that may have connected: whether a connection is opening.
  void noteConnecting();
  // After a disconnect: waits, a little, for a connection that was opening to
  // settle and for the far side to answer the close.
  void waitClosed();

  std::shared_ptr<NetworkSettings> settings_;
  std::vector<Channel> channels_;
  std::shared_ptr<RtsServiceProtocol> receiver_;
  std::shared_ptr<ManualConnectivityBackend> network_;
  std::function<void(std::string_view)> note_;
  bool connected_ = false;
  bool everConnected_ = false;
  bool opening_ = false;  // asked to connect, neither connected nor failed yet
  bool closing_ = false;  // a close of ours is under way: no note for it
  std::shared_ptr<TavrelSocket> socket_;
  RtsManager manager_;
  rx::DisposeBag bag_;  // declared last, so it ends first: no event after
};

}  // namespace tavrel::cli
