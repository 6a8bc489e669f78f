#pragma once
// ErrorViewPresenter: turns the error panel's retry taps into the shell's
// retry signal, a burst of taps giving one retry 0.2 s after the last.

#include "tavrel/navigation/error_view_protocol.h"
#include "tavrel/navigation/presenter.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/scheduler.h"
#include "tavrel/rx/subjects.h"

namespace tavrel::navigation {

class ErrorViewPresenter : public Presenter<ErrorViewProtocol> {
 public:
  // Taps are debounced on `scheduler`: the main one, or a test's.
  explicit ErrorViewPresenter(rx::SchedulerPtr scheduler = nullptr);

  void attach(ErrorViewProtocol* panel) override;
  void dettach() override;

  // Fires after a debounced tap.
  rx::PublishSubject<rx::Unit> errorRetryAction;

 private:
  rx::SchedulerPtr scheduler_;
  rx::DisposeBag disposeBag_;  // last: ends the subscriptions first
};

}  // namespace tavrel::navigation
