#include "device/netlink_state.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <cstring>
#include <fstream>

namespace tavrel::detail {
namespace {

// Netlink data may sit at any offset of a byte buffer: copy, never cast.
template <class T>
bool load(std::span<const unsigned char> bytes, std::size_t at, T& out) {
  if (at > bytes.size() || bytes.size() - at < sizeof(T)) return false;
  std::memcpy(&out, bytes.data() + at, sizeof(T));
  return true;
}

// Calls f(type, payload) for each attribute in `bytes`.
template <class F>
void forEachAttribute(std::span<const unsigned char> bytes, F f) {
  std::size_t at = 0;
  rtattr attr;
  while (load(bytes, at, attr) && attr.rta_len >= sizeof attr && attr.rta_len <= bytes.size() - at) {
    f(attr.rta_type, bytes.subspan(at + RTA_LENGTH(0), attr.rta_len - RTA_LENGTH(0)));
    at += RTA_ALIGN(attr.rta_len);
  }
}

std::uint32_t u32(std::span<const unsigned char> payload) {
  std::uint32_t value = 0;
  load(payload, 0, value);
  return value;
}

void readLink(std::span<const unsigned char> body, NetState& state) {
  ifinfomsg info;
  if (!load(body, 0, info)) return;
  NetLink link{{}, info.ifi_flags};
  forEachAttribute(body.subspan(NLMSG_ALIGN(sizeof info)), [&](int type, auto payload) {
    if (type == IFLA_IFNAME)
      link.name.assign(reinterpret_cast<const char*>(payload.data()),
                       strnlen(reinterpret_cast<const char*>(payload.data()), payload.size()));
  });
  state.links[info.ifi_index] = std::move(link);
}

void readAddress(std::span<const unsigned char> body, NetState& state) {
  ifaddrmsg addr;
  if (!load(body, 0, addr)) return;
  std::uint32_t flags = addr.ifa_flags;
  forEachAttribute(body.subspan(NLMSG_ALIGN(sizeof addr)), [&](int type, auto payload) {
    if (type == IFA_FLAGS) flags = u32(payload);
  });
  if (addr.ifa_scope == RT_SCOPE_UNIVERSE && !(flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)))
    state.addressed.insert(static_cast<int>(addr.ifa_index));
}

void readRoute(std::span<const unsigned char> body, NetState& state) {
  rtmsg route;
  if (!load(body, 0, route) || route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST) return;
  std::uint32_t table = route.rtm_table, metric = 0;
  std::vector<int> links;
  forEachAttribute(body.subspan(NLMSG_ALIGN(sizeof route)), [&](int type, auto payload) {
    if (type == RTA_TABLE) table = u32(payload);
    if (type == RTA_PRIORITY) metric = u32(payload);
    if (type == RTA_OIF) links.push_back(static_cast<int>(u32(payload)));
    if (type == RTA_MULTIPATH) {
      rtnexthop hop;
      for (std::size_t at = 0; load(payload, at, hop) && hop.rtnh_len >= sizeof hop;
           at += RTNH_ALIGN(hop.rtnh_len))
        links.push_back(hop.rtnh_ifindex);
    }
  });
  if (table != RT_TABLE_MAIN) return;
  for (int link : links) state.routes.push_back({link, metric});
}

}  // namespace

DumpProgress readDatagram(std::span<const unsigned char> datagram, std::uint32_t seq,
                          std::uint32_t port, NetState& state) {
  DumpProgress progress;
  nlmsghdr header;
  for (std::size_t at = 0; load(datagram, at, header) && header.nlmsg_len >= sizeof header &&
                           header.nlmsg_len <= datagram.size() - at;
       at += NLMSG_ALIGN(header.nlmsg_len)) {
    const auto body = datagram.subspan(at + NLMSG_HDRLEN, header.nlmsg_len - NLMSG_HDRLEN);
    if (header.nlmsg_pid != port || header.nlmsg_seq == 0) {
      progress.event = true;
      continue;
    }
    if (header.nlmsg_seq != seq) continue;  // a dump we gave up
    switch (header.nlmsg_type) {
      case NLMSG_DONE: progress.done = true; break;
      case NLMSG_ERROR: {
        nlmsgerr error;
        if (load(body, 0, error) && error.error != 0) progress.error = -error.error;
        break;
      }
      case RTM_NEWLINK: readLink(body, state); break;
      case RTM_NEWADDR: readAddress(body, state); break;
      case RTM_NEWROUTE: readRoute(body, state); break;
      default: break;
    }
  }
  return progress;
}

std::optional<NetLink> usableLink(const NetState& state) {
  std::optional<DefaultRoute> best;
  for (const auto& route : state.routes) {
    auto link = state.links.find(route.linkIndex);
    if (link == state.links.end() || !state.addressed.contains(route.linkIndex)) continue;
    const unsigned flags = link->second.flags;
    if (!(flags & IFF_UP) || !(flags & IFF_RUNNING) || (flags & IFF_LOOPBACK)) continue;
    if (!best || route.metric < best->metric) best = route;
  }
  if (!best) return std::nullopt;
  return state.links.at(best->linkIndex);
}

LinkKind linkKind(const std::filesystem::path& sysClassNet, const std::string& name) {
  std::error_code ignored;
  const auto dir = sysClassNet / name;
  if (std::filesystem::exists(dir / "wireless", ignored) || std::filesystem::exists(dir / "phy80211", ignored))
    return LinkKind::wifi;
  std::ifstream uevent(dir / "uevent");
  for (std::string line; std::getline(uevent, line);)
    if (line == "DEVTYPE=wwan") return LinkKind::cellular;
  return LinkKind::wired;
}

ConnectivityStatus decideStatus(std::optional<LinkKind> path, Probe probe) {
  using S = ConnectivityStatus;
  if (!path) return S::notConnected;
  if (probe == Probe::pending) return S::determining;
  const bool failed = probe == Probe::failed;
  switch (*path) {
    case LinkKind::wifi: return failed ? S::connectedViaWiFiWithoutInternet : S::connectedViaWiFi;
    case LinkKind::cellular: return failed ? S::connectedViaCellularWithoutInternet : S::connectedViaCellular;
    case LinkKind::wired: return failed ? S::notConnected : S::connected;
  }
  return S::notConnected;
}

}  // namespace tavrel::detail
