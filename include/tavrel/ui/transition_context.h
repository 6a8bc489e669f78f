#pragma once
// TransitionContext: what an animated transition between two screens works
// with: the outgoing and incoming views and controllers, the container view
// the animation takes place in, and the call that ends the transition.
// The navigation controller makes one per transition; the animator keeps it
// (shared) until it calls `completeTransition`.

#include <QPointer>
#include <functional>

#include "tavrel/ui/view.h"
#include "tavrel/ui/view_controller.h"

namespace tavrel::ui {

class TransitionContext {
 public:
  using Completion = std::function<void(bool didComplete)>;
  TransitionContext(ViewController* from, ViewController* to, View* container, bool interactive,
                    Completion completion);

  View* containerView() const { return container_; }
  ViewController* fromViewController() const { return from_; }
  ViewController* toViewController() const { return to_; }
  // The root views of the two controllers; null once gone.
  View* fromView() const;
  View* toView() const;
  bool isInteractive() const { return interactive_; }
  // True once an interactive transition has been abandoned by its driver.
  bool transitionWasCancelled() const { return cancelled_; }
  void cancelInteractiveTransition() { cancelled_ = true; }
  // Ends the transition; only the first call counts.
  void completeTransition(bool didComplete);

 private:
  QPointer<ViewController> from_;
  QPointer<ViewController> to_;
  QPointer<View> container_;
  bool interactive_;
  bool cancelled_ = false;
  Completion completion_;
};

}  // namespace tavrel::ui
