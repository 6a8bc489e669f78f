#pragma once
// The steps the library carries out itself, and what an edge swipe does.

#include <string>
#include <variant>
#include <vector>

#include "tavrel/core/url.h"
#include "tavrel/navigation/flow.h"

namespace tavrel::navigation {

class ZKStep : public Step {
 public:
  // Show a local file with the desktop's handler.
  struct openFile {
    Url url;
  };
  // Show images full screen, starting with the one at `currentIndex`.
  struct openImage {
    std::vector<std::string> images;
    long currentIndex = 0;
  };
  using Value = std::variant<openFile, openImage>;

  explicit ZKStep(Value v) : value(std::move(v)) {}
  Value value;
};

class ZKSwipeAction {
 public:
  // Send the step on the controller's `steps`.
  struct step {
    StepPtr value;
  };
  // Pop the top screen, animated.
  struct pop {};
  using Value = std::variant<step, pop>;

  // Implicit, so that a case reads as the action: initLeftSwipe(ZKSwipeAction::pop{}).
  ZKSwipeAction(step s) : value(std::move(s)) {}  // NOLINT
  ZKSwipeAction(pop p) : value(p) {}              // NOLINT
  Value value;
};

}  // namespace tavrel::navigation
