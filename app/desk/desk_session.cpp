#include "desk_session.h"

#include <iostream>
#include <random>

#include "api_common.h"

namespace tavrel::desk {
namespace {

// Hands the text of each frame to the session while it lives.
class FrameReceiver final : public RtsServiceProtocol {
 public:
  explicit FrameReceiver(std::function<void(const std::string&)> onFrame)
      : onFrame_(std::move(onFrame)) {}
  void onRtsMessage(const std::string& text) override { onFrame_(text); }

 private:
  std::function<void(const std::string&)> onFrame_;
};

}  // namespace

DeskSession::DeskSession(std::shared_ptr<NetworkSettings> settings, HttpTransport* transport,
                         std::shared_ptr<ManualConnectivityBackend> network)
    : settings_(settings),
      conversations_(settings, transport),
      messages_(settings, transport),
      knowledgeBase_(settings, transport) {
  auto receiver = std::make_shared<FrameReceiver>(
      [frames = frames_, weak = std::weak_ptr<bool>(alive_)](const std::string& text) {
        if (weak.lock()) frames.accept(cli::ChatFrame::parse(text));
      });
  live_ = std::make_unique<cli::LiveSocket>(
      settings,
      std::vector<Channel>{Channel::conversationReply, Channel::conversationTyping},
      receiver, std::move(network),
      [](std::string_view line) { std::cerr << "tavrel-desk: " << line << '\n'; });
  live_->onLost = [this](bool) { reconnectLater(); };
  live_->onConnected = [this] {
    retry_ = std::chrono::seconds(1);
    connected_.accept(true);
  };
  ReachabilityService::shared()
      .isReachable()
      .subscribe([this](ReachabilityService::Status status) {
        online_ = status == ReachabilityService::Status::online;
      })
      .disposed(bag_);
}

DeskSession::~DeskSession() {
  *alive_ = false;
  bag_ = rx::DisposeBag();
  live_->stopAll();
}

bool DeskSession::connect() { return live_->start(); }

rx::Observable<ReachabilityService::Status> DeskSession::reachability() const {
  return ReachabilityService::shared().isReachable();
}

void DeskSession::reconnectLater() {
  rx::MainQueue::shared()
      .postAfter(retry_,
                 [this, weak = std::weak_ptr<bool>(alive_)] {
                   if (weak.lock() && online_) live_->start();
                 })
      .disposed(bag_);
  retry_ = std::min(retry_ * 2, std::chrono::seconds(30));
}

std::int64_t DeskSession::newRandomId() {
  static std::mt19937_64 engine{std::random_device{}()};
  return static_cast<std::int64_t>(engine() >> 1) + 1;
}

std::string DeskSession::describe(std::exception_ptr error) {
  return cli::Call::describeFailure(error);
}

}  // namespace tavrel::desk
