#pragma once
// NavigationView: the transparent view that a navigation controller lays
// over its screens. It holds the navigation bar and shows, on a white
// overlay, the spinner or the error panel that the state asks for, fading
// between them in 0.25 s. Everything it shows stays below the bar (but the
// full-screen spinner) and above the keyboard. Touches where none of its
// children is hit go on to the screens below.

#include <QPointer>
#include <optional>

#include "tavrel/navigation/navigation_view_protocol.h"
#include "tavrel/navigation/network_error_view.h"
#include "tavrel/navigation/zk_navigation_bar.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/ui/loading_view.h"
#include "tavrel/ui/view.h"

namespace tavrel::navigation {

class NavigationView : public ui::View, public NavigationViewProtocol {
  // No meta-object: its members hold reactive types, which moc cannot read.
 public:
  explicit NavigationView(const QRectF& frame = {});

  rx::BehaviorSubject<ErrorViewProtocol*> errorViewObserver() const override { return errorViewObserver_; }
  void show(const NavigationViewState& state) override;
  using QWidget::show;
  // Takes the bar; an earlier one leaves the view and is destroyed.
  void setNavigationBar(ZKNavigationBar* bar) override;
  ZKNavigationBar* navigationBar() const { return navigationBar_; }

  // Keeps the spinner and the panel above what is added, the panel on top.
  void addSubview(ui::View* view);
  void layoutSubviews() override;
  // None where none of the children is hit.
  ui::View* hitTest(const QPointF& point) override;

  // What is shown now, for those who look (tests, hosts): null when absent.
  ui::View* overlay() const { return overlay_; }
  ui::LoadingView* loadingView() const { return loadingView_; }
  NetworkErrorView* errorView() const { return errorView_; }
  // The latest state, serverError read as connectError while offline. A
  // hide's views go when its fade ends, unless another state came since.
  std::optional<NavigationViewState> state() const { return state_; }

 protected:
  bool event(QEvent* event) override;

 private:
  void ensureOverlay();
  void ensureLoadingView();
  void ensureErrorView(const NavigationViewState& state);
  // Qt finds the widget under a press by its rectangle and mask: the mask
  // is what hitTest catches, so that other presses reach the widgets below.
  void updateMask();

  QPointer<NetworkErrorView> errorView_;
  QPointer<ui::LoadingView> loadingView_;
  QPointer<ui::View> overlay_;
  std::optional<NavigationViewState> state_;
  QPointer<ZKNavigationBar> navigationBar_;
  rx::BehaviorSubject<ErrorViewProtocol*> errorViewObserver_{nullptr};
  double keyboardHeight_ = 0;
  rx::DisposeBag disposeBag_;  // last: ends the keyboard subscription first
};

}  // namespace tavrel::navigation
