#include "tavrel/ui/main_queue_pump.h"

#include <QMetaObject>
#include <QPointer>

#include "tavrel/rx/main_queue.h"

namespace tavrel::ui {

MainQueuePump::MainQueuePump() {
  auto& queue = rx::MainQueue::shared();
  queue.makeCurrentThread();
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &MainQueuePump::drain);
  // The hook runs on the posting thread: it only asks the loop to drain,
  // once until that drain starts.
  queue.setWakeHook([this] {
    if (wakePending_.exchange(true)) return;
    QMetaObject::invokeMethod(this, [this] {
      ++wakeups_;
      drain();
    }, Qt::QueuedConnection);
  });
  drain();
}

MainQueuePump::~MainQueuePump() { rx::MainQueue::shared().setWakeHook({}); }

void MainQueuePump::drain() {
  wakePending_.store(false);
  rx::MainQueue::shared().drainPending();
  armTimer();
}

void MainQueuePump::armTimer() {
  const auto due = rx::MainQueue::shared().nextTimerDue();
  if (!due) {
    timer_.stop();
    return;
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - rx::Clock::now());
  timer_.start(std::max<int>(0, static_cast<int>(wait.count())));
}

}  // namespace tavrel::ui
