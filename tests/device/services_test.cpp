// The process-wide services: application notifications and state, and the
// reachability status built on the connectivity monitor, driven by the manual
// backend.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tavrel/device/app_state_service.h"
#include "tavrel/device/connectivity.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/notification_center.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/test_scheduler.h"

namespace tavrel {
namespace {

TEST(NotificationCenter, DeliversByNameInOrderAndObserversMayRemoveAnyoneMeanwhile) {
  NotificationCenter center;
  std::vector<std::string> heard;
  int a = 0, b = 0, c = 0;
  center.addObserver(&a, "x", [&] {
    heard.push_back("a");
    center.removeObserver(&a);       // itself, while called
    center.removeObserver(&c, "x");  // already in this post's list: skipped
    center.addObserver(&c, "x", [&] { heard.push_back("c again"); });  // from the next post on
  });
  center.addObserver(&b, "x", [] { throw std::runtime_error("observer fault"); });  // stops nobody
  center.addObserver(&b, "x", [&] { heard.push_back("b"); });
  center.addObserver(&c, "x", [&] { heard.push_back("c"); });
  center.addObserver(&b, "y", [&] { heard.push_back("b:y"); });
  center.post("x");
  center.post("x");
  EXPECT_EQ(heard, (std::vector<std::string>{"a", "b", "b", "c again"}));

  heard.clear();
  center.removeObserver(&b, "x");  // both registrations, not b's other name
  center.post("x");
  center.post("y");
  EXPECT_EQ(heard, (std::vector<std::string>{"c again", "b:y"}));
}

// Counts the events of one subscription.
struct Count {
  int events = 0;
  rx::Disposable subscription;
  explicit Count(const rx::Observable<rx::Unit>& stream)
      : subscription(stream.subscribe([this](rx::Unit) { ++events; })) {}
  ~Count() { subscription.dispose(); }
};

TEST(AppStateService, StreamsFollowTheApplicationNotificationsWithoutRepeats) {
  auto& app = AppStateService::shared();
  auto& center = NotificationCenter::defaultCenter();
  {  // in the foreground: only onForeground speaks on subscription
    Count background(app.onBackground()), foreground(app.onForeground());
    EXPECT_EQ(background.events, 0);
    EXPECT_EQ(foreground.events, 1);

    center.post(UIApplicationWillResignActiveNotification);
    center.post(UIApplicationWillResignActiveNotification);
    EXPECT_EQ(background.events, 1);
    EXPECT_EQ(foreground.events, 1);
  }
  {  // in the background: onForeground is silent until the application comes back
    Count background(app.onBackground()), foreground(app.onForeground());
    EXPECT_EQ(background.events, 1);
    EXPECT_EQ(foreground.events, 0);

    center.post(UIApplicationDidBecomeActiveNotification);
    center.post(UIApplicationDidBecomeActiveNotification);
    center.post(UIApplicationWillResignActiveNotification);
    center.post(UIApplicationDidBecomeActiveNotification);
    EXPECT_EQ(background.events, 2);
    EXPECT_EQ(foreground.events, 2);
  }
}
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

    bool completed = false;
    monitor.checkConnectivity([&](Connectivity& c) { completed = c.currentStatus() == S::connectedViaCellular; });
    EXPECT_TRUE(completed) << "without a notifier the completion runs where the answer arrives";
  }
}

TEST(ReachabilityService, MapsEveryStatusByPositionAndEmitsOnlyChanges) {
  // Before the first use of the shared instance, through TavrelLib.
  auto network = ManualConnectivityBackend::installAsDefault();
  rx::MainQueue::shared().makeCurrentThread();
  TavrelLib::shared();
  auto& service = ReachabilityService::shared();
  using Status = ReachabilityService::Status;

  std::vector<Status> seen;
  auto subscription = service.isReachable().subscribe([&](Status s) { seen.push_back(s); });
  EXPECT_EQ(&service.isReachable(), &service.isReachable());
  EXPECT_EQ(seen, std::vector<Status>{Status::offline}) << "offline until the monitor reports";

  // Every case in declaration order, with repeats of online and offline; the
  // expectation goes by the names of the usable cases, the service by position.
  std::vector<Status> expected{Status::offline};
  for (int i = 0; i <= static_cast<int>(S::notConnected); ++i) {
    const auto status = static_cast<S>(i);
    SCOPED_TRACE(toString(status));
    const auto want = isUsable(status) ? Status::online : Status::offline;
    if (want != expected.back()) expected.push_back(want);
    network->setStatus(status);  // reported on this thread, the main one
    rx::MainQueue::shared().drainPending();
    ASSERT_EQ(seen.back(), want);
    EXPECT_EQ(service.connection(), want);
  }
  EXPECT_EQ(seen, expected) << "repeats of a status emit nothing";
  subscription.dispose();
}

}  // namespace
}  // namespace tavrel
