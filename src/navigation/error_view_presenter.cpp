#include "tavrel/navigation/error_view_presenter.h"

#include <chrono>

#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/rx.h"

namespace tavrel::navigation {

using namespace std::chrono_literals;

ErrorViewPresenter::ErrorViewPresenter(rx::SchedulerPtr scheduler)
    : scheduler_(scheduler ? std::move(scheduler) : rx::MainScheduler::instance()) {}

void ErrorViewPresenter::attach(ErrorViewProtocol* panel) {
  setObject(panel);
  if (ErrorViewProtocol* object = this->object()) {
    // The subject handle, not the presenter: the bag ends this subscription
    // before the presenter's other members go.
    auto retry = errorRetryAction;
    disposeBag_.insert(object->retryAction()
                           .asObservable()
                           .debug("retryAction")
                           .debounce(200ms, scheduler_)
                           .subscribe([retry](rx::Unit) { retry.onNext(rx::Unit{}); }));
  }
  disposeBag_.insert(errorRetryAction.asObservable().debug("errorRetryAction").subscribe([](rx::Unit) {}));
}

void ErrorViewPresenter::dettach() { setObject(nullptr); }

}  // namespace tavrel::navigation
