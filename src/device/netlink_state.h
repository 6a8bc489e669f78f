#pragma once
// What the Linux connectivity backend knows of the network, read from
// rtnetlink dumps, and the decision it takes from it. Pure: no sockets, so
// that tests can feed it synthetic messages.

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tavrel/device/connectivity_status.h"

namespace tavrel::detail {

struct NetLink {
  std::string name;
  unsigned flags = 0;  // IFF_UP, IFF_RUNNING, IFF_LOOPBACK, ...
};

// A default route of the main table, one per next hop.
struct DefaultRoute {
  int linkIndex = 0;
  std::uint32_t metric = 0;
};

struct NetState {
  std::map<int, NetLink> links;       // by interface index
  std::set<int> addressed;            // links with a global, settled address
  std::vector<DefaultRoute> routes;
};

// What one datagram said about the dump in progress.
struct DumpProgress {
  bool done = false;   // the dump has ended (NLMSG_DONE)
  int error = 0;       // the kernel refused it (errno), or 0
  bool event = false;  // the datagram held news from anywhere else
};

// Reads the messages of one netlink datagram. Replies to our dump (sequence
// `seq`, sent to `port`) go into `state`; anything else counts as an event,
// except late replies to an older dump of ours. Malformed tails are ignored.
DumpProgress readDatagram(std::span<const unsigned char> datagram, std::uint32_t seq,
                          std::uint32_t port, NetState& state);

// The link of the usable default route with the lowest metric: the link is
// up and running, not loopback, and has a global address.
std::optional<NetLink> usableLink(const NetState& state);

enum class LinkKind { wired, wifi, cellular };

// From /sys/class/net (or another root): Wi-Fi when the interface has a
// "wireless" or "phy80211" entry, cellular when its uevent says
// DEVTYPE=wwan, wired otherwise.
LinkKind linkKind(const std::filesystem::path& sysClassNet, const std::string& name);

enum class Probe { notAsked, pending, passed, failed };

// The status for a path of that kind (none: no usable default route) and
// the state of its probe.
ConnectivityStatus decideStatus(std::optional<LinkKind> path, Probe probe);

}  // namespace tavrel::detail
