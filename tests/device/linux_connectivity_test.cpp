// The Linux backend: its reading of rtnetlink dumps and its decision, on
// synthetic messages; the probe against a loopback server; and one real run.

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "device/netlink_state.h"
#include "device/probe.h"
#include "support/test_http_server.h"
#include "tavrel/device/linux_connectivity_backend.h"

namespace tavrel {
namespace {

using namespace detail;
using S = ConnectivityStatus;
using Attr = std::pair<std::uint16_t, std::string>;
constexpr std::uint32_t kSeq = 7, kPort = 42;
constexpr unsigned kUp = IFF_UP | IFF_RUNNING;

Attr u32(std::uint16_t type, std::uint32_t value) { return {type, std::string(reinterpret_cast<char*>(&value), 4)}; }

// One netlink datagram, message by message.
struct Datagram {
  std::string bytes;

  template <class Body>
  Datagram& add(std::uint16_t type, const Body& body, std::vector<Attr> attrs = {},
                std::uint32_t seq = kSeq, std::uint32_t pid = kPort) {
    std::string payload(reinterpret_cast<const char*>(&body), sizeof body);
    for (const auto& [attrType, value] : attrs) {
      payload.resize(NLMSG_ALIGN(payload.size()));
      const rtattr attr{static_cast<unsigned short>(RTA_LENGTH(value.size())), attrType};
      payload.append(reinterpret_cast<const char*>(&attr), sizeof attr).append(value);
    }
    const nlmsghdr header{static_cast<std::uint32_t>(NLMSG_LENGTH(payload.size())), type, 0, seq, pid};
    bytes.append(reinterpret_cast<const char*>(&header), sizeof header).append(payload);
    bytes.resize(NLMSG_ALIGN(bytes.size()));
    return *this;
  }
  Datagram& link(int index, const std::string& name, unsigned flags) {
    return add(RTM_NEWLINK, ifinfomsg{AF_UNSPEC, 0, 0, index, flags, 0}, {{IFLA_IFNAME, name + '\0'}});
  }
  Datagram& addr(int index, unsigned char scope = RT_SCOPE_UNIVERSE, unsigned char flags = 0) {
    return add(RTM_NEWADDR, ifaddrmsg{AF_INET6, 64, flags, scope, static_cast<std::uint32_t>(index)});
  }
  Datagram& route(int index, std::uint32_t metric, std::uint32_t table = RT_TABLE_MAIN,
                  unsigned char dstLen = 0, std::uint32_t seq = kSeq, std::uint32_t pid = kPort) {
    const rtmsg r{AF_INET, dstLen, 0, 0, RT_TABLE_UNSPEC, RTPROT_DHCP, RT_SCOPE_UNIVERSE, RTN_UNICAST, 0};
    return add(RTM_NEWROUTE, r, {u32(RTA_TABLE, table), u32(RTA_PRIORITY, metric), u32(RTA_OIF, index)},
               seq, pid);
  }
  DumpProgress read(NetState& state, std::size_t cut = 0) const {
    return readDatagram({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size() - cut}, kSeq, kPort, state);
  }
  NetState read() const {
    NetState state;
    read(state);
    return state;
  }
};

TEST(NetlinkState, UsableDefaultRouteNeedsARunningLinkWithAGlobalAddress) {
  auto eth0 = [](unsigned flags = kUp) { return Datagram().link(2, "eth0", flags); };
  const struct {
    const char* what;
    Datagram messages;
    const char* link;  // "" for none
  } rows[] = {
      {"wired path", eth0().addr(2).route(2, 100), "eth0"},
      {"no carrier", eth0(IFF_UP).addr(2).route(2, 100), ""},
      {"link-local address only", eth0().addr(2, RT_SCOPE_LINK).route(2, 100), ""},
      {"address still tentative", eth0().addr(2, RT_SCOPE_UNIVERSE, IFA_F_TENTATIVE).route(2, 100), ""},
      {"route of another table", eth0().addr(2).route(2, 100, 200), ""},
      {"no default route", eth0().addr(2).route(2, 100, RT_TABLE_MAIN, 24), ""},
      {"lowest metric wins", eth0().link(3, "wlan0", kUp).addr(2).addr(3).route(2, 600).route(3, 50), "wlan0"},
      {"news from others are only events", eth0().addr(2).route(2, 100, RT_TABLE_MAIN, 0, 0, 0), ""},
      {"replies to an older dump are dropped", eth0().addr(2).route(2, 100, RT_TABLE_MAIN, 0, kSeq - 1), ""},
  };
  for (const auto& row : rows) {
    const auto link = usableLink(row.messages.read());
    EXPECT_EQ(link ? link->name : "", row.link) << row.what;
  }
}

TEST(NetlinkState, DatagramTellsTheEndOfTheDumpARefusalAndEvents) {
  NetState state;
  auto progress = Datagram().link(2, "eth0", kUp).read(state, 8);  // truncated
  EXPECT_FALSE(progress.done || progress.error || progress.event || !state.links.empty());

  progress = Datagram().route(2, 1, RT_TABLE_MAIN, 0, 0, 0).add(NLMSG_DONE, 0).read(state);
  EXPECT_TRUE(progress.done && progress.event && state.routes.empty());

  progress = Datagram().add(NLMSG_ERROR, nlmsgerr{-EBUSY, {}}).read(state);
  EXPECT_TRUE(progress.error == EBUSY && !progress.done);
}

TEST(NetlinkState, KindFromSysfsAndNoUsableStatusWithoutAConfirmedProbe) {
  const auto root = std::filesystem::path(testing::TempDir()) / "sys_class_net";
  std::filesystem::create_directories(root / "wl0" / "wireless");
  std::filesystem::create_directories(root / "ww0");
  std::ofstream(root / "ww0" / "uevent") << "DEVTYPE=wwan\nINTERFACE=ww0\n";
  EXPECT_EQ(linkKind(root, "wl0"), LinkKind::wifi);
  EXPECT_EQ(linkKind(root, "ww0"), LinkKind::cellular);
  EXPECT_EQ(linkKind(root, "missing"), LinkKind::wired);

  for (auto kind : {LinkKind::wired, LinkKind::wifi, LinkKind::cellular}) {
    EXPECT_TRUE(isUsable(decideStatus(kind, Probe::notAsked)));
    EXPECT_TRUE(isUsable(decideStatus(kind, Probe::passed)));
    EXPECT_EQ(decideStatus(kind, Probe::pending), S::determining);
    EXPECT_FALSE(isUsable(decideStatus(kind, Probe::failed)));
  }
  EXPECT_EQ(decideStatus(std::nullopt, Probe::passed), S::notConnected);
}

TEST(ConnectivityProbe, PassesOnlyOnASuccessfulAnswerInTime) {
  test::TestHttpServer server;
  // libcurl sends a request again once when a reused connection was dropped.
  server.setHandler([](const test::RecordedRequest&) { return test::Reply::text(503, ""); });
  const struct {
    test::Reply reply;
    bool passed;
  } rows[] = {
      {test::Reply::text(204, ""), true},
      {[] { auto r = test::Reply::text(302, ""); r.headers = {{"Location", "http://portal.invalid/"}}; return r; }(), false},
      {test::Reply::text(503, "busy"), false},
      {test::Reply::close(), false},
      {test::Reply::never(), false},
  };
  for (const auto& row : rows) {
    server.enqueue(row.reply);
    auto passed = std::make_shared<std::promise<bool>>();
    sendProbe(server.url("/probe"), std::chrono::milliseconds(300), [passed](bool p) { passed->set_value(p); });
    auto answer = passed->get_future();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(answer.get(), row.passed) << "row " << &row - rows;
  }
}

TEST(LinuxConnectivity, ReportsSomeStatusOfThisMachineWithinABound) {
  test::TestHttpServer server;  // stands in for the probed site
  server.setHandler([](const test::RecordedRequest&) { return test::Reply::text(204, ""); });
  LinuxConnectivityOptions options;
  options.probeUrl = server.url("/generate_204");
  auto backend = makeLinuxConnectivityBackend(true, options);
  auto answer = std::make_shared<std::promise<S>>();
  backend->check([answer](S status) { answer->set_value(status); });
  auto status = answer->get_future();
  ASSERT_EQ(status.wait_for(std::chrono::seconds(15)), std::future_status::ready);
  const auto seen = status.get();
  EXPECT_NE(seen, S::determining) << toString(seen);
  // With a usable path, the answer came from the probe of that server.
  if (isUsable(seen)) {
    EXPECT_EQ(server.requests().size(), 1u);
  }
}

}  // namespace
}  // namespace tavrel
