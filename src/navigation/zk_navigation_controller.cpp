#include "tavrel/navigation/zk_navigation_controller.h"

#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/layout_helpers.h"

namespace tavrel::navigation {

ZKNavigationController::ZKNavigationController(NoSetup)
    : presenter(std::make_shared<NavigationViewPresenter>()), navigationView_(new NavigationView()) {}

ZKNavigationController::ZKNavigationController() : ZKNavigationController(NoSetup{}) { setup(); }

ZKNavigationController::ZKNavigationController(std::shared_ptr<ui::ViewController> root)
    : ZKNavigationController() {
  pushViewController(std::move(root), false);
}

ZKNavigationController::~ZKNavigationController() {
  if (navigationView_ && !navigationView_->parentWidget()) delete navigationView_.data();
}

NavigationView* ZKNavigationController::navigationView() const { return navigationView_; }

void ZKNavigationController::setup() {
  presenter->attach(navigationView_);
  navigationBar()->removeFromSuperview();
  view()->addSubview(navigationView_);
  view()->setBackgroundColor(ui::colors::white());
  leftEdge_ = new ui::ScreenEdgePanGestureRecognizer([this](auto& g) { handleSwipeFromLeft(g); }, this);
  leftEdge_->setEdges(ui::RectEdge::left);
  leftEdge_->attach(view());
  rightEdge_ = new ui::ScreenEdgePanGestureRecognizer([this](auto& g) { handleSwipeFromRight(g); }, this);
  rightEdge_->setEdges(ui::RectEdge::right);
  rightEdge_->attach(view());
}

void ZKNavigationController::setTintColor(std::optional<QColor> color) { navigationView_->setTintColor(color); }

IteractionCoordinatorProtocol* ZKNavigationController::coordinator() const {
  return dynamic_cast<IteractionCoordinatorProtocol*>(delegate().get());
}

void ZKNavigationController::handleSwipeFromLeft(ui::ScreenEdgePanGestureRecognizer& gesture) {
  if (!leftSwipeAction_) return;
  ui::View* view = gesture.view();
  if (!view) {
    if (auto* c = coordinator()) c->interactionController = nullptr;
    return;
  }
  handleSwipe(gesture, gesture.translationInView(view).x() / view->bounds().width(), *leftSwipeAction_);
}

void ZKNavigationController::handleSwipeFromRight(ui::ScreenEdgePanGestureRecognizer& gesture) {
  if (!rightSwipeAction_) return;
  ui::View* view = gesture.view();
  if (!view) {
    if (auto* c = coordinator()) c->interactionController = nullptr;
    return;
  }
  handleSwipe(gesture, gesture.translationInView(view).x() * -1.0 / view->bounds().width(), *rightSwipeAction_);
}

void ZKNavigationController::handleSwipe(ui::ScreenEdgePanGestureRecognizer& gesture, double progress,
                                         const ZKSwipeAction& action) {
  using State = ui::ScreenEdgePanGestureRecognizer::State;
  auto* c = coordinator();
  switch (gesture.state()) {
    case State::began:
      if (c) c->interactionController = std::make_shared<ui::PercentDrivenInteractiveTransition>();
      if (std::holds_alternative<ZKSwipeAction::pop>(action.value)) popViewController(true);
      else steps.accept(std::get<ZKSwipeAction::step>(action.value).value);
      break;
    case State::changed:
      if (c && c->interactionController) c->interactionController->update(progress);
      break;
    case State::ended:
    case State::cancelled:
      if (c && c->interactionController) {
        if (gesture.state() == State::ended && progress > 0.5) c->interactionController->finish();
        else c->interactionController->cancel();
      }
      if (c) c->interactionController = nullptr;
      break;
    case State::possible:
      break;
  }
}

void ZKNavigationController::viewWillLayoutSubviews() {
  NavigationController::viewWillLayoutSubviews();
  const QRectF frame = view()->frame();
  const double y = isCalulateSafeArea ? ui::Application::safeArea().top : 0;
  navigationView_->setFrame(QRectF(0, y, frame.width(), frame.height() - navigationBar()->frame().y()));
}

ZKNavigationBar* getNavigationBar(const ui::NavigationController* controller) {
  auto* zk = dynamic_cast<const ZKNavigationController*>(controller);
  return zk && zk->navigationView() ? zk->navigationView()->navigationBar() : nullptr;
}

ZKNavigationController* getNavigationController(const ui::ViewController* controller) {
  return controller ? dynamic_cast<ZKNavigationController*>(controller->navigationController()) : nullptr;
}

}  // namespace tavrel::navigation
