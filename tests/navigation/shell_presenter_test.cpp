// The shell's states and presenters: texts, the retry signal from the
// panel's button and from the network, and a view that is gone.

#include <gtest/gtest.h>

#include <QTest>
#include <chrono>

#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/test_scheduler.h"
#include "tavrel/ui/animation_clock.h"

namespace tavrel::navigation {
namespace test {
namespace {

std::shared_ptr<ManualConnectivityBackend> network;

class ShellNetwork : public ::testing::Environment {
 public:
  void SetUp() override {
    network = ManualConnectivityBackend::installAsDefault();
    ReachabilityService::shared();  // follows `network` from now on
  }
};
[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new ShellNetwork);

}  // namespace

// Sets the status and delivers ReachabilityService's report (main queue).
void setNetwork(ConnectivityStatus status) {
  network->setStatus(status);
  rx::MainQueue::shared().drainPending();
}

}  // namespace test

namespace {

using namespace std::chrono_literals;
using State = NavigationViewState;

TEST(ShellState, TextsKeepTheirNoBreakCharactersAndPayloadsCompareExactly) {
  const QString connect = State::connectError().getDesc(), server = State::serverError().getDesc();
  EXPECT_EQ(connect.count(QChar(0x00A0)), 2);
  EXPECT_EQ(server.count(QChar(0x00A0)), 3);
  EXPECT_TRUE(server.contains(QStringLiteral("из\u2011за\u00A0ошибки на\u00A0сервере")));
  EXPECT_EQ(State::serverError().getTitle(), QStringLiteral("Что-то пошло не так"));  // a plain hyphen
  EXPECT_NE(State::frameLoading({0, 0, 10, 10}), State::frameLoading({0, 0, 10, 10 + 1e-9}));
  EXPECT_NE(State::zeroData("a", "b"), State::zeroData("a", "c"));
}

// A presenter on a shown view, its taps debounced on a virtual clock.
struct Shell {
  std::shared_ptr<rx::TestScheduler> scheduler = std::make_shared<rx::TestScheduler>();
  NavigationViewPresenter presenter{scheduler};
  NavigationView* view = new NavigationView(QRectF(0, 0, 320, 480));
  int retries = 0;
  rx::Disposable subscription;

  Shell() {
    view->show();
    presenter.attach(view);
    subscription = presenter.errorRetryAction().asObservable().subscribe([this](rx::Unit) { ++retries; });
  }
  ~Shell() {
    subscription.dispose();
    delete view;
  }
};

TEST(ShellPresenter, ABurstOfTapsOnThePanelGivesOneRetryAfterTheLast) {
  test::setNetwork(ConnectivityStatus::notConnected);
  Shell shell;
  shell.presenter.show(State::connectError());
  ui::AnimationClock::shared().advance(250);
  ASSERT_NE(shell.view->errorView(), nullptr);
  auto& button = shell.view->errorView()->retryButton();
  for (int ms : {0, 100, 150}) {
    shell.scheduler->advanceTo(rx::TimePoint{} + std::chrono::milliseconds(ms));
    QTest::mouseClick(&button, Qt::LeftButton, {}, QPoint(5, 5));
  }
  shell.scheduler->advanceBy(199ms);
  EXPECT_EQ(shell.retries, 0);
  shell.scheduler->advanceBy(1ms);
  EXPECT_EQ(shell.retries, 1);
  QTest::mouseClick(&button, Qt::LeftButton, {}, QPoint(5, 5));
  shell.scheduler->advanceBy(200ms);
  EXPECT_EQ(shell.retries, 2);
}

TEST(ShellPresenter, EveryReturnOfTheNetworkRetriesAlsoAfterTheViewIsGone) {
  test::setNetwork(ConnectivityStatus::notConnected);
  Shell shell;
  test::setNetwork(ConnectivityStatus::connectedViaWiFi);
  test::setNetwork(ConnectivityStatus::connected);  // still online: no change, no retry
  test::setNetwork(ConnectivityStatus::notConnected);
  EXPECT_EQ(shell.retries, 1);
  shell.presenter.show(State::connectError());
  delete std::exchange(shell.view, nullptr);
  EXPECT_EQ(shell.presenter.object(), nullptr);
  shell.presenter.show(State::contentLoading());  // nothing to show it on
  shell.presenter.setNavigationBar(nullptr);
  test::setNetwork(ConnectivityStatus::connected);
  EXPECT_EQ(shell.retries, 2);
  test::setNetwork(ConnectivityStatus::notConnected);
}

}  // namespace
}  // namespace tavrel::navigation
