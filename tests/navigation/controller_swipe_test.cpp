// Edge swipes of the shell's controller, driven by mouse drags, the shell's
// frame, and the flow's own steps.
#include <gtest/gtest.h>

#include <QDesktopServices>
#include <QTouchEvent>
#include <functional>
#include <string>
#include <vector>

#include "navigation/controller_screens.h"
#include "tavrel/navigation/image_viewer.h"
#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/navigation/zk_flow.h"
#include "tavrel/ui/layout_helpers.h"
#include "tavrel/ui/safe_area_layout_guide.h"

namespace tavrel::navigation {
namespace {

using testing::Screen;
using testing::Shell;

// A drag on the controller's view, from x `from` to x `to`; released unless told.
void drag(ui::View* view, int from, int to, bool release = true) {
  QTest::mousePress(view, Qt::LeftButton, {}, QPoint(from, 240));
  QTest::mouseMove(view, QPoint(to, 240));  // begins
  QTest::mouseMove(view, QPoint(to, 240));  // changes
  if (release) QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(to, 240));
}

TEST(ZKNavigationController, AnInteractivePopFinishesPastHalfwayAndIsCancelledAtHalfwayOrWhenTakenAway) {
  struct Case {
    int moved;
    bool touch;  // a touch that the system takes away instead of a mouse drag let go
    bool finishes;
  };
  static QPointingDevice* device = QTest::createTouchDevice();
  for (const auto& [moved, touch, finishes] :
       {Case{164, false, true}, Case{160, false, false}, Case{164, true, false}}) {
    SCOPED_TRACE(moved);
    Shell s;
    auto coordinator = std::make_shared<FromRightTransitionCoordinator>();
    s.nav->setDelegate(coordinator);
    auto second = std::make_shared<Screen>();
    s.nav->pushViewController(second, true);
    Shell::advance(400);
    s.nav->initLeftSwipe(ZKSwipeAction::pop{});

    if (touch) {
      QTest::touchEvent(s.nav->view(), device).press(0, QPoint(4, 240));
      QTest::touchEvent(s.nav->view(), device).move(0, QPoint(100, 240));
      QTest::touchEvent(s.nav->view(), device).move(0, QPoint(4 + moved, 240));
    } else {
      drag(s.nav->view(), 4, 4 + moved, false);  // held where the finger is
    }
    ASSERT_TRUE(s.nav->isTransitioning());
    EXPECT_NEAR(coordinator->interactionController->percentComplete(), moved / 320.0, 1e-9);
    EXPECT_NEAR(second->left->presentationAlpha(), 0, 0.02);  // a pop from the right presents: faded by half
    EXPECT_NEAR(s.first->left->presentationAlpha(), 1, 0.02);
    EXPECT_NEAR(s.first->view()->presentationFrame().x(), -320 + moved, 2);
    if (touch) {
      QTouchEvent cancel(QEvent::TouchCancel, device);
      QApplication::sendEvent(s.nav->view(), &cancel);
    } else {
      QTest::mouseRelease(s.nav->view(), Qt::LeftButton, {}, QPoint(4 + moved, 240));
    }
    EXPECT_EQ(coordinator->interactionController, nullptr);
    Shell::advance(400);

    EXPECT_FALSE(s.nav->isTransitioning());
    EXPECT_EQ(s.nav->viewControllers().size(), finishes ? 1u : 2u);
    ui::View* kept = finishes ? s.first->left.data() : second->left.data();
    ui::View* gone = finishes ? second->left.data() : s.first->left.data();
    EXPECT_EQ(s.bar->leftView()->subviews(), std::vector<ui::View*>{kept});
    EXPECT_EQ(kept->alpha(), 1);
    EXPECT_EQ(kept->presentationAlpha(), 1);
    EXPECT_EQ(gone->superview(), nullptr);
    ui::ViewController* shown = finishes ? static_cast<ui::ViewController*>(s.first.get()) : second.get();
    EXPECT_EQ(s.nav->containerView()->subviews(), std::vector<ui::View*>{shown->view()});
    EXPECT_EQ(shown->view()->frame(), QRectF(0, 0, 320, 480));
    EXPECT_EQ(shown->view()->presentationAlpha(), 1);
  }
}

TEST(ZKNavigationController, SwipesWithoutActionOrFromAwayFromTheEdgeDoNothing) {
  struct Case {
    const char* name;
    std::function<void(Shell&)> prepare;
    int from, to;
    std::size_t screens;  // after the swipe
  };
  const std::vector<Case> cases{
      {"no action", [](Shell&) {}, 4, 200, 2},
      {"outside the edge margin", [](Shell& s) { s.nav->initLeftSwipe(ZKSwipeAction::pop{}); }, 40, 240, 2},
      {"no coordinator: began pops", [](Shell& s) { s.nav->initLeftSwipe(ZKSwipeAction::pop{}); }, 4, 40, 1},
      {"right action, left edge", [](Shell& s) { s.nav->initRightSwipe(ZKSwipeAction::pop{}); }, 4, 200, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Shell s;
    s.nav->pushViewController(std::make_shared<Screen>(), false);
    c.prepare(s);
    drag(s.nav->view(), c.from, c.to);
    EXPECT_FALSE(s.nav->isTransitioning());
    EXPECT_EQ(s.nav->viewControllers().size(), c.screens);
  }
}

TEST(ZKNavigationController, ARightEdgeSwipeSendsItsStepWithAPositiveProgress) {
  Shell s;
  auto coordinator = std::make_shared<FromLeftTransitionCoordinator>();
  s.nav->setDelegate(coordinator);
  std::vector<StepPtr> sent;
  auto subscription = s.nav->steps.asObservable().subscribe([&](const StepPtr& step) { sent.push_back(step); });
  const auto step = std::make_shared<Step>();
  s.nav->initRightSwipe(ZKSwipeAction::step{step});
  drag(s.nav->view(), 316, 316 - 96, false);
  EXPECT_EQ(sent, std::vector<StepPtr>{step});
  EXPECT_NEAR(coordinator->interactionController->percentComplete(), 0.3, 1e-9);
  QTest::mouseRelease(s.nav->view(), Qt::LeftButton, {}, QPoint(220, 240));
  EXPECT_EQ(coordinator->interactionController, nullptr);
  subscription.dispose();
}

TEST(ZKNavigationController, TheShellStartsBelowTheSafeAreaUnlessToldNot) {
  ui::Application::setSafeAreaOverride(ui::EdgeInsets{20, 0, 34, 0});
  Shell s;
  EXPECT_EQ(s.nav->navigationView()->frame(), QRectF(0, 20, 320, 460));
  // The window's safe area seen from the shell: 20 at the top, 34 at the bottom.
  EXPECT_EQ(ui::compatibleSafeAreaLayoutGuide(*s.nav->navigationView()), QRectF(0, 0, 320, 426));
  s.nav->isCalulateSafeArea = false;
  s.nav->view()->setNeedsLayout();
  s.nav->view()->layoutIfNeeded();
  EXPECT_EQ(s.nav->navigationView()->frame(), QRectF(0, 0, 320, 460));  // less the base bar's y all the same
  ui::Application::setSafeAreaOverride(std::nullopt);

  auto second = std::make_shared<Screen>();
  s.nav->pushViewController(second, false);
  EXPECT_EQ(getNavigationController(second.get()), s.nav.get());
  auto* inner = new ui::View();
  second->view()->addSubview(inner);
  EXPECT_EQ(ui::findViewController(inner), second.get());
  EXPECT_EQ(ui::findViewController(s.bar), s.nav.get());
  EXPECT_EQ(getNavigationBar(s.nav.get()), s.bar);
}

class Opened : public QObject {
  Q_OBJECT
 public:
  std::vector<QUrl> urls;
 public Q_SLOTS:
  void open(const QUrl& url) { urls.push_back(url); }
};

TEST(ZKFlow, EveryStepClearsTheSwipesAndTheLibrarysStepsShowTheirContent) {
  ZKFlow flow;
  flow.navigationController->pushViewController(std::make_shared<Screen>(), false);
  flow.navigationController->pushViewController(std::make_shared<Screen>(), false);
  flow.navigationController->view()->setFrame(QRectF(0, 0, 320, 480));
  flow.navigationController->view()->show();
  flow.navigationController->initLeftSwipe(ZKSwipeAction::pop{});
  EXPECT_EQ(flow.navigate(std::make_shared<Step>()).kind(), FlowContributors::Kind::none);
  drag(flow.navigationController->view(), 4, 200);
  EXPECT_EQ(flow.navigationController->viewControllers().size(), 2u);

  Opened opened;
  QDesktopServices::setUrlHandler("file", &opened, "open");
  flow.navigate(std::make_shared<ZKStep>(ZKStep::openFile{*Url::parse("file:///tmp/a%20b.pdf")}));
  QDesktopServices::unsetUrlHandler("file");
  EXPECT_EQ(opened.urls, std::vector<QUrl>{QUrl("file:///tmp/a%20b.pdf")});

  flow.navigate(std::make_shared<ZKStep>(ZKStep::openImage{{"file:///none/a b.png", "file:///none/c.png"}, 1}));
  auto* viewer = dynamic_cast<ImageViewer*>(flow.navigationController->view()->subviews().back());
  ASSERT_NE(viewer, nullptr);
  EXPECT_EQ(viewer->closeButton().text(), QStringLiteral("✖️"));
  EXPECT_EQ(viewer->currentIndex(), 1);
  EXPECT_EQ(viewer->urls().front(), "file:///none/a%20b.png");
  QPointer<ImageViewer> alive(viewer);
  viewer->close();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(alive.isNull());
}

}  // namespace
}  // namespace tavrel::navigation

#include "controller_swipe_test.moc"
