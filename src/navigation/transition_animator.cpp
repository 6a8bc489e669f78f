#include "tavrel/navigation/transition_animator.h"

#include <QString>
#include <array>
#include <optional>
#include <string>

#include "tavrel/core/log.h"
#include "tavrel/navigation/zk_navigation_bar.h"
#include "tavrel/ui/navigation_controller.h"

namespace tavrel::navigation {
namespace {

using ui::View;

// One slot of the bar (left, centre, right) during a transition.
struct Slot {
  QPointer<View> container;
  QPointer<View> from;  // the outgoing item
  QPointer<View> to;    // the incoming item
  std::optional<QRectF> toFinal;
  double width = 0;  // how far the items move
};

QRectF movedTo(QRectF frame, double x) {
  frame.moveLeft(x);
  return frame;
}

// An alpha as a debug line shows it: 1.0, 0.25.
std::string alphaText(const View* view) {
  if (!view) return "nil";
  QString text = QString::number(view->alpha(), 'g', 15);
  if (!text.contains('.') && !text.contains('e')) text += QStringLiteral(".0");
  return text.toStdString();
}

}  // namespace

TransitionAnimator::TransitionAnimator(bool presenting_, ZKNavigationBar* navigationBar)
    : presenting(presenting_), navigationBar_(navigationBar) {}

ZKNavigationBar* TransitionAnimator::navigationBar() const { return navigationBar_; }

double TransitionAnimator::transitionDuration(const ui::TransitionContext* /*context*/) const {
  return ui::UINavigationControllerHideShowBarDuration;
}

void TransitionAnimator::animateTransition(const std::shared_ptr<ui::TransitionContext>& context) {
  QPointer<View> fromView = context->fromView();
  QPointer<View> toView = context->toView();
  if (!fromView || !toView) return;
  const auto* items = dynamic_cast<const ZKChangeNavigationBarProtocol*>(context->toViewController());
  const double duration = transitionDuration(context.get());
  View* container = context->containerView();
  const double s = presenting ? -1 : 1;

  auto slots = std::make_shared<std::array<Slot, 3>>();
  if (ZKNavigationBar* bar = navigationBar_) {
    const std::array<View*, 3> containers{bar->leftView(), bar->centerView(), bar->rightView()};
    const std::array<View*, 3> incoming{items ? items->leftNavigationBarView() : nullptr,
                                        items ? items->centerNavigationBarView() : nullptr,
                                        items ? items->rightNavigationBarView() : nullptr};
    for (std::size_t i = 0; i < 3; ++i) {
      Slot& slot = (*slots)[i];
      slot.container = containers[i];
      const auto current = containers[i]->subviews();
      slot.from = current.empty() ? nullptr : current.front();
      slot.to = incoming[i];
    }
  }

  if (presenting) {
    container->addSubview(toView);
    for (Slot& slot : *slots)
      if (slot.to) slot.container->addSubview(slot.to);
  } else {
    container->insertSubview(toView, fromView);
    for (Slot& slot : *slots)
      if (slot.to && slot.from) slot.container->insertSubview(slot.to, slot.from);
  }

  const QRectF toViewFinal = toView->frame();
  toView->setFrame(movedTo(toViewFinal, s * toViewFinal.width()));
  ZKNavigationBar* bar = navigationBar_;
  for (std::size_t i = 0; i < 3; ++i) {
    Slot& slot = (*slots)[i];
    if (!slot.to) continue;
    slot.toFinal = slot.to->frame();
    slot.to->setAlpha(0);
    slot.width = i == 0 ? slot.to->frame().width() : i == 1 ? bar->centerView()->frame().width()
                                                            : bar->rightView()->frame().width();
    slot.to->setFrame(movedTo(slot.to->frame(), s * slot.width));
  }

  const bool presenting_ = presenting;
  View::animateKeyframes(
      duration,
      [&] {
        View::addKeyframe(0, 0.5, [&] {
          toView->setAlpha(1.0);
          for (Slot& slot : *slots)
            if (slot.to) slot.to->setAlpha(1.0);
          if (presenting_) {
            fromView->setAlpha(0.0);
            for (Slot& slot : *slots)
              if (slot.to && slot.from) slot.from->setAlpha(0.0);
          }
        });
        View::addKeyframe(0, 1.0, [&] {
          toView->setFrame(toViewFinal);
          fromView->setFrame(movedTo(fromView->frame(), -s * fromView->frame().width()));
          for (std::size_t i = 0; i < 3; ++i) {
            Slot& slot = (*slots)[i];
            if (!slot.to) continue;
            slot.to->setFrame(*slot.toFinal);
            // The left item moves by its own width, the others by their container's.
            if (slot.from)
              slot.from->setFrame(movedTo(slot.from->frame(), -s * (i == 0 ? slot.from->frame().width() : slot.width)));
          }
          if (!presenting_) {
            fromView->setAlpha(0.0);
            for (Slot& slot : *slots) {
              if (slot.from) slot.from->setAlpha(0.0);
              if (slot.to) slot.to->setAlpha(1.0);
            }
          }
        });
      },
      [slots, context](bool /*finished*/) {
        for (std::size_t i = 0; i < 3; ++i) {
          Slot& slot = (*slots)[i];
          if (!slot.to) continue;
          if (i == 0) {
            debugPrint("ZEBOK: toLeftView alpha = " + alphaText(slot.to));
            debugPrint("ZEBOK: fromLeftView alpha = " + alphaText(slot.from));
          }
          if (slot.to->alpha() == 1.0) {
            if (slot.from) slot.from->removeFromSuperview();
          } else {
            slot.to->removeFromSuperview();
          }
        }
        context->completeTransition(!context->transitionWasCancelled());
      },
      View::calculationModeCubic);
}

}  // namespace tavrel::navigation
