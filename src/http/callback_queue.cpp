#include "http/callback_queue.h"

#include <exception>
#include <string>

#include "tavrel/core/exception_text.h"
#include "tavrel/core/log.h"

namespace tavrel::detail {

void runGuarded(const std::function<void()>& job, std::string_view what) noexcept {
  try {
    job();
  } catch (...) {
    debugPrint("HTTP: " + std::string(what) + " threw: " +
               describeException(std::current_exception()));
  }
}

struct CallbackQueue::Shared {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> jobs;
  std::vector<std::thread> workers;
  std::size_t idle = 0;
  bool stopping = false;

  void work() {
    std::unique_lock lock(mutex);
    for (;;) {
      ++idle;
      wake.wait(lock, [&] { return stopping || !jobs.empty(); });
      --idle;
      if (jobs.empty()) return;  // stopping, and nothing left to run
      auto job = std::move(jobs.front());
      jobs.pop_front();
      lock.unlock();
      runGuarded(job, "a completion");
      job = nullptr;  // what it captured goes before the lock is taken again
      lock.lock();
    }
  }
};

CallbackQueue::CallbackQueue(std::size_t maxWorkers)
    : shared_(std::make_shared<Shared>()), maxWorkers_(maxWorkers ? maxWorkers : 1) {}

CallbackQueue::~CallbackQueue() { shutdown(); }

void CallbackQueue::spawnLocked() {
  shared_->wake.notify_one();
  if (shared_->idle < shared_->jobs.size() && shared_->workers.size() < maxWorkers_) {
    shared_->workers.emplace_back([shared = shared_] { shared->work(); });
  }
}

void CallbackQueue::post(std::function<void()> job) {
  {
    std::lock_guard lock(shared_->mutex);
    if (!shared_->stopping) {
      shared_->jobs.push_back(std::move(job));
      spawnLocked();
      return;
    }
  }
  runGuarded(job, "a completion");
}

void CallbackQueue::post(std::vector<std::function<void()>> jobs) {
  if (jobs.empty()) return;
  {
    std::lock_guard lock(shared_->mutex);
    if (!shared_->stopping) {
      for (auto& job : jobs) shared_->jobs.push_back(std::move(job));
      if (jobs.size() > 1) shared_->wake.notify_all();
      spawnLocked();
      return;
    }
  }
  for (auto& job : jobs) runGuarded(job, "a completion");
}

void CallbackQueue::shutdown() {
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(shared_->mutex);
    shared_->stopping = true;
    workers.swap(shared_->workers);
  }
  shared_->wake.notify_all();
  for (auto& worker : workers) {
    if (worker.get_id() == std::this_thread::get_id()) {
      worker.detach();  // shut down from one of its own jobs: it ends after it
    } else {
      worker.join();
    }
  }
}

}  // namespace tavrel::detail
