#include "tavrel/ui/navigation_controller.h"

#include <algorithm>

#include "tavrel/ui/layout_helpers.h"

namespace tavrel::ui {

struct NavigationController::Transition {
  NavigationOperation operation;
  std::shared_ptr<ViewController> from;
  std::shared_ptr<ViewController> to;
  std::shared_ptr<AnimatedTransitioning> animator;
  std::shared_ptr<PercentDrivenInteractiveTransition> interaction;
};

NavigationController::NavigationController() {
  View* root = view();
  container_ = new View(root->bounds());
  root->addSubview(container_);
  navigationBar_ = new View(QRectF(0, Application::safeArea().top, root->bounds().width(), barHeight));
  root->addSubview(navigationBar_);
}

NavigationController::NavigationController(std::shared_ptr<ViewController> root) : NavigationController() {
  pushViewController(std::move(root), false);
}

NavigationController::~NavigationController() {
  if (navigationBar_ && !navigationBar_->parentWidget()) delete navigationBar_.data();
}

void NavigationController::place(View* view) {
  // The container fills the controller's view, laid out or not yet.
  const QRectF bounds = this->view()->bounds();
  View::performWithoutAnimation([&] {
    view->setFrame(bounds);
    view->setAlpha(1);
  });
}

bool NavigationController::pushViewController(std::shared_ptr<ViewController> controller, bool animated) {
  if (!controller || controller->navigationController_ || transition_ || controller.get() == this) return false;
  ViewController* from = topViewController();
  stack_.push_back(controller);
  controller->navigationController_ = this;
  if (!from) {
    place(controller->view());
    controller->viewWillAppear(false);
    container_->addSubview(controller->view());
    controller->viewDidAppear(false);
    return true;
  }
  show(stack_[stack_.size() - 2], controller, NavigationOperation::push, animated);
  return true;
}

std::shared_ptr<ViewController> NavigationController::popViewController(bool animated) {
  if (stack_.size() < 2 || transition_) return nullptr;
  auto popped = stack_.back();
  stack_.pop_back();
  show(popped, stack_.back(), NavigationOperation::pop, animated);
  return popped;
}

void NavigationController::show(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to,
                                NavigationOperation operation, bool animated) {
  View* toView = to->view();
  place(toView);
  std::shared_ptr<AnimatedTransitioning> animator;
  if (animated && delegate_) animator = delegate_->animationControllerFor(*this, operation, *from, *to);
  transition_ = std::make_unique<Transition>(Transition{operation, from, to, animator, nullptr});
  from->viewWillDisappear(animated);
  to->viewWillAppear(animated);
  if (!animator) {
    container_->addSubview(toView);
    finishTransition(true);
    return;
  }
  transition_->interaction = delegate_->interactionControllerFor(*this, *animator);
  QPointer<NavigationController> self(this);
  auto context = std::make_shared<TransitionContext>(from.get(), to.get(), container_, transition_->interaction != nullptr,
                                                     [self](bool didComplete) {
                                                       if (self) self->finishTransition(didComplete);
                                                     });
  if (auto interaction = transition_->interaction) interaction->startInteractiveTransition(context, *animator);
  else animator->animateTransition(context);
}

void NavigationController::finishTransition(bool didComplete) {
  if (!transition_) return;
  const std::unique_ptr<Transition> t = std::move(transition_);
  const auto& gone = didComplete ? t->from : t->to;
  const auto& shown = didComplete ? t->to : t->from;
  if (gone->isViewLoaded() && gone->view()->superview() == container_) {
    gone->view()->removeFromSuperview();
    place(gone->view());
  }
  if (!didComplete) {  // the stack as it was
    if (t->operation == NavigationOperation::push) stack_.pop_back();
    else stack_.push_back(t->from);
  }
  if (std::ranges::find(stack_, gone) == stack_.end()) gone->navigationController_ = nullptr;
  gone->viewDidDisappear(true);
  shown->viewDidAppear(true);
}

void NavigationController::viewWillLayoutSubviews() {
  const QRectF bounds = view()->bounds();
  container_->setFrame(bounds);
  if (!transition_)
    if (ViewController* top = topViewController()) top->view()->setFrame(bounds);
  if (navigationBar_ && navigationBar_->superview())
    navigationBar_->setFrame(QRectF(0, Application::safeArea().top, bounds.width(), barHeight));
}

}  // namespace tavrel::ui
