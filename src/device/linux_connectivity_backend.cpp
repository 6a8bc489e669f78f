#include "tavrel/device/linux_connectivity_backend.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <boost/asio/generic/raw_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "device/netlink_state.h"
#include "device/probe.h"
#include "device/socket_io.h"
#include "tavrel/core/log.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

std::string LinuxConnectivityOptions::defaultProbeUrl() {
  const char* env = std::getenv("TAVREL_CONNECTIVITY_PROBE_URL");
  return env && *env ? env : "https://connectivitycheck.gstatic.com/generate_204";
}

namespace {

namespace asio = boost::asio;
using Netlink = asio::generic::raw_protocol;
using SteadyClock = std::chrono::steady_clock;
using detail::LinkKind;
using detail::Probe;

// Everything below runs on the socket layer's I/O thread, but for `status`
// and the relay, which any thread may read or watch.
struct Watcher : std::enable_shared_from_this<Watcher> {
  Watcher(bool https, LinuxConnectivityOptions opts)
      : shouldUseHTTPS(https), options(std::move(opts)), io(detail::socketIoContext()) {}

  const bool shouldUseHTTPS;
  const LinuxConnectivityOptions options;
  asio::io_context& io;
  std::atomic<ConnectivityStatus> status{ConnectivityStatus::determining};
  rx::PublishRelay<ConnectivityStatus> changes;

  // The netlink socket and the dump in progress.
  Netlink::socket socket{io};
  std::uint32_t port = 0;
  std::uint32_t seq = 0;
  int dumpStep = -1;  // 0 links, 1 addresses, 2 routes; -1 none
  detail::NetState dumping;
  alignas(nlmsghdr) std::array<unsigned char, 64 * 1024> buffer{};
  bool closed = false;

  // Coalescing a burst of events into one look.
  asio::steady_timer settle{io};
  std::optional<SteadyClock::time_point> firstEvent;
  bool eventDuringDump = false;

  // The path and its probe.
  bool ready = false;  // the first look is over
  std::optional<std::pair<std::string, LinkKind>> path;
  std::optional<std::pair<std::string, LinkKind>> probedPath;  // of the last probe
  Probe probe = Probe::notAsked;
  std::uint64_t probeNumber = 0;
  std::optional<SteadyClock::time_point> probedAt;
  RequestHandle probeRequest;
  asio::steady_timer probeTimer{io};
  std::vector<ConnectivityBackend::Listener> checks;  // waiting for an answer

  void setStatus(ConnectivityStatus next) {
    if (status.exchange(next) != next) changes.accept(next);
  }

  void start() {
    boost::system::error_code error;
    socket.open(Netlink(AF_NETLINK, NETLINK_ROUTE), error);
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE |
                      RTMGRP_IPV6_ROUTE;
    if (!error) socket.bind(Netlink::endpoint(&local, sizeof local), error);
    if (!error) {
      auto bound = socket.local_endpoint(error);
      sockaddr_nl self{};
      std::memcpy(&self, bound.data(), std::min<std::size_t>(sizeof self, bound.size()));
      port = self.nl_pid;
    }
    if (error) return fail("cannot open the netlink socket: " + error.message());
    int size = 1 << 20;
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    receive();
    resync();
  }

  void fail(const std::string& why) {
    debugPrint("connectivity: " + why);
    closed = true;
    ready = true;
    setStatus(ConnectivityStatus::notConnected);
    answerChecks();
  }

  void receive() {
    socket.async_receive(asio::buffer(buffer), [self = shared_from_this()](auto error, std::size_t size) {
      if (self->closed) return;
      if (error == asio::error::no_buffer_space) {
        self->dumpStep = -1;  // messages were lost: look again from scratch
        self->eventArrived();
      } else if (error) {
        return self->fail("netlink: " + error.message());
      } else {
        self->read(std::span(self->buffer.data(), size));
      }
      self->receive();
    });
  }

  void read(std::span<const unsigned char> datagram) {
    const auto progress = detail::readDatagram(datagram, seq, port, dumping);
    if (progress.event) eventArrived();
    if (dumpStep < 0) return;
    if (progress.error) {
      dumpStep = -1;
      debugPrint("connectivity: netlink dump refused: " + std::string(std::strerror(progress.error)));
      eventArrived();  // try again after a pause
    } else if (progress.done) {
      if (++dumpStep <= 2) return request(dumpStep);
      dumpStep = -1;
      look(dumping);
      if (std::exchange(eventDuringDump, false)) eventArrived();
    }
  }

  void eventArrived() {
    if (dumpStep >= 0) {
      eventDuringDump = true;
      return;
    }
    const auto now = SteadyClock::now();
    if (!firstEvent) firstEvent = now;
    settle.expires_at(std::min(now + options.settleTime, *firstEvent + options.maxSettleTime));
    settle.async_wait([self = shared_from_this()](auto error) {
      if (error || self->closed) return;
      self->firstEvent.reset();
      self->resync();
    });
  }

  void resync() {
    dumping = {};
    ++seq;
    dumpStep = 0;
    request(0);
  }

  void request(int step) {
    struct {
      nlmsghdr header;
      union {  // every body begins with the address family, the only field set
        ifinfomsg link;
        ifaddrmsg addr;
        rtmsg route;
      } body;
    } message{};
    constexpr std::uint16_t types[] = {RTM_GETLINK, RTM_GETADDR, RTM_GETROUTE};
    constexpr std::size_t sizes[] = {sizeof(ifinfomsg), sizeof(ifaddrmsg), sizeof(rtmsg)};
    message.header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(sizes[step]));
    message.header.nlmsg_type = types[step];
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.header.nlmsg_seq = seq;
    message.header.nlmsg_pid = port;
    message.body.route.rtm_family = AF_UNSPEC;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    boost::system::error_code error;
    socket.send_to(asio::buffer(&message, message.header.nlmsg_len),
                   Netlink::endpoint(&kernel, sizeof kernel), 0, error);
    if (error) fail("cannot ask netlink for the interfaces: " + error.message());
  }

  // Decides from a complete picture of the network.
  void look(const detail::NetState& state) {
    ready = true;
    path.reset();
    if (auto link = detail::usableLink(state))
      path.emplace(link->name, detail::linkKind("/sys/class/net", link->name));
    if (!path) {
      cancelProbe();
      setStatus(ConnectivityStatus::notConnected);
      return answerChecks();
    }
    if (!shouldUseHTTPS) {
      setStatus(detail::decideStatus(path->second, Probe::notAsked));
      return answerChecks();
    }
    // A confirmed path keeps its status while it is probed again.
    if (path != probedPath) setStatus(ConnectivityStatus::determining);
    startProbe();
  }

  void startProbe() {
    cancelProbe();
    probe = Probe::pending;
    const auto number = ++probeNumber;
    std::weak_ptr<Watcher> weak = shared_from_this();
    probeRequest = detail::sendProbe(options.probeUrl, options.probeTimeout, [weak, number](bool passed) {
      if (auto self = weak.lock())
        asio::post(self->io, [self, number, passed] { self->probeAnswered(number, passed); });
    });
    // The request's own timeout leaves out connecting; this one does not.
    probeTimer.expires_after(options.probeTimeout);
    probeTimer.async_wait([weak, number](auto error) {
      auto self = weak.lock();
      if (!error && self) self->probeAnswered(number, false);
    });
  }

  void cancelProbe() {
    ++probeNumber;
    probe = Probe::notAsked;
    probeTimer.cancel();
    std::exchange(probeRequest, RequestHandle()).cancel();
  }

  void probeAnswered(std::uint64_t number, bool passed) {
    if (number != probeNumber || closed) return;
    cancelProbe();
    probe = passed ? Probe::passed : Probe::failed;
    probedAt = SteadyClock::now();
    probedPath = path;
    setStatus(detail::decideStatus(path->second, probe));
    answerChecks();
  }

  void check(ConnectivityBackend::Listener done) {
    checks.push_back(std::move(done));
    if (!ready || dumpStep >= 0 || probe == Probe::pending) return;  // answered when that ends
    const bool stale = !probedAt || SteadyClock::now() - *probedAt >= options.probeMaxAge;
    if (shouldUseHTTPS && path && !closed && stale) return startProbe();
    answerChecks();
  }

  // On the HTTP layer's callback queue: the I/O thread runs no caller's code.
  void answerChecks() {
    if (checks.empty()) return;
    HttpTransport::shared().post([checks = std::exchange(checks, {}), now = status.load()] {
      for (const auto& done : checks) done(now);
    });
  }

  void close() {
    closed = true;
    cancelProbe();
    settle.cancel();
    boost::system::error_code ignored;
    socket.close(ignored);
  }
};

class LinuxConnectivityBackend final : public ConnectivityBackend {
 public:
  LinuxConnectivityBackend(bool https, LinuxConnectivityOptions options)
      : watcher_(std::make_shared<Watcher>(https, std::move(options))) {}
  ~LinuxConnectivityBackend() override {
    asio::post(watcher_->io, [w = watcher_] { w->close(); });
  }

  ConnectivityStatus status() const override { return watcher_->status.load(); }

  rx::Disposable watch(Listener listener) override {
    auto watching = watcher_->changes.asObservable().subscribe(std::move(listener));
    start();
    return watching;
  }

  void check(Listener done) override {
    start();
    asio::post(watcher_->io, [w = watcher_, done = std::move(done)]() mutable { w->check(std::move(done)); });
  }

 private:
  void start() {
    std::call_once(started_, [&] { asio::post(watcher_->io, [w = watcher_] { w->start(); }); });
  }

  std::shared_ptr<Watcher> watcher_;
  std::once_flag started_;
};

}  // namespace

std::shared_ptr<ConnectivityBackend> makeLinuxConnectivityBackend(bool shouldUseHTTPS,
                                                                  LinuxConnectivityOptions options) {
  return std::make_shared<LinuxConnectivityBackend>(shouldUseHTTPS, std::move(options));
}

}  // namespace tavrel
