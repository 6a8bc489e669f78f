#include "shell_state.h"

namespace tavrel::desk {

using navigation::NavigationViewState;

NavigationViewState stateAfter(Outcome outcome, bool empty, const std::optional<ZeroTexts>& zero) {
  switch (outcome) {
    case Outcome::refused: return NavigationViewState::serverError();
    case Outcome::failed:
    case Outcome::offline: return NavigationViewState::connectError();
    case Outcome::ok: break;
  }
  if (empty && zero) return NavigationViewState::zeroData(zero->title, zero->description);
  return NavigationViewState::hide();
}

}  // namespace tavrel::desk
