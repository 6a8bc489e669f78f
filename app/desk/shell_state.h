#pragma once
// The shell's state after a screen's load, from how the request ended.

#include <QString>
#include <optional>

#include "desk_session.h"
#include "tavrel/navigation/navigation_view_state.h"

namespace tavrel::desk {

// What an empty screen says, when it has nothing to show.
struct ZeroTexts {
  QString title;
  QString description;
};

// A refusal is the server's error; no connection, a time-out or the network
// off is the lost network; what came is shown (an empty screen with its
// texts, when it has them).
navigation::NavigationViewState stateAfter(Outcome outcome, bool empty,
                                           const std::optional<ZeroTexts>& zero = std::nullopt);

}  // namespace tavrel::desk
