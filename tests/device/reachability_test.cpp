// The connectivity monitor's handlers, and the reachability status built on
// them, driven by the manual backend.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tavrel/device/connectivity.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/test_scheduler.h"

namespace tavrel {
namespace {

using S = ConnectivityStatus;

TEST(Connectivity, HandlersRunOnTheQueueAtCrossingsOrOnEveryChange) {
  for (bool every : {false, true}) {
    SCOPED_TRACE(every ? "every change" : "crossings only");
    auto backend = std::make_shared<ManualConnectivityBackend>(S::connectedViaWiFi);
    auto queue = std::make_shared<rx::TestScheduler>();
    Connectivity monitor(true, backend);
    std::vector<std::string> calls;
    monitor.whenConnected([&](Connectivity& c) { calls.push_back(std::string("+") + toString(c.currentStatus())); });
    monitor.whenDisconnected([&](Connectivity& c) { calls.push_back(std::string("-") + toString(c.currentStatus())); });
    monitor.setCallsHandlersOnEveryChange(every);
    monitor.startNotifier(queue);
    EXPECT_TRUE(calls.empty()) << "handlers run on the queue only";
    queue->advanceBy({});
    // usable to usable, then across, then not usable to not usable
    for (auto status : {S::connected, S::determining, S::notConnected}) {
      backend->setStatus(status);
      queue->advanceBy({});
    }
    const std::vector<std::string> all{"+connectedViaWiFi", "+connected", "-determining", "-notConnected"};
    EXPECT_EQ(calls, every ? all : (std::vector<std::string>{all[0], all[2]}));

    calls.clear();
    backend->setStatus(S::connectedViaCellular);
    monitor.stopNotifier();
    queue->advanceBy({});
    EXPECT_TRUE(calls.empty()) << "a stopped notifier calls nothing, queued or not";
    EXPECT_TRUE(monitor.isConnected());

    bool completed = false;
    monitor.checkConnectivity([&](Connectivity& c) { completed = c.currentStatus() == S::connectedViaCellular; });
    EXPECT_TRUE(completed) << "without a notifier the completion runs where the answer arrives";
  }
}

// Drains the main queue until the latest status is `expected`, within a bound.
bool settlesAt(const std::vector<ReachabilityService::Status>& seen, ReachabilityService::Status expected) {
  return rx::MainQueue::shared().runUntil([&] { return !seen.empty() && seen.back() == expected; },
                                          std::chrono::seconds(5));
}

TEST(ReachabilityService, MapsEveryStatusByPositionAndEmitsOnlyChanges) {
  // Before the first use of the shared instance, through TavrelLib.
  auto network = ManualConnectivityBackend::installAsDefault();
  rx::MainQueue::shared().makeCurrentThread();
  auto& lib = TavrelLib::shared();
  EXPECT_EQ(&lib, &TavrelLib::shared());
  auto& service = ReachabilityService::shared();
  using Status = ReachabilityService::Status;

  std::vector<Status> seen;
  auto subscription = service.isReachable().subscribe([&](Status s) { seen.push_back(s); });
  EXPECT_EQ(&service.isReachable(), &service.isReachable());
  EXPECT_EQ(seen, std::vector<Status>{Status::offline}) << "offline until the monitor reports";

  // Every case in declaration order; the expectation goes by the names of
  // the usable cases, the service by position.
  std::vector<Status> expected{Status::offline};
  for (int i = 0; i <= static_cast<int>(S::notConnected); ++i) {
    const auto status = static_cast<S>(i);
    SCOPED_TRACE(toString(status));
    const auto want = isUsable(status) ? Status::online : Status::offline;
    if (want != expected.back()) expected.push_back(want);
    network->setStatus(status);
    ASSERT_TRUE(settlesAt(seen, want));
    EXPECT_EQ(service.connection(), want);
  }
  network->setStatus(S::connectedViaCellular);
  network->setStatus(S::connected);  // a repeat of online
  expected.push_back(Status::online);
  ASSERT_TRUE(settlesAt(seen, Status::online));
  rx::MainQueue::shared().drainPending();
  EXPECT_EQ(seen, expected);
  subscription.dispose();
}

}  // namespace
}  // namespace tavrel
