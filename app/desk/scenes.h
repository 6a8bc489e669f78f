#pragma once
// The named scenes of tavrel-desk: each builds a view of the library in a
// state worth looking at, at a given size.

#include <QSize>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tavrel/ui/view.h"

namespace tavrel::desk {

struct Scene {
  std::string name;
  std::string caption;  // what a person should see
  QSize size;           // the default size in points
  // Builds the scene in a root view of that size. Animations started while
  // building are run to their end before the picture is taken.
  std::function<std::unique_ptr<ui::View>(QSizeF size)> build;
};

// Every scene, in the order the groups joined the list.
const std::vector<Scene>& scenes();
const Scene* findScene(const std::string& name);

// Scenes kept in other files of tavrel-desk join the list with a static
// SceneGroup: `static SceneGroup group(&myScenes);`.
class SceneGroup {
 public:
  explicit SceneGroup(std::vector<Scene> (*make)());
};

}  // namespace tavrel::desk
