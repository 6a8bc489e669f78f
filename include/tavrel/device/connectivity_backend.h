#pragma once
// ConnectivityBackend: where a Connectivity monitor learns the status. Two
// come with the library: the Linux backend (linux_connectivity_backend.h),
// the default, and the manual one (manual_connectivity_backend.h), whose
// status the host or a test sets. A host with better knowledge (a GUI
// toolkit's own network information) can feed the manual one or bring its own.

#include <functional>

#include "tavrel/device/connectivity_status.h"
#include "tavrel/rx/disposable.h"

namespace tavrel {

class ConnectivityBackend {
 public:
  using Listener = std::function<void(ConnectivityStatus)>;

  virtual ~ConnectivityBackend() = default;

  // The latest status known. Any thread.
  virtual ConnectivityStatus status() const = 0;
  // Starts watching if need be, and calls `listener` with every later change
  // of the status, from any thread, one call at a time, until the handle is
  // disposed. Several listeners may watch one backend.
  virtual rx::Disposable watch(Listener listener) = 0;
  // Determines the status afresh where that means anything (the Linux backend
  // probes again, unless it has just done so) and calls `done` once with it,
  // from any thread, possibly before returning. A change also reaches the
  // watchers.
  virtual void check(Listener done) = 0;
};

}  // namespace tavrel
