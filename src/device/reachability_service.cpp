#include "tavrel/device/reachability_service.h"

#include "tavrel/rx/main_queue.h"

namespace tavrel {

ReachabilityService& ReachabilityService::shared() {
  // Never destroyed: the monitor's reports may still arrive while the
  // process exits.
  static auto* instance = new ReachabilityService();
  return *instance;
}

ReachabilityService::ReachabilityService() : reachability(/*shouldUseHTTPS=*/true) {
  reachability.setCallsHandlersOnEveryChange(true);
  // The monitor is a member: its handlers never run once the service is gone.
  auto handler = [this](Connectivity& monitor) { updateStatus(monitor.currentStatus()); };
  reachability.whenConnected(handler);
  reachability.whenDisconnected(handler);
  reachability.startNotifier(rx::MainScheduler::instance());
}

void ReachabilityService::updateStatus(ConnectivityStatus status) {
  switch (static_cast<int>(status)) {
    case 0:
    case 1:
    case 3:
      reachable.accept(Status::online);
      break;
    default:
      reachable.accept(Status::offline);
  }
}

const rx::Observable<ReachabilityService::Status>& ReachabilityService::isReachable() {
  std::call_once(isReachableBuilt_, [this] { isReachable_ = reachable.asObservable().distinctUntilChanged(); });
  return *isReachable_;
}

ReachabilityService::Status ReachabilityService::connection() {
  reachability.checkConnectivity();
  return reachability.isConnected() ? Status::online : Status::offline;
}

const char* toString(ReachabilityService::Status status) {
  return status == ReachabilityService::Status::online ? "online" : "offline";
}

}  // namespace tavrel
