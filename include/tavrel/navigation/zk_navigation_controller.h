#pragma once
// ZKNavigationController: the container of the messaging screens. The base
// bar is taken out; a NavigationView lies over the whole screen area
// instead, below the top safe-area inset. Swipes from the left and right
// edges carry out the swipe actions: a swipe begins a pop or sends a step,
// follows the finger through the installed coordinator's interactive
// transition, and finishes past the halfway mark or is cancelled.

#include <QColor>
#include <memory>
#include <optional>

#include "tavrel/navigation/flow.h"
#include "tavrel/navigation/zk_step.h"
#include "tavrel/ui/navigation_controller.h"
#include "tavrel/ui/percent_driven_interactive_transition.h"
#include "tavrel/ui/screen_edge_pan_gesture_recognizer.h"

namespace tavrel::navigation {

class NavigationView;
class NavigationViewPresenter;
class ZKNavigationBar;

// A navigation delegate that exposes the interactive transition it hands
// out; the swipe handler sets and clears it.
class IteractionCoordinatorProtocol {
 public:
  virtual ~IteractionCoordinatorProtocol() = default;
  std::shared_ptr<ui::PercentDrivenInteractiveTransition> interactionController;
};

class ZKNavigationController : public ui::NavigationController, public Stepper {
  Q_OBJECT
 public:
  // Set up: the presenter attached, the shell and both edge gestures in place.
  ZKNavigationController();
  explicit ZKNavigationController(std::shared_ptr<ui::ViewController> root);
  // Fields only: no gestures, no presenter attached.
  struct NoSetup {};
  explicit ZKNavigationController(NoSetup);
  ~ZKNavigationController() override;

  std::shared_ptr<NavigationViewPresenter> presenter;
  NavigationView* navigationView() const;
  // Whether the shell starts below the top safe-area inset.
  bool isCalulateSafeArea = true;

  void initLeftSwipe(std::optional<ZKSwipeAction> action) { leftSwipeAction_ = std::move(action); }
  void initRightSwipe(std::optional<ZKSwipeAction> action) { rightSwipeAction_ = std::move(action); }
  void setTintColor(std::optional<QColor> color);

  void handleSwipeFromLeft(ui::ScreenEdgePanGestureRecognizer& gesture);
  void handleSwipeFromRight(ui::ScreenEdgePanGestureRecognizer& gesture);
  void viewWillLayoutSubviews() override;

  // The recognisers of `setup`, null without it.
  ui::ScreenEdgePanGestureRecognizer* leftEdgeRecognizer() const { return leftEdge_; }
  ui::ScreenEdgePanGestureRecognizer* rightEdgeRecognizer() const { return rightEdge_; }

 private:
  void setup();
  void handleSwipe(ui::ScreenEdgePanGestureRecognizer& gesture, double progress, const ZKSwipeAction& action);
  // The delegate, when it is a coordinator.
  IteractionCoordinatorProtocol* coordinator() const;

  QPointer<NavigationView> navigationView_;
  std::optional<ZKSwipeAction> rightSwipeAction_;
  std::optional<ZKSwipeAction> leftSwipeAction_;
  QPointer<ui::ScreenEdgePanGestureRecognizer> leftEdge_;
  QPointer<ui::ScreenEdgePanGestureRecognizer> rightEdge_;
};

// The shell's bar, when `controller` is a ZKNavigationController; else null.
ZKNavigationBar* getNavigationBar(const ui::NavigationController* controller);
// The screen's navigation controller as a ZKNavigationController, or null.
ZKNavigationController* getNavigationController(const ui::ViewController* controller);

}  // namespace tavrel::navigation
