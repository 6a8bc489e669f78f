#pragma once
// ZKFlow: the root of the shell's navigation. It owns the
// ZKNavigationController and carries out the library's own steps: a file
// opens with the desktop's handler (the share sheet of this platform), and
// images show full screen over the controller's view.

#include <QColor>
#include <optional>

#include "tavrel/navigation/flow.h"
#include "tavrel/navigation/zk_navigation_controller.h"

namespace tavrel::navigation {

class ZKFlow : public Flow {
 public:
  // The tint is black whatever `mainColor` says; see setTintColor.
  explicit ZKFlow(std::optional<QColor> mainColor = std::nullopt);

  std::shared_ptr<ZKNavigationController> navigationController;

  std::shared_ptr<Presentable> root() const override { return navigationController; }
  // Clears both swipe actions, then carries out a ZKStep; any other step
  // yields none.
  FlowContributors navigate(const StepPtr& step) override;

 private:
  FlowContributors openFile(const Url& url);
  FlowContributors openImage(const std::vector<std::string>& images, long currentIndex);
  void back() {}
};

}  // namespace tavrel::navigation
