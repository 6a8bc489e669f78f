// The base navigation controller's stack under animated and interactive
// transitions.
#include <gtest/gtest.h>

#include "navigation/controller_screens.h"
#include "tavrel/navigation/transition_animator.h"

namespace tavrel::navigation {
namespace {

using testing::Shell;

// A barless slide, driven by the delegate's own interactive transition.
struct Driven : ui::NavigationControllerDelegate {
  std::shared_ptr<ui::AnimatedTransitioning> animationControllerFor(ui::NavigationController&, ui::NavigationOperation,
                                                                    ui::ViewController&, ui::ViewController&) override {
    return std::make_shared<TransitionAnimator>(false, nullptr);
  }
  std::shared_ptr<ui::PercentDrivenInteractiveTransition> interactionControllerFor(ui::NavigationController&,
                                                                                   ui::AnimatedTransitioning&) override {
    return driver;
  }
  std::shared_ptr<ui::PercentDrivenInteractiveTransition> driver;
};

TEST(NavigationController, RefusesWhatWouldBreakTheStackAndPutsItBackAfterACancel) {
  ui::NavigationController nav;
  nav.view()->setFrame(QRectF(0, 0, 320, 480));
  auto root = std::make_shared<ui::ViewController>();
  auto second = std::make_shared<ui::ViewController>();
  ASSERT_TRUE(nav.pushViewController(root, false));
  nav.view()->layoutIfNeeded();
  EXPECT_EQ(nav.popViewController(true), nullptr);  // the root stays
  EXPECT_FALSE(nav.pushViewController(nullptr, true));
  EXPECT_FALSE(nav.pushViewController(root, true));  // already there
  auto delegate = std::make_shared<Driven>();
  nav.setDelegate(delegate);

  for (const bool finish : {false, true}) {
    SCOPED_TRACE(finish);
    delegate->driver = std::make_shared<ui::PercentDrivenInteractiveTransition>();
    ASSERT_TRUE(nav.pushViewController(second, true));
    EXPECT_EQ(nav.viewControllers().size(), 2u);  // at once
    EXPECT_FALSE(nav.pushViewController(std::make_shared<ui::ViewController>(), true));
    EXPECT_EQ(nav.popViewController(false), nullptr);
    delegate->driver->update(0.75);
    EXPECT_NEAR(second->view()->presentationFrame().x(), 50, 1);  // held, eased: 320 × (1 − 0.84)
    Shell::advance(1000);
    EXPECT_NEAR(second->view()->presentationFrame().x(), 50, 1);  // time does not move it
    finish ? delegate->driver->finish() : delegate->driver->cancel();
    Shell::advance(100);  // the remaining quarter runs on at normal speed
    EXPECT_EQ(nav.isTransitioning(), !finish);
    Shell::advance(300);
    EXPECT_FALSE(nav.isTransitioning());
    EXPECT_EQ(nav.viewControllers().size(), finish ? 2u : 1u);
    EXPECT_EQ(second->navigationController(), finish ? &nav : nullptr);
    ui::ViewController* shown = finish ? second.get() : root.get();
    EXPECT_EQ(nav.containerView()->subviews(), std::vector<ui::View*>{shown->view()});
  }
}

}  // namespace
}  // namespace tavrel::navigation
