#include "tavrel/device/connectivity.h"

#include <cstdint>
#include <mutex>
#include <utility>

#include "tavrel/device/linux_connectivity_backend.h"

namespace tavrel {

namespace {

std::mutex factoryMutex;
Connectivity::BackendFactory defaultFactory;

std::shared_ptr<ConnectivityBackend> defaultBackend(bool shouldUseHTTPS) {
  Connectivity::BackendFactory factory;
  {
    std::lock_guard lock(factoryMutex);
    factory = defaultFactory;
  }
  return factory ? factory(shouldUseHTTPS) : makeLinuxConnectivityBackend(shouldUseHTTPS);
}

}  // namespace

struct Connectivity::State {
  State(Connectivity* monitor, bool https, std::shared_ptr<ConnectivityBackend> source)
      : owner(monitor), shouldUseHTTPS(https), backend(std::move(source)) {}

  Connectivity* owner;  // null once the monitor is gone
  const bool shouldUseHTTPS;
  const std::shared_ptr<ConnectivityBackend> backend;

  mutable std::mutex mutex;
  Handler connected, disconnected;
  bool everyChange = false;
  ConnectivityStatus reported = ConnectivityStatus::determining;  // last status heard
  rx::SchedulerPtr queue;        // set while the notifier runs
  std::uint64_t generation = 0;  // one per start or stop of the notifier
  rx::Disposable watching;

  // Takes a status heard from the backend; calls a handler on the queue if
  // the notifier of `gen` still runs and the change calls for it (`first`:
  // whatever it is).
  static void hear(const std::shared_ptr<State>& self, ConnectivityStatus status,
                   std::uint64_t gen, bool first) {
    rx::SchedulerPtr queue;
    {
      std::lock_guard lock(self->mutex);
      const auto before = std::exchange(self->reported, status);
      if (!self->queue || gen != self->generation) return;
      const bool changed = before != status &&
                           (self->everyChange || isUsable(before) != isUsable(status));
      if (!first && !changed) return;
      queue = self->queue;
    }
    queue->schedule([weak = std::weak_ptr<State>(self), gen, usable = isUsable(status)] {
      auto state = weak.lock();
      if (!state) return;
      Handler handler;
      Connectivity* monitor;
      {
        std::lock_guard lock(state->mutex);
        if (gen != state->generation || !state->owner) return;
        monitor = state->owner;
        handler = usable ? state->connected : state->disconnected;
      }
      if (handler) handler(*monitor);
    });
  }
};

Connectivity::Connectivity(bool shouldUseHTTPS, std::shared_ptr<ConnectivityBackend> backend)
    : state_(std::make_shared<State>(this, shouldUseHTTPS,
                                     backend ? std::move(backend) : defaultBackend(shouldUseHTTPS))) {}

Connectivity::~Connectivity() {
  stopNotifier();
  std::lock_guard lock(state_->mutex);
  state_->owner = nullptr;
}

void Connectivity::setDefaultBackend(BackendFactory factory) {
  std::lock_guard lock(factoryMutex);
  defaultFactory = std::move(factory);
}

bool Connectivity::shouldUseHTTPS() const { return state_->shouldUseHTTPS; }

void Connectivity::whenConnected(Handler handler) {
  std::lock_guard lock(state_->mutex);
  state_->connected = std::move(handler);
}

void Connectivity::whenDisconnected(Handler handler) {
  std::lock_guard lock(state_->mutex);
  state_->disconnected = std::move(handler);
}

void Connectivity::setCallsHandlersOnEveryChange(bool every) {
  std::lock_guard lock(state_->mutex);
  state_->everyChange = every;
}

bool Connectivity::callsHandlersOnEveryChange() const {
  std::lock_guard lock(state_->mutex);
  return state_->everyChange;
}

ConnectivityStatus Connectivity::currentStatus() const { return state_->backend->status(); }

bool Connectivity::isConnected() const { return isUsable(currentStatus()); }

void Connectivity::checkConnectivity(Handler completion) {
  std::uint64_t gen;
  {
    std::lock_guard lock(state_->mutex);
    gen = state_->generation;
  }
  state_->backend->check([weak = std::weak_ptr<State>(state_), gen,
                          completion = std::move(completion)](ConnectivityStatus status) {
    auto self = weak.lock();
    if (!self) return;
    State::hear(self, status, gen, false);
    if (!completion) return;
    auto run = [weak, completion] {
      auto state = weak.lock();
      if (!state) return;
      Connectivity* monitor;
      {
        std::lock_guard lock(state->mutex);
        monitor = state->owner;
      }
      if (monitor) completion(*monitor);
    };
    rx::SchedulerPtr queue;
    {
      std::lock_guard lock(self->mutex);
      queue = self->queue;
    }
    if (queue)
      queue->schedule(run);
    else
      run();
  });
}

void Connectivity::startNotifier(rx::SchedulerPtr queue) {
  stopNotifier();
  std::uint64_t gen;
  {
    std::lock_guard lock(state_->mutex);
    state_->queue = std::move(queue);
    gen = state_->generation;
  }
  std::weak_ptr<State> weak = state_;
  auto watching = state_->backend->watch([weak, gen](ConnectivityStatus status) {
    if (auto self = weak.lock()) State::hear(self, status, gen, false);
  });
  {
    std::lock_guard lock(state_->mutex);
    if (gen == state_->generation) std::swap(state_->watching, watching);
  }
  watching.dispose();  // a stop came in between
  state_->backend->check([weak, gen](ConnectivityStatus status) {
    if (auto self = weak.lock()) State::hear(self, status, gen, true);
  });
}

void Connectivity::stopNotifier() {
  rx::Disposable watching;
  {
    std::lock_guard lock(state_->mutex);
    state_->queue = nullptr;
    ++state_->generation;
    watching = std::exchange(state_->watching, rx::Disposable());
  }
  watching.dispose();
}

const char* toString(ConnectivityStatus status) {
  switch (status) {
    case ConnectivityStatus::connected: return "connected";
    case ConnectivityStatus::connectedViaCellular: return "connectedViaCellular";
    case ConnectivityStatus::connectedViaCellularWithoutInternet: return "connectedViaCellularWithoutInternet";
    case ConnectivityStatus::connectedViaWiFi: return "connectedViaWiFi";
    case ConnectivityStatus::connectedViaWiFiWithoutInternet: return "connectedViaWiFiWithoutInternet";
    case ConnectivityStatus::determining: return "determining";
    case ConnectivityStatus::notConnected: return "notConnected";
  }
  return "unknown";
}

}  // namespace tavrel
