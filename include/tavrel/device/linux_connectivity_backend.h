#pragma once
// The Linux connectivity backend. It listens to rtnetlink (links, IPv4 and
// IPv6 addresses and routes) on the socket layer's I/O thread, and calls the
// network usable when a default route leads over an interface that is up and
// has a global address; the route with the lowest metric wins. The kind of
// that interface (Wi-Fi, cellular, wired) comes from /sys/class/net.
//
// A burst of netlink messages (an interface coming up brings a dozen) is
// taken as one change: the backend looks again at the whole state once the
// messages have stopped for `settleTime`, or `maxSettleTime` after the first.
//
// With `shouldUseHTTPS`, a usable path is only believed once a GET of
// `probeUrl` has answered with a 2xx status within `probeTimeout`: until then
// a new path is `determining` (a path that was confirmed keeps its status
// while it is probed again), and a failed probe gives the ...WithoutInternet
// case (`notConnected` for a wired path). The probe is repeated on every
// change, and on `check` once the last one is older than `probeMaxAge`.
//
// Watchers are called on the socket layer's I/O thread, so they must be
// short and never block (Connectivity only queues its handlers there);
// `check` answers on the HTTP layer's callback queue.

#include <chrono>
#include <memory>
#include <string>

#include "tavrel/device/connectivity_backend.h"

namespace tavrel {

struct LinuxConnectivityOptions {
  // The address probed. The environment variable TAVREL_CONNECTIVITY_PROBE_URL
  // replaces the default when set and not empty.
  std::string probeUrl = defaultProbeUrl();
  std::chrono::milliseconds probeTimeout = std::chrono::seconds(5);
  std::chrono::milliseconds probeMaxAge = std::chrono::seconds(10);
  std::chrono::milliseconds settleTime = std::chrono::milliseconds(300);
  std::chrono::milliseconds maxSettleTime = std::chrono::seconds(2);

  // TAVREL_CONNECTIVITY_PROBE_URL, else
  // "https://connectivitycheck.gstatic.com/generate_204".
  static std::string defaultProbeUrl();
};

// A new Linux backend; it opens its netlink socket at the first `watch` or
// `check`. If the socket cannot be opened (no netlink in a container, say),
// the status becomes `notConnected` and a line goes to the debug sink.
std::shared_ptr<ConnectivityBackend> makeLinuxConnectivityBackend(
    bool shouldUseHTTPS, LinuxConnectivityOptions options = {});

}  // namespace tavrel
