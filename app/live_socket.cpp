#include "live_socket.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tavrel/core/info_plist.h"
#include "tavrel/core/url.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/notification_center.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::cli {

namespace fs = std::filesystem;

void useInstalledLibBundle() {
  const char* named = std::getenv("TAVREL_LIB_BUNDLE");
  if ((named && *named) || Bundle::directory(AppType::lib)) return;
  std::error_code ec;
  const fs::path executable = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return;
  for (const fs::path& candidate :
       {executable.parent_path() / "lib_bundle",
        executable.parent_path() / ".." / "share" / "tavrel" / "lib_bundle"}) {
    if (fs::is_directory(candidate, ec)) {
      Bundle::registerBundle(Bundle::libIdentifier, candidate.lexically_normal());
      return;
    }
  }
}

std::string wssUrlProblem() {
  const auto directory = Bundle::directory(AppType::lib);
  if (!directory) {
    const char* named = std::getenv("TAVREL_LIB_BUNDLE");
    if (named && *named) {
      return "TAVREL_LIB_BUNDLE names " + std::string(named) + ", which is no directory";
    }
    return "no library bundle: set TAVREL_LIB_BUNDLE to a directory whose Info.plist has "
           "wssUrl";
  }
  const auto value = InfoPlist::shared().getValue(InfoPlist::Keys::wssUrl, AppType::lib);
  const fs::path plist = *directory / "Info.plist";
  if (!value || value->empty()) return plist.string() + " has no wssUrl text";
  const auto url = Url::parse(*value);
  if (!url || !url->host() || url->host()->empty() ||
      (url->scheme() != "ws" && url->scheme() != "wss")) {
    return "the wssUrl '" + *value + "' in " + plist.string() + " is no ws or wss address";
  }
  return "";
}

LiveSocket::LiveSocket(std::shared_ptr<NetworkSettings> settings, std::vector<Channel> channels,
                       std::shared_ptr<RtsServiceProtocol> receiver,
                       std::shared_ptr<ManualConnectivityBackend> network,
                       std::function<void(std::string_view)> note)
    : settings_(std::move(settings)),
      channels_(std::move(channels)),
      receiver_(std::move(receiver)),
      network_(std::move(network)),
      note_(std::move(note)) {}

LiveSocket::~LiveSocket() = default;

bool LiveSocket::start() {
  auto socket = manager_.startRts(settings_, channels_, receiver_);
  if (!socket) return false;
  if (socket != socket_) {
    socket_ = socket;
    socket->response()
        .subscribe([this](const WebSocketEvent& event) { onEvent(event); })
        .disposed(bag_);
  }
  noteConnecting();
  return true;
}

void LiveSocket::onEvent(const WebSocketEvent& event) {
  const bool wasOpening = std::exchange(opening_, false);
  bool lost = false;
  if (std::holds_alternative<WebSocketEvent::Connected>(event.payload)) {
    connected_ = everConnected_ = true;
    if (onConnected) onConnected();
  } else if (auto* error = std::get_if<WebSocketEvent::Error>(&event.payload)) {
    connected_ = false;
    lost = !std::exchange(closing_, false);
    if (lost) note_(error->error.message);
  } else if (auto* closed = std::get_if<WebSocketEvent::Disconnected>(&event.payload)) {
    connected_ = false;
    lost = !std::exchange(closing_, false);
    if (lost) {
      note_("the server closed the connection (" + std::to_string(closed->code) +
            (closed->reason.empty() ? "" : " " + closed->reason) + ")");
    }
  } else if (std::holds_alternative<WebSocketEvent::Cancelled>(event.payload)) {
    connected_ = false;
  } else {
    opening_ = wasOpening;  // a frame says nothing about the connection
  }
  if (lost && onLost) onLost(!everConnected_);
}

void LiveSocket::background() {
  closing_ = connected_;
  NotificationCenter::defaultCenter().post(UIApplicationWillResignActiveNotification);
}

void LiveSocket::foreground() {
  NotificationCenter::defaultCenter().post(UIApplicationDidBecomeActiveNotification);
  noteConnecting();
}

void LiveSocket::setOnline(bool online) {
  closing_ = connected_ && !online;
  network_->setStatus(online ? ConnectivityStatus::connected : ConnectivityStatus::notConnected);
  noteConnecting();
}

void LiveSocket::stop(const std::string& appId) {
  closing_ = connected_ && appId == settings_->appId;
  manager_.stopRts(appId);
}

void LiveSocket::suspend() {
  // Leave the foreground first, so that the server sees the close.
  background();
  waitClosed();
}

void LiveSocket::stopAll() {
  manager_.stopRtsAll();
  waitClosed();
}

void LiveSocket::noteConnecting() {
  if (socket_ && socket_->externalDisposeBag && !connected_) opening_ = true;
}

void LiveSocket::waitClosed() {
  closing_ = connected_ || opening_;
  rx::MainQueue::shared().runUntil([this] { return !connected_ && !opening_; },
                                   std::chrono::seconds(2));
}

}  // namespace tavrel::cli
