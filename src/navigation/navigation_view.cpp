#include "tavrel/navigation/navigation_view.h"

#include <QEvent>
#include <QRegion>

#include "tavrel/core/log.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/keyboard.h"

namespace tavrel::navigation {
namespace {

constexpr double fadeSeconds = 0.25;

void fade(ui::View* view, double alpha) {
  if (view) view->setAlpha(alpha);
}

// Out of the view tree at once, destroyed once the caller's stack is done
// with it (an animation's completion may run inside one of its setters).
void discard(ui::View* view) {
  if (!view) return;
  view->removeFromSuperview();
  view->deleteLater();
}

}  // namespace

NavigationView::NavigationView(const QRectF& frame) : View(frame) {
  QPointer<NavigationView> self(this);
  disposeBag_.insert(ui::Keyboard::shared().visibleHeight().drive([self](const double& height) {
    if (self) self->keyboardHeight_ = height;  // takes effect at the next layout
  }));
  updateMask();
}

void NavigationView::show(const NavigationViewState& given) {
  state_ = given;
  QPointer<NavigationView> self(this);
  QPointer<ui::View> loading = loadingView_.data(), error = errorView_.data();
  if (given.kind() == NavigationViewState::Case::hide) {
    debugPrint("SHOW HIDE");
    View::animate(fadeSeconds, [loading, error] { fade(loading, 0), fade(error, 0); }, [self](bool) {
      // Only while hide is still wanted: a state shown since keeps its views.
      if (!self || !self->state_ || self->state_->kind() != NavigationViewState::Case::hide) return;
      discard(self->loadingView_), discard(self->errorView_), discard(self->overlay_);
      self->loadingView_ = nullptr, self->errorView_ = nullptr, self->overlay_ = nullptr;
      self->errorViewObserver_.onNext(nullptr);
      self->updateMask();
    });
  } else if (given.isLoading()) {
    debugPrint("SHOW LODING");
    ensureOverlay();
    ensureLoadingView();
    loading = loadingView_.data();
    View::animate(fadeSeconds, [loading, error] { fade(loading, 1), fade(error, 0); });
  } else {
    debugPrint("SHOW ERROR");
    // A server failure while offline was a lost network: say so.
    NavigationViewState working = given;
    if (given.kind() == NavigationViewState::Case::serverError &&
        ReachabilityService::shared().connection() == ReachabilityService::Status::offline)
      working = NavigationViewState::connectError();
    state_ = working;
    ensureOverlay();
    ensureErrorView(working);
    error = errorView_.data();
    View::animate(fadeSeconds, [loading, error] { fade(error, 1), fade(loading, 0); });
  }
  setNeedsLayout();
}

void NavigationView::ensureOverlay() {
  if (overlay_) return;
  overlay_ = new ui::View();
  overlay_->setBackgroundColor(ui::colors::white());
  addSubview(overlay_);
}

void NavigationView::ensureLoadingView() {
  if (loadingView_) return;
  auto* loading = new ui::LoadingView();
  loading->setTintColor(tintColor());
  loadingView_ = loading;
  addSubview(loading);
}

void NavigationView::ensureErrorView(const NavigationViewState& state) {
  if (!errorView_) {
    auto* panel = new NetworkErrorView(state);
    errorView_ = panel;
    addSubview(panel);
    errorViewObserver_.onNext(panel);
  } else {
    errorView_->update(state);
  }
  errorView_->setTintColor(tintColor());
}

void NavigationView::addSubview(ui::View* view) {
  View::addSubview(view);
  setBackgroundColor(ui::colors::clear());
  if (loadingView_) loadingView_->raise();
  if (errorView_) errorView_->raise();
  updateMask();
}

void NavigationView::setNavigationBar(ZKNavigationBar* bar) {
  if (navigationBar_) discard(navigationBar_);
  navigationBar_ = bar;
  if (bar) {
    addSubview(bar);
    QObject::connect(bar, &View::frameChanged, this, [this] { updateMask(); });
  }
  setNeedsLayout();
}

void NavigationView::layoutSubviews() {
  const double w = frame().width(), h = frame().height();
  const double barHeight = navigationBar_ ? navigationBar_->frame().height() : 0;
  const QRectF content = navigationBar_ ? QRectF(0, barHeight, w, h - barHeight - keyboardHeight_) : frame();
  if (state_) {
    switch (state_->kind()) {
      case NavigationViewState::Case::frameLoading:
        if (loadingView_) loadingView_->setFrame(state_->rect());
        break;
      case NavigationViewState::Case::hide: break;
      case NavigationViewState::Case::zeroData:
      case NavigationViewState::Case::connectError:
      case NavigationViewState::Case::serverError:
        if (errorView_) errorView_->setFrame(content);
        break;
      case NavigationViewState::Case::fullscreenLoading:
        if (loadingView_) loadingView_->setFrame(frame());
        break;
      case NavigationViewState::Case::contentLoading:
        if (loadingView_) loadingView_->setFrame(content);
        break;
    }
  }
  if (overlay_) overlay_->setFrame(content);
  View::layoutSubviews();
  updateMask();
}

ui::View* NavigationView::hitTest(const QPointF& point) {
  View* hit = View::hitTest(point);
  return hit == this ? nullptr : hit;
}

void NavigationView::updateMask() {
  // Every child counts, faded ones too: a fading view must still be drawn,
  // and what it covers is covered by the overlay or the bar anyway.
  QRegion region;
  for (View* child : subviews())
    if (!child->isHidden() && child->isUserInteractionEnabled()) region += child->geometry();
  // An empty mask would mean none: with no child, no press is ours.
  setAttribute(Qt::WA_TransparentForMouseEvents, region.isEmpty());
  if (region.isEmpty()) clearMask();
  else setMask(region);
}

bool NavigationView::event(QEvent* event) {
  if (event->type() == QEvent::ChildRemoved) updateMask();
  return View::event(event);
}

}  // namespace tavrel::navigation
