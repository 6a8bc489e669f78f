// The chat window's tests run in one QApplication on Qt's offscreen
// platform, with the network status set by hand: online unless a test says.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "desk_test.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::desk::test {

std::shared_ptr<ManualConnectivityBackend>& network() {
  static std::shared_ptr<ManualConnectivityBackend> backend;
  return backend;
}

}  // namespace tavrel::desk::test

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  ::testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  tavrel::rx::MainQueue::shared().makeCurrentThread();
  auto& network = tavrel::desk::test::network();
  network = tavrel::ManualConnectivityBackend::installAsDefault();
  network->setStatus(tavrel::ConnectivityStatus::connected);
  tavrel::TavrelLib::shared();
  return RUN_ALL_TESTS();
}
