#include "tavrel/service/server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>

#include <charconv>
#include <mutex>
#include <optional>
#include <thread>

#include "service/bot.h"
#include "service/hub.h"
#include "service/router.h"
#include "service/sessions.h"
#include "service/store.h"

namespace tavrel::service {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

namespace {

AppCredentials credentials(const AppRow& app) {
  return AppCredentials{std::to_string(app.id), app.name, app.apiKey, app.secret};
}

std::optional<tcp::endpoint> parseListen(const std::string& text) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  std::string host = text.substr(0, colon);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  unsigned port = 0;
  const std::string digits = text.substr(colon + 1);
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (ec != std::errc() || end != digits.data() + digits.size() || port > 65535 || digits.empty()) {
    return std::nullopt;
  }
  boost::system::error_code bad;
  auto address = asio::ip::make_address(host.empty() ? "127.0.0.1" : host, bad);
  if (bad) return std::nullopt;
  return tcp::endpoint(address, static_cast<unsigned short>(port));
}

}  // namespace

struct Server::Impl {
  Impl(ServerOptions opts, const std::string& db) : options(std::move(opts)), store(db), router(store, hub) {}

  ServerOptions options;
  Store store;
  FrameHub hub;
  Router router;
  // The I/O side, made at start and gone after stop; everything above
  // outlives it, so handlers dying with it can still reach the hub.
  std::unique_ptr<asio::io_context> io = std::make_unique<asio::io_context>(1);
  std::optional<tcp::acceptor> acceptor;
  std::optional<Bot> bot;
  std::optional<SessionContext> context;
  std::thread thread;
  std::mutex stopMutex;
  tcp::endpoint endpoint;

  void accept() {
    acceptor->async_accept([this](boost::system::error_code ec, tcp::socket socket) {
      if (ec == asio::error::operation_aborted || !acceptor->is_open()) return;
      if (!ec) {
        socket.set_option(tcp::no_delay(true), ec);
        startHttpSession(std::move(socket), *context);
      }
      accept();
    });
  }
};

Server::Server(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Server::~Server() { stop(); }

std::variant<std::unique_ptr<Server>, StartError> Server::start(ServerOptions options, AppCredentials* created) {
  auto endpoint = parseListen(options.listen);
  if (!endpoint) return StartError{"cannot listen on \"" + options.listen + "\": give ADDRESS:PORT, as 127.0.0.1:8080"};
  std::unique_ptr<Impl> impl;
  try {
    impl = std::make_unique<Impl>(options, options.db);
    if (impl->store.apps().empty()) {
      const AppRow demo = impl->store.createApp("Demo");
      if (created) *created = credentials(demo);
    }
  } catch (const std::exception& e) {
    return StartError{"cannot open database " + options.db + ": " + e.what()};
  }
  auto& acceptor = impl->acceptor.emplace(*impl->io);
  boost::system::error_code ec;
  acceptor.open(endpoint->protocol(), ec);
  if (!ec) acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
  if (!ec) acceptor.bind(*endpoint, ec);
  if (!ec) acceptor.listen(asio::socket_base::max_listen_connections, ec);
  if (ec) {
    const std::string where = "port " + std::to_string(endpoint->port()) + " on " + endpoint->address().to_string();
    if (ec == asio::error::address_in_use) return StartError{where + " is in use"};
    return StartError{"cannot listen on " + where + ": " + ec.message()};
  }
  impl->endpoint = acceptor.local_endpoint();
  impl->context.emplace(SessionContext{impl->router, impl->hub, options.idleTimeout});
  if (options.bot) {
    Impl* raw = impl.get();
    raw->bot.emplace(*raw->io, raw->router, raw->store, options.botTypingDelay);
    raw->router.onVisitorPart = [raw](const ConversationRow& c, const PartRow& p) { raw->bot->visitorWrote(c, p); };
  }
  impl->accept();
  impl->thread = std::thread([io = impl->io.get()] { io->run(); });
  return std::unique_ptr<Server>(new Server(std::move(impl)));
}

std::uint16_t Server::port() const { return impl_->endpoint.port(); }

std::string Server::apiUrl() const {
  return "http://" + impl_->endpoint.address().to_string() + ":" + std::to_string(port()) + "/api/v1/";
}

std::string Server::wssUrl() const {
  return "ws://" + impl_->endpoint.address().to_string() + ":" + std::to_string(port()) + "/rts";
}

AppCredentials Server::demoApp() const { return credentials(impl_->store.apps().front()); }

AppCredentials Server::newApp(const std::string& name) { return credentials(impl_->store.createApp(name)); }

void Server::stop() {
  std::lock_guard lock(impl_->stopMutex);
  if (!impl_->io) return;
  asio::post(*impl_->io, [impl = impl_.get()] {
    boost::system::error_code ignored;
    if (impl->acceptor) impl->acceptor->close(ignored);
    impl->io->stop();
  });
  if (impl_->thread.joinable()) impl_->thread.join();
  // Dropping the I/O side closes every connection and drops pending timers.
  impl_->router.onVisitorPart = nullptr;
  impl_->acceptor.reset();
  impl_->io.reset();
  impl_->bot.reset();
}

}  // namespace tavrel::service
