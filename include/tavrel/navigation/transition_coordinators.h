#pragma once
// The two navigation delegates a ZKNavigationController can install. Each
// makes a TransitionAnimator per push or pop, on the controller's shell bar,
// and hands out the interactive transition the swipe handler sets.
// FromRightTransitionCoordinator: a push comes in from the right, a pop from
// the left; FromLeftTransitionCoordinator the other way round.

#include "tavrel/navigation/zk_navigation_controller.h"

namespace tavrel::navigation {

class TransitionCoordinator : public ui::NavigationControllerDelegate, public IteractionCoordinatorProtocol {
 public:
  std::shared_ptr<ui::AnimatedTransitioning> animationControllerFor(ui::NavigationController& controller,
                                                                 ui::NavigationOperation operation,
                                                                 ui::ViewController& from,
                                                                 ui::ViewController& to) override;
  std::shared_ptr<ui::PercentDrivenInteractiveTransition> interactionControllerFor(
      ui::NavigationController& controller, ui::AnimatedTransitioning& animator) override;

 protected:
  // `presenting` for a push; a pop takes the other.
  explicit TransitionCoordinator(bool presentingOnPush) : presentingOnPush_(presentingOnPush) {}

 private:
  bool presentingOnPush_;
};

class FromRightTransitionCoordinator : public TransitionCoordinator {
 public:
  FromRightTransitionCoordinator() : TransitionCoordinator(false) {}
};

class FromLeftTransitionCoordinator : public TransitionCoordinator {
 public:
  FromLeftTransitionCoordinator() : TransitionCoordinator(true) {}
};

}  // namespace tavrel::navigation
