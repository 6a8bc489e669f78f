#pragma once
// ConnectivityStatus: what a connectivity monitor knows about the network.
// The order of the cases matters: the usable ones are 0, 1 and 3, and those
// that are not are 2, 4 and everything after them. The comments say when the
// Linux backend reports each one ("path": a default route over an interface
// that is up and has a global address; "probe": the HTTPS request that
// confirms it, made only when the monitor was created with shouldUseHTTPS).

namespace tavrel {

enum class ConnectivityStatus {
  // A wired (or other non-wireless) path, probe answered or not asked for.
  connected,
  // A cellular path (DEVTYPE=wwan), probe answered or not asked for.
  connectedViaCellular,
  // A cellular path whose probe failed.
  connectedViaCellularWithoutInternet,
  // A Wi-Fi path (the interface has a wireless directory), probe answered or
  // not asked for.
  connectedViaWiFi,
  // A Wi-Fi path whose probe failed.
  connectedViaWiFiWithoutInternet,
  // Not known yet: before the first look at the interfaces, or a new path
  // whose probe has not answered.
  determining,
  // No path, or a wired path whose probe failed.
  notConnected,
};

// Whether the status stands for a usable network: connected,
// connectedViaCellular or connectedViaWiFi.
constexpr bool isUsable(ConnectivityStatus status) {
  return status == ConnectivityStatus::connected ||
         status == ConnectivityStatus::connectedViaCellular ||
         status == ConnectivityStatus::connectedViaWiFi;
}

// The name of the case, e.g. "connectedViaWiFi".
const char* toString(ConnectivityStatus status);

}  // namespace tavrel
