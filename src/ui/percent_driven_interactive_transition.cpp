#include "tavrel/ui/percent_driven_interactive_transition.h"

#include <algorithm>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

void PercentDrivenInteractiveTransition::startInteractiveTransition(const std::shared_ptr<TransitionContext>& context,
                                                                    AnimatedTransitioning& animator) {
  if (timeline_) return;  // one transition per driver
  timeline_ = std::make_shared<AnimationTimeline>();
  context_ = context;
  duration_ = animator.transitionDuration(context.get());
  View::followTimeline(timeline_, [&] { animator.animateTransition(context); });
  timeline_->seek(percent_ * duration_ * 1000);
}

void PercentDrivenInteractiveTransition::update(double fraction) {
  if (ended_) return;
  percent_ = std::clamp(fraction, 0.0, 1.0);
  if (timeline_) timeline_->seek(percent_ * duration_ * 1000);
}

void PercentDrivenInteractiveTransition::finish() {
  if (!timeline_ || ended_) return;
  ended_ = true;
  timeline_->play(true);
  AnimationClock::shared().advance(0);
}

void PercentDrivenInteractiveTransition::cancel() {
  if (!timeline_ || ended_) return;
  ended_ = true;
  if (auto context = context_.lock()) context->cancelInteractiveTransition();
  timeline_->play(false);
  AnimationClock::shared().advance(0);
}

}  // namespace tavrel::ui
