#pragma once
// NavigationViewPresenter: between a screen and its NavigationView. It
// forwards states and bars to the view, and owns the retry signal that the
// screen hears: the error panel's button, and every return of the network.

#include <optional>

#include "tavrel/navigation/error_view_presenter.h"
#include "tavrel/navigation/navigation_view_protocol.h"
#include "tavrel/navigation/presenter.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/scheduler.h"
#include "tavrel/rx/subjects.h"

namespace tavrel::navigation {

class NavigationViewPresenter : public Presenter<NavigationViewProtocol> {
 public:
  // `scheduler` debounces the panel's taps: the main one unless given.
  explicit NavigationViewPresenter(rx::SchedulerPtr scheduler = nullptr);

  // Once, at set-up: follows ReachabilityService::shared() and the view's
  // error panels. The default dettach() keeps the view.
  void attach(NavigationViewProtocol* view) override;
  // Forwards to the view, if it still exists.
  void show(const NavigationViewState& state);
  void setNavigationBar(ZKNavigationBar* bar);

  // The retry signal: the error presenter's own subject unless another was
  // set before the first read.
  rx::PublishSubject<rx::Unit> errorRetryAction();
  void setErrorRetryAction(rx::PublishSubject<rx::Unit> subject) { errorRetryAction_ = std::move(subject); }

 private:
  std::optional<rx::PublishSubject<rx::Unit>> errorRetryAction_;
  ErrorViewPresenter errorPresenter_;
  rx::DisposeBag disposeBag_;  // last: ends the subscriptions first
};

}  // namespace tavrel::navigation
