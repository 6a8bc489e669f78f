#pragma once
// CallbackQueue: the HTTP layer's default queue, where completions, plugins'
// answers and decoding run, away from the I/O thread. A few workers, started
// when work waits and none is free; jobs start in the order they were posted
// and may run side by side. A job that throws is written to the debug sink.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace tavrel::detail {

// Runs job; an exception from it becomes one debug line that names `what`.
void runGuarded(const std::function<void()>& job, std::string_view what) noexcept;

class CallbackQueue {
 public:
  explicit CallbackQueue(std::size_t maxWorkers);
  // Shuts down (see shutdown).
  ~CallbackQueue();
  CallbackQueue(const CallbackQueue&) = delete;
  CallbackQueue& operator=(const CallbackQueue&) = delete;

  // Queues job; after shutdown it runs at once on the caller's thread.
  void post(std::function<void()> job);
  // Queues jobs in one go, in order.
  void post(std::vector<std::function<void()>> jobs);
  // Runs what is queued, then joins the workers; a worker that shuts its own
  // queue down is left to end by itself. Idempotent.
  void shutdown();

 private:
  struct Shared;
  void spawnLocked();
  std::shared_ptr<Shared> shared_;
  std::size_t maxWorkers_;
};

}  // namespace tavrel::detail
