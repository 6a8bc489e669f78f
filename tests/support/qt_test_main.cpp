// The main of the views' and the shell's tests: one QApplication on Qt's
// offscreen platform, which measures and draws text as a display would.
// Animations move only when a test advances the animation clock.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/animation_clock.h"

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  ::testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  tavrel::rx::MainQueue::shared().makeCurrentThread();
  tavrel::ui::AnimationClock::shared().setManual(true);
  return RUN_ALL_TESTS();
}
