#pragma once
// Connectivity: the connectivity monitor. It follows a ConnectivityBackend
// and, once its notifier is started, calls the connected handler or the
// disconnected handler on the notifier's queue when the status changes.
//
//     Connectivity connectivity(/*shouldUseHTTPS=*/true);
//     connectivity.whenConnected([](Connectivity& c) { ... });
//     connectivity.whenDisconnected([](Connectivity& c) { ... });
//     connectivity.startNotifier(rx::MainScheduler::instance());
//
// Which handler: the connected one when the new status is usable
// (`isUsable`), the disconnected one otherwise. When: by default only when
// the status crosses between usable and not usable; with
// `setCallsHandlersOnEveryChange(true)`, on every change of the status (from
// Wi-Fi to wired, from determining to notConnected, ...). Either way the
// first report after `startNotifier` calls one of them.
//
// The backend: the one given to the constructor, else the process-wide
// default, which is the Linux backend (linux_connectivity_backend.h) unless a
// host chose another with `setDefaultBackend` (or
// ManualConnectivityBackend::installAsDefault) before making the monitor.
//
// Threads: the methods may be called from any thread. Handlers and
// completions run on the notifier's queue, never under a lock of the
// monitor. Destroy a monitor on that queue, or after stopNotifier() with
// nothing of it still queued.

#include <functional>
#include <memory>

#include "tavrel/device/connectivity_backend.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/rx/scheduler.h"

namespace tavrel {

class Connectivity {
 public:
  using Handler = std::function<void(Connectivity&)>;
  using BackendFactory = std::function<std::shared_ptr<ConnectivityBackend>(bool shouldUseHTTPS)>;

  explicit Connectivity(bool shouldUseHTTPS = false,
                        std::shared_ptr<ConnectivityBackend> backend = nullptr);
  ~Connectivity();
  Connectivity(const Connectivity&) = delete;
  Connectivity& operator=(const Connectivity&) = delete;

  // What monitors made without a backend use from now on; an empty factory
  // brings back the Linux backend.
  static void setDefaultBackend(BackendFactory factory);

  bool shouldUseHTTPS() const;

  void whenConnected(Handler handler);
  void whenDisconnected(Handler handler);
  // Whether the handlers are called on every change of the status rather
  // than only when it crosses between usable and not usable. Off by default.
  void setCallsHandlersOnEveryChange(bool every);
  bool callsHandlersOnEveryChange() const;

  // The latest status the monitor knows; `determining` before it knows any.
  ConnectivityStatus currentStatus() const;
  // Whether `currentStatus()` is usable.
  bool isConnected() const;

  // Asks the backend to determine the status afresh; `completion`, if any,
  // runs on the notifier's queue (or, with no notifier, on the thread that
  // hears the answer) once the status is known. A change also reaches the
  // handlers if the notifier runs.
  void checkConnectivity(Handler completion = {});

  // Starts following the backend, reporting on `queue`; the first report,
  // after a fresh check, calls a handler whatever it says. A second call
  // moves the reports to the new queue.
  void startNotifier(rx::SchedulerPtr queue);
  // Stops the reports; what is already queued runs, but calls no handler.
  void stopNotifier();

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace tavrel
