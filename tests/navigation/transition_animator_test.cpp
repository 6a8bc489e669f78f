// The push and pop animations: the screens' slide, the bar items' fade at
// chosen clock points, and which items each slot keeps at the end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "navigation/controller_screens.h"
#include "tavrel/navigation/transition_animator.h"

namespace tavrel::navigation {
namespace {

using testing::Screen;
using testing::Shell;

TEST(TransitionAnimator, PresentingPushFadesTheOldItemsOutByHalfTimeAndKeepsTheNewOnes) {
  Shell s;
  s.nav->setDelegate(std::make_shared<FromLeftTransitionCoordinator>());  // a push presents
  auto second = std::make_shared<Screen>();
  ASSERT_TRUE(s.nav->pushViewController(second, true));
  EXPECT_EQ(second->view()->presentationFrame().x(), -320);  // comes in from the left
  EXPECT_EQ(second->left->presentationAlpha(), 0);

  Shell::advance(82);  // a quarter of 0.33 s
  for (ui::View* item : {s.first->left.data(), s.first->center.data(), s.first->right.data()})
    EXPECT_NEAR(item->presentationAlpha(), 0.5, 0.02);
  EXPECT_NEAR(second->right->presentationAlpha(), 0.5, 0.02);
  Shell::advance(83);  // half time: the fade is over, the slide half done
  for (ui::View* item : {s.first->left.data(), s.first->center.data(), s.first->right.data()})
    EXPECT_NEAR(item->presentationAlpha(), 0, 1e-9);
  EXPECT_NEAR(second->center->presentationAlpha(), 1, 1e-9);
  EXPECT_NEAR(second->view()->presentationFrame().x(), -160, 1);
  EXPECT_NEAR(s.first->view()->presentationFrame().x(), 160, 1);
  EXPECT_NEAR(second->center->presentationFrame().x(), (-216 + 20) / 2, 1);  // from minus the centre width

  Shell::advance(200);
  EXPECT_EQ(s.bar->leftView()->subviews(), std::vector<ui::View*>{second->left.data()});
  EXPECT_EQ(s.first->left->superview(), nullptr);
  EXPECT_EQ(second->center->frame(), QRectF(20, 0, 52, 52));
  EXPECT_EQ(s.nav->viewControllers().size(), 2u);
  EXPECT_EQ(s.first->view()->superview(), nullptr);
  EXPECT_EQ(ui::AnimationClock::shared().running(), 0u);
}

// An animator of its own, to try one without a bar.
struct Barless : ui::NavigationControllerDelegate {
  std::shared_ptr<ui::AnimatedTransitioning> animationControllerFor(ui::NavigationController&, ui::NavigationOperation,
                                                                    ui::ViewController&, ui::ViewController&) override {
    return std::make_shared<TransitionAnimator>(false, nullptr);
  }
};

TEST(TransitionAnimator, EachSlotKeepsWhatItsItemsAndTheDirectionSay) {
  // Per slot after the push: 'o' the old item, 'n' the new one, '-' empty.
  struct Case {
    const char* name;
    std::shared_ptr<ui::NavigationControllerDelegate> delegate;
    const char* incoming;  // slots with a new item; null: the screen brings none
    const char* emptied;   // slots emptied before the push
    const char* after;
  };
  const std::vector<Case> cases{
      {"right item only, from the right", std::make_shared<FromRightTransitionCoordinator>(), "r", "", "oon"},
      {"a screen without items", std::make_shared<FromRightTransitionCoordinator>(), nullptr, "", "ooo"},
      {"no bar", std::make_shared<Barless>(), "lcr", "", "ooo"},
      {"empty slot, presenting", std::make_shared<FromLeftTransitionCoordinator>(), "lcr", "l", "nnn"},
      {"empty slot, from the right", std::make_shared<FromRightTransitionCoordinator>(), "lcr", "l", "-nn"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Shell s;
    s.nav->setDelegate(c.delegate);
    for (const char* e = c.emptied; *e; ++e) (*e == 'l' ? s.first->left : s.first->center)->removeFromSuperview();
    std::shared_ptr<ui::ViewController> second =
        c.incoming ? std::static_pointer_cast<ui::ViewController>(std::make_shared<Screen>(c.incoming))
                   : std::make_shared<ui::ViewController>();
    ASSERT_TRUE(s.nav->pushViewController(second, true));
    Shell::advance(400);
    EXPECT_EQ(second->view()->frame(), QRectF(0, 0, 320, 480));
    auto* screen = dynamic_cast<Screen*>(second.get());
    const std::vector<ui::View*> containers{s.bar->leftView(), s.bar->centerView(), s.bar->rightView()};
    const std::vector<QPointer<ui::View>> olds{s.first->left, s.first->center, s.first->right};
    for (std::size_t i = 0; i < 3; ++i) {
      const auto subs = containers[i]->subviews();
      const char got = subs.empty() ? '-' : subs.front() == olds[i].data() ? 'o' : 'n';
      EXPECT_EQ(got, c.after[i]) << "slot " << i;
      EXPECT_EQ(subs.size(), subs.empty() ? 0u : 1u);
      if (got == 'n') {
        EXPECT_EQ(subs.front()->alpha(), 1);
      }
    }
    if (screen && c.after[0] == '-') {
      EXPECT_EQ(screen->left->superview(), nullptr);  // nothing to go under
    }
  }
  // Neither push nor pop: no animator; a controller that is not the shell's: none either.
  Shell s;
  FromRightTransitionCoordinator coordinator;
  ui::NavigationController plain;
  EXPECT_EQ(coordinator.animationControllerFor(*s.nav, ui::NavigationOperation::none, *s.first, *s.first), nullptr);
  EXPECT_EQ(coordinator.animationControllerFor(plain, ui::NavigationOperation::push, *s.first, *s.first), nullptr);
}

}  // namespace
}  // namespace tavrel::navigation
