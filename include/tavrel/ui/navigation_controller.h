#pragma once
// NavigationController: a stack of screens, the top one shown in a container
// view that fills the controller's view, with a bar above it.
//
// `pushViewController` and `popViewController` change the stack at once and
// show the change. Animated, they ask the delegate for an animator (none: the
// change shows at once) and for an interactive driver of that animator; a
// transition that its driver cancels puts the stack back as it was. While a
// transition runs, further pushes and pops are refused.

#include <QPointer>
#include <memory>
#include <vector>

#include "tavrel/ui/animated_transitioning.h"
#include "tavrel/ui/percent_driven_interactive_transition.h"
#include "tavrel/ui/view_controller.h"

namespace tavrel::ui {

// How long the platform's navigation controller takes to show or hide its
// bar: UIKit's UINavigationControllerHideShowBarDuration, 0.33 s on iOS. The
// transitions of the screens last as long.
inline constexpr double UINavigationControllerHideShowBarDuration = 0.33;

enum class NavigationOperation { none = 0, push = 1, pop = 2 };

class NavigationControllerDelegate {
 public:
  virtual ~NavigationControllerDelegate() = default;
  // The animator of a change of screens, or null for none.
  virtual std::shared_ptr<AnimatedTransitioning> animationControllerFor(NavigationController& /*controller*/,
                                                                     NavigationOperation /*operation*/,
                                                                     ViewController& /*from*/,
                                                                     ViewController& /*to*/) {
    return nullptr;
  }
  // The driver of that animator when a finger drives it, or null.
  virtual std::shared_ptr<PercentDrivenInteractiveTransition> interactionControllerFor(
      NavigationController& /*controller*/, AnimatedTransitioning& /*animator*/) {
    return nullptr;
  }
};

class NavigationController : public ViewController {
  Q_OBJECT
 public:
  // Height of the base bar.
  static constexpr double barHeight = 44;

  NavigationController();
  explicit NavigationController(std::shared_ptr<ViewController> root);
  ~NavigationController() override;

  // Bottom first, top last.
  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const { return stack_; }
  ViewController* topViewController() const { return stack_.empty() ? nullptr : stack_.back().get(); }
  // False when refused: null, already in a stack, or a transition running.
  bool pushViewController(std::shared_ptr<ViewController> controller, bool animated);
  // The screen taken off, or null: the root stays, and a transition running
  // refuses.
  std::shared_ptr<ViewController> popViewController(bool animated);
  bool isTransitioning() const { return transition_ != nullptr; }

  // The controller keeps its delegate.
  std::shared_ptr<NavigationControllerDelegate> delegate() const { return delegate_; }
  void setDelegate(std::shared_ptr<NavigationControllerDelegate> delegate) { delegate_ = std::move(delegate); }

  // The base bar: at the top safe-area inset, the view's width, `barHeight`
  // high. Laid out only while it is in the controller's view; taken out, it
  // keeps its last frame. The controller owns it either way.
  View* navigationBar() const { return navigationBar_; }
  // Where the screens are shown; fills the controller's view.
  View* containerView() const { return container_; }

  void viewWillLayoutSubviews() override;

 private:
  struct Transition;
  void show(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to,
            NavigationOperation operation, bool animated);
  void finishTransition(bool didComplete);
  void place(View* view);

  std::vector<std::shared_ptr<ViewController>> stack_;
  std::shared_ptr<NavigationControllerDelegate> delegate_;
  QPointer<View> container_;
  QPointer<View> navigationBar_;
  std::unique_ptr<Transition> transition_;
};

}  // namespace tavrel::ui
