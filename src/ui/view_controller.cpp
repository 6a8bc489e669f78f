#include "tavrel/ui/view_controller.h"

#include "tavrel/ui/navigation_controller.h"
#include "tavrel/ui/transition_context.h"

namespace tavrel::ui {
namespace {

const char* const controllerKey = "tavrelViewController";

// The root view: its layout pass starts with the controller's hook.
class ControllerView : public View {
 public:
  explicit ControllerView(ViewController* controller) : controller_(controller) {}
  void layoutSubviews() override {
    if (controller_) controller_->viewWillLayoutSubviews();
  }

 private:
  QPointer<ViewController> controller_;
};

}  // namespace

ViewController::ViewController() = default;

ViewController::~ViewController() { delete view_.data(); }

NavigationController* ViewController::navigationController() const { return navigationController_; }

View* ViewController::view() {
  if (!view_) {
    view_ = new ControllerView(this);
    view_->setProperty(controllerKey, QVariant::fromValue(static_cast<QObject*>(this)));
    viewDidLoad();
  }
  return view_;
}

ViewController* findViewController(const View* view) {
  for (const View* v = view; v; v = v->superview())
    if (auto* controller = qobject_cast<ViewController*>(v->property(controllerKey).value<QObject*>()))
      return controller;
  return nullptr;
}

TransitionContext::TransitionContext(ViewController* from, ViewController* to, View* container, bool interactive,
                                     Completion completion)
    : from_(from), to_(to), container_(container), interactive_(interactive), completion_(std::move(completion)) {}

View* TransitionContext::fromView() const { return from_ && from_->isViewLoaded() ? from_->view() : nullptr; }

View* TransitionContext::toView() const { return to_ && to_->isViewLoaded() ? to_->view() : nullptr; }

void TransitionContext::completeTransition(bool didComplete) {
  if (auto done = std::exchange(completion_, nullptr)) done(didComplete);
}

}  // namespace tavrel::ui
