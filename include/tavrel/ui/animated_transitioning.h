#pragma once
// AnimatedTransitioning: an object that animates one change of screens in a
// navigation controller. It animates with View::animate or
// View::animateKeyframes and calls the context's `completeTransition` from
// the completion, so the same animator serves interactive transitions too.

#include <memory>

#include "tavrel/ui/transition_context.h"

namespace tavrel::ui {

class AnimatedTransitioning {
 public:
  virtual ~AnimatedTransitioning() = default;
  // Seconds.
  virtual double transitionDuration(const TransitionContext* context) const = 0;
  virtual void animateTransition(const std::shared_ptr<TransitionContext>& context) = 0;
};

}  // namespace tavrel::ui
