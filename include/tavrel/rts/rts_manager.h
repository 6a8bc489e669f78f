#pragma once
// RtsManager: the real-time sockets of a host, one per application id, kept
// in step with the application's life. All sockets are disconnected when the
// application leaves the foreground or the network goes offline, and all are
// connected again when it comes back or the network is online; nothing else
// reconnects them, and there is no timer or back-off. A connect after a stop
// resumes from the socket's last position, since the socket object is kept.
//
// Sockets are never removed: a stopped one stays, and a later start for the
// same application id connects it again, whatever settings, channels or
// service that start brings.
//
// The host owns the manager. Its subscriptions end with it; an application or
// network event that comes while it is being destroyed is dropped.

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tavrel/core/network_settings.h"
#include "tavrel/model/rts.h"
#include "tavrel/rts/tavrel_socket.h"
#include "tavrel/rx/disposable.h"

namespace tavrel {

class RtsManager {
 public:
  // Subscribes to AppStateService::shared() and ReachabilityService::shared().
  RtsManager();
  ~RtsManager();
  RtsManager(const RtsManager&) = delete;
  RtsManager& operator=(const RtsManager&) = delete;

  // How many sockets were ever started, stopped ones included.
  int getActiveCount() const;

  // Connects the socket of `settings->appId`, creating it first when there is
  // none. Creation needs a non-empty channel list and a URL; without them
  // nothing is kept and the result is null.
  std::shared_ptr<TavrelSocket> startRts(std::shared_ptr<NetworkSettings> settings,
                                         std::vector<Channel> channels,
                                         std::shared_ptr<RtsServiceProtocol> service);
  // Disconnects that socket, which stays; an unknown id does nothing.
  void stopRts(const std::string& appId);
  void startRtsAll();
  void stopRtsAll();

 private:
  // Connects the socket of `key`, if any; nothing is disconnected first.
  void restartRts(const std::string& key);
  std::vector<std::string> keys() const;
  std::shared_ptr<TavrelSocket> find(const std::string& key) const;

  mutable std::mutex mutex_;  // guards `sockets`; never held while a socket runs
  std::map<std::string, std::shared_ptr<TavrelSocket>> sockets;
  std::shared_ptr<RtsManager*> self_;  // what the subscriptions hold weakly
  rx::DisposeBag disposeBag;          // last, so it ends first
};

}  // namespace tavrel
