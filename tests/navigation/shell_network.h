#pragma once
// The network of the shell's tests: a manual connectivity backend that
// ReachabilityService::shared() follows, installed before the first test.

#include <memory>

#include "tavrel/device/manual_connectivity_backend.h"

namespace tavrel::navigation::test {

ManualConnectivityBackend& shellNetwork();
// Sets the status and delivers ReachabilityService's report (main queue).
void setNetwork(ConnectivityStatus status);

}  // namespace tavrel::navigation::test
