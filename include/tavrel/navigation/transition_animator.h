#pragma once
// TransitionAnimator: the push and pop of the messaging screens. Both
// screens slide sideways by their width while the bar's three items (left,
// centre, right) are swapped for those of the incoming screen by the same
// move, the old ones fading out. `presenting` brings the incoming screen in
// from the left on top, fading the outgoing one over half the time;
// otherwise it comes in from the right, below, and the fade takes the whole
// duration. At the end each slot keeps the incoming item if its alpha came to
// exactly 1, else the outgoing one: a transition run back (cancelled) leaves
// the bar as it was.

#include <QPointer>

#include "tavrel/ui/animated_transitioning.h"

namespace tavrel::navigation {

class ZKNavigationBar;

class TransitionAnimator : public ui::AnimatedTransitioning {
 public:
  // Without a bar, only the screens move.
  TransitionAnimator(bool presenting, ZKNavigationBar* navigationBar);

  const bool presenting;
  ZKNavigationBar* navigationBar() const;

  double transitionDuration(const ui::TransitionContext* context) const override;
  void animateTransition(const std::shared_ptr<ui::TransitionContext>& context) override;

 private:
  QPointer<ZKNavigationBar> navigationBar_;
};

}  // namespace tavrel::navigation
