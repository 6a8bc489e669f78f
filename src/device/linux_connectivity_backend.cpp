#include "tavrel/device/linux_connectivity_backend.h"

#include <cstdlib>

#include "tavrel/device/manual_connectivity_backend.h"

namespace tavrel {

std::string LinuxConnectivityOptions::defaultProbeUrl() {
  const char* env = std::getenv("TAVREL_CONNECTIVITY_PROBE_URL");
  return env && *env ? env : "https://connectivitycheck.gstatic.com/generate_204";
}

std::shared_ptr<ConnectivityBackend> makeLinuxConnectivityBackend(bool, LinuxConnectivityOptions) {
  return std::make_shared<ManualConnectivityBackend>(ConnectivityStatus::determining);
}

}  // namespace tavrel
