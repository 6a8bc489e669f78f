#include "tavrel/navigation/navigation_view_presenter.h"

#include "tavrel/device/reachability_service.h"
#include "tavrel/rx/rx.h"

namespace tavrel::navigation {

NavigationViewPresenter::NavigationViewPresenter(rx::SchedulerPtr scheduler) : errorPresenter_(std::move(scheduler)) {}

rx::PublishSubject<rx::Unit> NavigationViewPresenter::errorRetryAction() {
  if (!errorRetryAction_) errorRetryAction_ = errorPresenter_.errorRetryAction;
  return *errorRetryAction_;
}

void NavigationViewPresenter::attach(NavigationViewProtocol* view) {
  setObject(view);
  // Every return of the network asks the screen to retry, panel or not.
  disposeBag_.insert(ReachabilityService::shared()
                         .isReachable()
                         .filter([](ReachabilityService::Status s) { return s == ReachabilityService::Status::online; })
                         .subscribe([this](ReachabilityService::Status) { errorRetryAction().onNext(rx::Unit{}); }));
  if (NavigationViewProtocol* object = this->object()) {
    disposeBag_.insert(object->errorViewObserver().asObservable().subscribe([this](ErrorViewProtocol* panel) {
      if (panel) errorPresenter_.attach(panel);
      else errorPresenter_.dettach();
    }));
  }
}

void NavigationViewPresenter::show(const NavigationViewState& state) {
  if (NavigationViewProtocol* view = object()) view->show(state);
}

void NavigationViewPresenter::setNavigationBar(ZKNavigationBar* bar) {
  if (NavigationViewProtocol* view = object()) view->setNavigationBar(bar);
}

}  // namespace tavrel::navigation
