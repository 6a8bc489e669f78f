#include "tavrel/device/manual_connectivity_backend.h"

#include "tavrel/device/connectivity.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

std::shared_ptr<ManualConnectivityBackend> ManualConnectivityBackend::installAsDefault() {
  auto backend = std::make_shared<ManualConnectivityBackend>();
  Connectivity::setDefaultBackend([backend](bool) { return backend; });
  return backend;
}

void ManualConnectivityBackend::setStatus(ConnectivityStatus status) {
  if (status_.exchange(status) != status) changes_.accept(status);
}

rx::Disposable ManualConnectivityBackend::watch(Listener listener) {
  return changes_.asObservable().subscribe(std::move(listener));
}

}  // namespace tavrel
