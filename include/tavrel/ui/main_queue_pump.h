#pragma once
// MainQueuePump: drains the library's MainQueue from Qt's event loop. A post
// from any thread wakes the loop through a queued call; a timer of the queue
// arms one single-shot Qt timer for when it is due. Nothing polls.
//
// Make one, on the thread that runs the QApplication, for as long as the
// loop runs; it makes that thread the main thread of the queue.

#include <QObject>
#include <QTimer>
#include <atomic>

namespace tavrel::ui {

class MainQueuePump : public QObject {
  Q_OBJECT
 public:
  MainQueuePump();
  ~MainQueuePump() override;

  // Drains now; what the wake-ups call.
  void drain();
  // How many queued wake-ups reached the loop, for tests.
  int wakeups() const { return wakeups_; }

 private:
  void armTimer();

  QTimer timer_;
  std::atomic<bool> wakePending_{false};
  int wakeups_ = 0;
};

}  // namespace tavrel::ui
