#include "tavrel/navigation/transition_coordinators.h"

#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/transition_animator.h"

namespace tavrel::navigation {

std::shared_ptr<ui::AnimatedTransitioning> TransitionCoordinator::animationControllerFor(
    ui::NavigationController& controller, ui::NavigationOperation operation, ui::ViewController& /*from*/,
    ui::ViewController& /*to*/) {
  auto* zk = dynamic_cast<ZKNavigationController*>(&controller);
  if (!zk) return nullptr;
  ZKNavigationBar* bar = zk->navigationView() ? zk->navigationView()->navigationBar() : nullptr;
  switch (operation) {
    case ui::NavigationOperation::push:
      return std::make_shared<TransitionAnimator>(presentingOnPush_, bar);
    case ui::NavigationOperation::pop:
      return std::make_shared<TransitionAnimator>(!presentingOnPush_, bar);
    case ui::NavigationOperation::none:
      break;
  }
  return nullptr;
}

std::shared_ptr<ui::PercentDrivenInteractiveTransition> TransitionCoordinator::interactionControllerFor(
    ui::NavigationController& /*controller*/, ui::AnimatedTransitioning& /*animator*/) {
  return interactionController;
}

}  // namespace tavrel::navigation
