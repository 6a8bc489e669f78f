#include "tavrel/rts/rts_manager.h"

#include <utility>

#include "tavrel/device/app_state_service.h"
#include "tavrel/device/reachability_service.h"

namespace tavrel {

namespace {

// A callback that runs `action` on the manager while it exists.
template <class T, class F>
auto whileAlive(const std::shared_ptr<RtsManager*>& self, F action) {
  return [weak = std::weak_ptr<RtsManager*>(self), action](const T& value) {
    if (auto manager = weak.lock()) action(**manager, value);
  };
}

}  // namespace

RtsManager::RtsManager() : self_(std::make_shared<RtsManager*>(this)) {
  AppStateService::shared()
      .onBackground()
      .subscribe(whileAlive<rx::Unit>(self_, [](RtsManager& m, rx::Unit) { m.stopRtsAll(); }))
      .disposed(disposeBag);
  AppStateService::shared()
      .onForeground()
      .subscribe(whileAlive<rx::Unit>(self_, [](RtsManager& m, rx::Unit) { m.startRtsAll(); }))
      .disposed(disposeBag);
  using Status = ReachabilityService::Status;
  ReachabilityService::shared()
      .isReachable()
      .subscribe(whileAlive<Status>(self_, [](RtsManager& m, Status status) {
        if (status == Status::offline) m.stopRtsAll();
        else m.startRtsAll();
      }))
      .disposed(disposeBag);
}

RtsManager::~RtsManager() {
  self_.reset();
  disposeBag = rx::DisposeBag();
}

int RtsManager::getActiveCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(sockets.size());
}

std::shared_ptr<TavrelSocket> RtsManager::startRts(std::shared_ptr<NetworkSettings> settings,
                                                   std::vector<Channel> channels,
                                                   std::shared_ptr<RtsServiceProtocol> service) {
  if (!settings) return nullptr;
  const std::string key = settings->appId;
  std::shared_ptr<TavrelSocket> socket = find(key);
  if (!socket) {
    if (channels.empty()) return nullptr;
    socket = TavrelSocket::create(std::move(settings), std::move(channels), std::move(service));
    if (!socket) return nullptr;
    bool created = false;
    {
      std::lock_guard lock(mutex_);
      auto [entry, inserted] = sockets.emplace(key, socket);
      socket = entry->second;  // another thread may have been first
      created = inserted;
    }
    if (created) socket->connected().debug("RTS CONNECTED").subscribe([](bool) {}).disposed(disposeBag);
  }
  restartRts(key);
  return socket;
}

void RtsManager::restartRts(const std::string& key) {
  if (auto socket = find(key)) socket->connect();
}

void RtsManager::stopRts(const std::string& appId) {
  if (auto socket = find(appId)) socket->disconnect();
}

void RtsManager::startRtsAll() {
  for (const std::string& key : keys()) restartRts(key);
}

void RtsManager::stopRtsAll() {
  for (const std::string& key : keys()) stopRts(key);
}

std::vector<std::string> RtsManager::keys() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> result;
  for (const auto& entry : sockets) result.push_back(entry.first);
  return result;
}

std::shared_ptr<TavrelSocket> RtsManager::find(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto it = sockets.find(key);
  return it == sockets.end() ? nullptr : it->second;
}

}  // namespace tavrel
