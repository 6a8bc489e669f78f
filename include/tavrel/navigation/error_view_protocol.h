#pragma once
// ErrorViewProtocol: the error panel of the navigation shell, as the shell
// and its presenter see it. NetworkErrorView is the library's own; a host
// may bring another. Implementations are views (QObjects).

#include <QColor>
#include <optional>

#include "tavrel/navigation/navigation_view_state.h"
#include "tavrel/rx/event.h"
#include "tavrel/rx/subjects.h"

namespace tavrel::navigation {

class ErrorViewProtocol {
 public:
  virtual ~ErrorViewProtocol() = default;
  // Fires when the user asks for a retry.
  virtual rx::PublishSubject<rx::Unit> retryAction() const = 0;
  // The colour of the panel's accents. The signature is View's own, so a
  // panel that is a View overrides both at once.
  virtual void setTintColor(std::optional<QColor> color) = 0;
  // Shows the texts and button of `state`.
  virtual void update(const NavigationViewState& state) = 0;
};

}  // namespace tavrel::navigation
