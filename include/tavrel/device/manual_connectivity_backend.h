#pragma once
// ManualConnectivityBackend: a ConnectivityBackend whose status is whatever
// was last set. It serves tests, and hosts that learn about the network from
// elsewhere (`tavrel listen --network manual` sets it from its input lines).
//
//     auto network = ManualConnectivityBackend::installAsDefault();
//     TavrelLib::shared();                                  // monitors `network`
//     network->setStatus(ConnectivityStatus::connected);    // status online

#include <atomic>
#include <memory>

#include "tavrel/device/connectivity_backend.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

class ManualConnectivityBackend final : public ConnectivityBackend {
 public:
  explicit ManualConnectivityBackend(ConnectivityStatus initial = ConnectivityStatus::determining)
      : status_(initial) {}

  // Makes a backend, and has every Connectivity made from now on without a
  // backend of its own use it (see Connectivity::setDefaultBackend). Call it
  // before the first use of ReachabilityService::shared() or TavrelLib::shared().
  static std::shared_ptr<ManualConnectivityBackend> installAsDefault();

  // Sets the status; the watchers hear of it on this thread before this
  // returns, if it changed. Any thread, one caller at a time.
  void setStatus(ConnectivityStatus status);

  ConnectivityStatus status() const override { return status_.load(); }
  rx::Disposable watch(Listener listener) override;
  // Answers at once with the status set.
  void check(Listener done) override { done(status()); }

 private:
  std::atomic<ConnectivityStatus> status_;
  rx::PublishRelay<ConnectivityStatus> changes_;
};

}  // namespace tavrel
