#pragma once
// NavigationViewProtocol: the navigation shell's view, as its presenter
// sees it. Implementations are views (QObjects).

#include "tavrel/navigation/error_view_protocol.h"
#include "tavrel/navigation/navigation_view_state.h"
#include "tavrel/rx/subjects.h"

namespace tavrel::navigation {

class ZKNavigationBar;

class NavigationViewProtocol {
 public:
  virtual ~NavigationViewProtocol() = default;
  // The error panel shown now, or null; the current one on subscription.
  virtual rx::BehaviorSubject<ErrorViewProtocol*> errorViewObserver() const = 0;
  virtual void show(const NavigationViewState& state) = 0;
  virtual void setNavigationBar(ZKNavigationBar* bar) = 0;
};

}  // namespace tavrel::navigation
