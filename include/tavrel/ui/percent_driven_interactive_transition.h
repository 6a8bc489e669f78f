#pragma once
// PercentDrivenInteractiveTransition: drives an animator's animations by
// hand. Once the navigation controller has started it, the animations are
// held at the fraction given to `update`; `finish` runs them on to their end
// and `cancel` runs them back to their start, at normal speed, after which
// the animator's completion runs as it would for a plain animation.
// Calls before the start (or after the end) do nothing.

#include <memory>

#include "tavrel/ui/animated_transitioning.h"
#include "tavrel/ui/animation_clock.h"

namespace tavrel::ui {

class PercentDrivenInteractiveTransition {
 public:
  // Called by the navigation controller in place of `animateTransition`.
  void startInteractiveTransition(const std::shared_ptr<TransitionContext>& context,
                                  AnimatedTransitioning& animator);
  void update(double fraction);
  void finish();
  void cancel();

  double percentComplete() const { return percent_; }
  // Seconds, the animator's duration.
  double duration() const { return duration_; }
  bool isRunning() const { return timeline_ != nullptr && !ended_; }

 private:
  std::shared_ptr<AnimationTimeline> timeline_;
  std::weak_ptr<TransitionContext> context_;
  double duration_ = 0;
  double percent_ = 0;
  bool ended_ = false;
};

}  // namespace tavrel::ui
