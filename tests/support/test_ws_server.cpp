#include "support/test_ws_server.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>

#include "support/loopback.h"
#include "support/test_cert.h"

namespace tavrel::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

}  // namespace

// One connection; all of it runs on the server's thread.
struct WsConnection::Session {
  virtual ~Session() = default;
  virtual void enqueue(std::vector<WsFrame> frames) = 0;
  virtual void drop() = 0;
};

struct TestWsServer::Impl : std::enable_shared_from_this<Impl> {
  explicit Impl(Options o) : options(std::move(o)) {
    if (options.tls) tls.emplace(makeServerSslContext());
  }

  Options options;
  asio::io_context io{1};
  std::optional<asio::ssl::context> tls;
  tcp::acceptor acceptor{io};
  std::thread thread;
  std::uint16_t port = 0;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  std::vector<WsConnectionRecord> records;
  bool stopped = false;
  ConnectHandler connectHandler;
  std::weak_ptr<WsConnection::Session> latest;
  std::size_t latestId = 0;
  // Server thread only: every session, kept until stop; silent sockets.
  std::vector<std::shared_ptr<WsConnection::Session>> sessions;
  std::vector<tcp::socket> silentSockets;

  template <class F>
  void update(std::size_t id, F change) {
    std::lock_guard lock(mutex);
    change(records[id - 1]);
    changed.notify_all();
  }

  void accept();
};

namespace {

template <class Stream>
struct Session final : WsConnection::Session, std::enable_shared_from_this<Session<Stream>> {
  template <class... Args>
  Session(TestWsServer::Impl& s, std::size_t n, Args&&... args)
      : server(s), ws(std::forward<Args>(args)...), id(n) {}

  TestWsServer::Impl& server;
  websocket::stream<Stream> ws;
  std::size_t id;
  beast::flat_buffer buffer;
  http::request<http::string_body> request;
  std::deque<WsFrame> queue;
  WsFrame sending;  // the frame in flight owns its payload here
  bool writing = false;

  static constexpr bool tls = !std::is_same_v<Stream, tcp::socket>;

  WsConnection handle() { return WsConnection(server.shared_from_this(), this->weak_from_this(), id); }
  void ended() { server.update(id, [](auto& r) { r.ended = true; }); }

  // A completion handler that goes on with `next`, or records the end.
  auto then(void (Session::*next)()) {
    return [self = this->shared_from_this(), next](beast::error_code ec, auto&&...) {
      ec ? self->ended() : ((*self).*next)();
    };
  }

  void start() {
    if constexpr (tls) {
      ws.next_layer().async_handshake(asio::ssl::stream_base::server, then(&Session::readRequest));
    } else {
      readRequest();
    }
  }

  void readRequest() { http::async_read(ws.next_layer(), buffer, request, then(&Session::upgrade)); }

  void upgrade() {
    server.update(id, [this](auto& r) {
      r.target = std::string(request.target());
      for (const auto& f : request) r.headers.emplace_back(f.name_string(), f.value());
    });
    ws.async_accept(request, then(&Session::upgraded));
  }

  void upgraded() {
    TestWsServer::ConnectHandler onConnect;
    WsConnectionRecord record;
    server.update(id, [&](auto& r) {
      r.upgraded = true;
      record = r;
      server.latest = this->weak_from_this();
      server.latestId = id;
      onConnect = server.connectHandler;
    });
    if (onConnect) onConnect(handle(), record);
    if (!server.options.ignoreClose) read();
  }

  void read() {
    ws.async_read(buffer, [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
      self->onRead(ec);
    });
  }

  void onRead(beast::error_code ec) {
    if (ec == asio::error::operation_aborted) return;  // a close or a drop says the rest
    if (ec) {
      server.update(id, [&](auto& r) {
        if (ec == websocket::error::closed) r.closeCode = static_cast<std::uint16_t>(ws.reason().code);
        r.ended = true;
      });
      return;
    }
    server.update(id, [&](auto& r) { r.received.push_back(beast::buffers_to_string(buffer.data())); });
    buffer.consume(buffer.size());
    read();
  }

  void enqueue(std::vector<WsFrame> frames) override {
    for (auto& f : frames) queue.push_back(std::move(f));
    if (!writing) writeNext();
  }

  void writeNext() {
    writing = !queue.empty();
    if (!writing) return;
    sending = std::move(queue.front());
    queue.pop_front();
    auto next = [self = this->shared_from_this()](beast::error_code ec, auto&&...) {
      if (ec) self->queue.clear();
      self->writeNext();
    };
    switch (sending.kind) {
      case WsFrame::Kind::text:
      case WsFrame::Kind::binary:
        ws.text(sending.kind == WsFrame::Kind::text);
        ws.async_write(asio::buffer(sending.payload), next);
        break;
      case WsFrame::Kind::ping: ws.async_ping(websocket::ping_data(sending.payload), next); break;
      case WsFrame::Kind::pong: ws.async_pong(websocket::ping_data(sending.payload), next); break;
      case WsFrame::Kind::close:
        // Reading goes to the close until the client's answer; the read loop
        // then ends with operation_aborted and the answer is recorded here.
        queue.clear();
        ws.async_close({static_cast<websocket::close_code>(sending.code), sending.payload},
                       [self = this->shared_from_this()](beast::error_code ec) {
                         self->onRead(ec ? ec : beast::error_code(websocket::error::closed));
                       });
    }
  }

  void drop() override {
    beast::error_code ignored;
    beast::get_lowest_layer(ws).shutdown(tcp::socket::shutdown_both, ignored);
    beast::get_lowest_layer(ws).close(ignored);
    ended();
  }
};

}  // namespace

void TestWsServer::Impl::accept() {
  acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
    if (ec) return;  // the acceptor was closed
    std::size_t id;
    {
      std::lock_guard lock(mutex);
      records.push_back({});
      id = records.back().id = records.size();
      changed.notify_all();
    }
    socket.set_option(tcp::no_delay(true));
    auto start = [&]<class Stream>(auto&&... args) {
      auto s = std::make_shared<Session<Stream>>(*this, id, std::move(socket), args...);
      sessions.push_back(s);
      s->start();
    };
    if (options.silentHandshake) {
      silentSockets.push_back(std::move(socket));
    } else if (tls) {
      start.operator()<asio::ssl::stream<tcp::socket>>(*tls);
    } else {
      start.operator()<tcp::socket>();
    }
    accept();
  });
}

void WsConnection::send(std::vector<WsFrame> frames) const {
  asio::post(static_cast<TestWsServer::Impl*>(server_.get())->io,
             [s = session_, frames = std::move(frames)]() mutable {
               if (auto session = s.lock()) session->enqueue(std::move(frames));
             });
}

void WsConnection::drop() const {
  asio::post(static_cast<TestWsServer::Impl*>(server_.get())->io, [s = session_] {
    if (auto session = s.lock()) session->drop();
  });
}

TestWsServer::TestWsServer() : TestWsServer(Options{}) {}

TestWsServer::TestWsServer(Options options) : impl_(std::make_shared<Impl>(std::move(options))) {
  impl_->port = listenOnFreePort(impl_->acceptor, impl_->options.address);
  impl_->accept();
  impl_->thread = std::thread([impl = impl_.get()] { impl->io.run(); });
}

TestWsServer::~TestWsServer() { stop(); }

void TestWsServer::stop() {
  {
    std::lock_guard lock(impl_->mutex);
    if (impl_->stopped) return;
    impl_->stopped = true;
  }
  asio::post(impl_->io, [impl = impl_.get()] {
    beast::error_code ignored;
    impl->acceptor.close(ignored);
    for (auto& s : impl->sessions) s->drop();
    for (auto& s : impl->silentSockets) s.close(ignored);
  });
  if (impl_->thread.joinable()) impl_->thread.join();
  // Handlers may hold connection handles, which hold the server: let go.
  std::lock_guard lock(impl_->mutex);
  impl_->connectHandler = nullptr;
}

std::uint16_t TestWsServer::port() const { return impl_->port; }

std::string TestWsServer::url(std::string_view pathAndQuery) const {
  return std::string(impl_->options.tls ? "wss://" : "ws://") + impl_->options.address + ":" +
         std::to_string(impl_->port) + std::string(pathAndQuery);
}

void TestWsServer::onConnect(ConnectHandler handler) {
  std::lock_guard lock(impl_->mutex);
  impl_->connectHandler = std::move(handler);
}

std::optional<WsConnection> TestWsServer::current() const {
  std::lock_guard lock(impl_->mutex);
  if (impl_->latestId == 0) return std::nullopt;
  return WsConnection(impl_, impl_->latest, impl_->latestId);
}

std::vector<WsConnectionRecord> TestWsServer::connections() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->records;
}

bool TestWsServer::waitUntil(
    const std::function<bool(const std::vector<WsConnectionRecord>&)>& done,
    std::chrono::milliseconds timeout) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] { return done(impl_->records); });
}

bool TestWsServer::waitForConnections(std::size_t count, std::chrono::milliseconds timeout) const {
  auto upgraded = [](const auto& r) { return r.upgraded; };
  return waitUntil([&](const auto& rs) { return std::count_if(rs.begin(), rs.end(), upgraded) >= long(count); },
                   timeout);
}

}  // namespace tavrel::test
