#pragma once
// ReachabilityService: whether the network is usable, as a stream of Status.
// It owns a Connectivity monitor (with the HTTPS probe), made at the first
// use of `shared()` with the default backend then chosen: choose another
// (ManualConnectivityBackend::installAsDefault, Connectivity::setDefaultBackend)
// before that. Reports arrive on the main queue (rx::MainQueue), which the
// host drains.

#include <mutex>
#include <optional>

#include "tavrel/device/connectivity.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

class ReachabilityService {
 public:
  enum class Status { online, offline };

  // The one instance, made at first use; it lives until the process ends.
  static ReachabilityService& shared();

  ReachabilityService(const ReachabilityService&) = delete;
  ReachabilityService& operator=(const ReachabilityService&) = delete;

  // The current status on subscription, then each change; `offline` until
  // the monitor's first report. The same object on every read.
  const rx::Observable<Status>& isReachable();
  // The status the monitor knows now. It also asks the monitor to check
  // again, but does not wait for that check.
  Status connection();

 private:
  ReachabilityService();
  // Cases 0, 1 and 3 of ConnectivityStatus are online, all others offline.
  void updateStatus(ConnectivityStatus status);

  rx::DisposeBag disposeBag;
  Connectivity reachability;
  std::once_flag isReachableBuilt_;
  std::optional<rx::Observable<Status>> isReachable_;
  rx::BehaviorRelay<Status> reachable{Status::offline};
};

const char* toString(ReachabilityService::Status status);

}  // namespace tavrel
