#include "support/test_http_server.h"

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "support/loopback.h"
#include "support/test_cert.h"

namespace tavrel::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

std::string reasonFor(int status) {
  auto reason = http::obsolete_reason(static_cast<http::status>(status));
  return reason.empty() ? std::string("Status") : std::string(reason);
}

}  // namespace

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoringCase(key, name)) return value;
  }
  return std::nullopt;
}

Reply Reply::text(int status, std::string body) {
  Reply r;
  r.status = status;
  r.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
  r.body = std::move(body);
  return r;
}

Reply Reply::json(int status, std::string body) {
  Reply r;
  r.status = status;
  r.headers = {{"Content-Type", "application/json"}};
  r.body = std::move(body);
  return r;
}

Reply Reply::never() {
  Reply r;
  r.kind = Kind::neverAnswer;
  return r;
}

Reply Reply::close() {
  Reply r;
  r.kind = Kind::closeConnection;
  return r;
}

Reply Reply::huge(std::size_t bytes) {
  Reply r;
  r.kind = Kind::hugeBody;
  r.hugeSize = bytes;
  return r;
}

Reply Reply::truncated(std::string body, std::size_t missing) {
  Reply r;
  r.kind = Kind::truncatedBody;
  r.body = std::move(body);
  r.missingBytes = missing;
  return r;
}

Reply rangeReply(const RecordedRequest& request, const std::string& body, const std::string& etag,
                 bool ranges) {
  Reply r;
  if (!etag.empty()) r.headers.emplace_back("ETag", etag);
  const auto range = request.header("Range");
  const auto ifRange = request.header("If-Range");
  std::size_t from = 0;
  if (ranges && range && range->starts_with("bytes=") && (!ifRange || *ifRange == etag)) {
    from = std::stoul(range->substr(6));
  }
  if (from == 0 || from > body.size()) {
    r.body = body;
    return r;
  }
  r.status = 206;
  r.headers.emplace_back("Content-Range", "bytes " + std::to_string(from) + "-" +
                                              std::to_string(body.size() - 1) + "/" +
                                              std::to_string(body.size()));
  r.body = body.substr(from);
  return r;
}

struct TestHttpServer::Impl {
  asio::io_context io{1};
  tcp::acceptor acceptor{io};
  std::thread thread;
  std::uint16_t port = 0;
  std::optional<asio::ssl::context> tls;  // set for an https server

  mutable std::mutex mutex;
  mutable std::condition_variable arrived;
  std::deque<Reply> queue;
  Handler handler;
  std::vector<RecordedRequest> recorded;
  std::size_t connections = 0;
  bool stopped = false;

  struct SessionBase {
    virtual ~SessionBase() = default;
    virtual void closeNow() = 0;
  };
  template <typename Stream>
  struct Session;
  // Every session that is alive; pinned ones are kept even with no I/O pending.
  std::vector<std::weak_ptr<SessionBase>> sessions;
  std::vector<std::shared_ptr<SessionBase>> pinned;
  template <typename Stream, typename... Args>
  std::shared_ptr<SessionBase> startSession(std::size_t id, Args&&... args);

  Reply answer(const RecordedRequest& request) {
    Handler h;
    {
      std::lock_guard lock(mutex);
      recorded.push_back(request);
      arrived.notify_all();
      if (!queue.empty()) {
        Reply r = std::move(queue.front());
        queue.pop_front();
        return r;
      }
      h = handler;
    }
    if (!h) return Reply::text(200, "");
    try {
      return h(request);
    } catch (const std::exception& e) {
      return Reply::text(500, std::string("handler failed: ") + e.what());
    } catch (...) {
      return Reply::text(500, "handler failed");
    }
  }

  void accept();
};

// One connection, over a plain socket or a TLS stream on one.
template <typename Stream>
struct TestHttpServer::Impl::Session : SessionBase, std::enable_shared_from_this<Session<Stream>> {
  template <typename... Args>
  Session(Impl& owner, std::size_t n, Args&&... args)
      : impl(owner), socket(std::forward<Args>(args)...), id(n) {}

  using std::enable_shared_from_this<Session>::shared_from_this;
  Impl& impl;
  Stream socket;
  std::size_t id;
  beast::flat_buffer buffer;
  std::optional<http::request_parser<http::string_body>> parser;
  std::string raw;          // bytes of a hand-made reply
  std::size_t remaining = 0;  // bytes of a huge body still to send
  asio::steady_timer timer{socket.get_executor()};  // for delayed replies

  void read() {
    parser.emplace();
    parser->body_limit(std::uint64_t{1} << 30);
    http::async_read(socket, buffer, *parser,
                     [self = shared_from_this()](beast::error_code ec, std::size_t) {
                       if (!ec) self->onRequest();
                     });
  }

  void onRequest() {
    auto request = parser->release();
    RecordedRequest rec;
    rec.method = std::string(request.method_string());
    rec.target = std::string(request.target());
    auto q = rec.target.find('?');
    rec.path = rec.target.substr(0, q);
    if (q != std::string::npos) rec.query = rec.target.substr(q + 1);
    for (const auto& field : request) {
      rec.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    rec.body = std::move(request.body());
    rec.connection = id;
    bool keepAlive = request.keep_alive();

    Reply reply = impl.answer(rec);
    switch (reply.kind) {
      case Reply::Kind::normal: writeLater(std::move(reply), keepAlive); break;
      case Reply::Kind::neverAnswer: impl.pinned.push_back(shared_from_this()); break;
      case Reply::Kind::closeConnection: closeNow(); break;
      case Reply::Kind::hugeBody: writeHuge(reply.hugeSize, reply.headers); break;
      case Reply::Kind::truncatedBody: writeTruncated(reply); break;
    }
  }

  void writeLater(Reply reply, bool keepAlive) {
    if (reply.delay.count() <= 0) {
      writeNormal(reply, keepAlive);
      return;
    }
    timer.expires_after(reply.delay);
    timer.async_wait([self = shared_from_this(), reply = std::move(reply),
                      keepAlive](beast::error_code ec) {
      if (!ec) self->writeNormal(reply, keepAlive);
    });
  }

  void writeNormal(const Reply& reply, bool keepAlive) {
    raw = "HTTP/1.1 " + std::to_string(reply.status) + " " + reasonFor(reply.status) + "\r\n";
    for (const auto& [k, v] : reply.headers) raw += k + ": " + v + "\r\n";
    raw += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    if (!keepAlive) raw += "Connection: close\r\n";
    raw += "\r\n" + reply.body;
    asio::async_write(socket, asio::buffer(raw),
                      [self = shared_from_this(), keepAlive](beast::error_code ec, std::size_t) {
                        if (ec) return;
                        if (keepAlive) {
                          self->read();
                        } else {
                          self->closeNow();
                        }
                      });
  }

  void writeHuge(std::size_t size, const HeaderList& headers) {
    raw = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n";
    for (const auto& [k, v] : headers) raw += k + ": " + v + "\r\n";
    raw += "Content-Length: " + std::to_string(size) + "\r\n\r\n";
    remaining = size;
    asio::async_write(socket, asio::buffer(raw),
                      [self = shared_from_this()](beast::error_code ec, std::size_t) {
                        if (!ec) self->writeChunk();
                      });
  }

  void writeChunk() {
    static const std::string block(64 * 1024, 'x');
    if (remaining == 0) {
      read();
      return;
    }
    std::size_t n = std::min(remaining, block.size());
    remaining -= n;
    asio::async_write(socket, asio::buffer(block.data(), n),
                      [self = shared_from_this()](beast::error_code ec, std::size_t) {
                        if (!ec) self->writeChunk();
                      });
  }

  void writeTruncated(const Reply& reply) {
    raw = "HTTP/1.1 " + std::to_string(reply.status) + " " + reasonFor(reply.status) + "\r\n";
    for (const auto& [k, v] : reply.headers) raw += k + ": " + v + "\r\n";
    raw += "Content-Length: " + std::to_string(reply.body.size() + reply.missingBytes) +
           "\r\n\r\n" + reply.body;
    asio::async_write(socket, asio::buffer(raw),
                      [self = shared_from_this()](beast::error_code, std::size_t) {
                        self->closeNow();
                      });
  }

  // A TLS session reads its first request once the handshake is done.
  void start() {
    if constexpr (std::is_same_v<Stream, tcp::socket>) {
      read();
    } else {
      socket.async_handshake(asio::ssl::stream_base::server,
                             [self = shared_from_this()](beast::error_code ec) {
                               if (!ec) self->read();
                             });
    }
  }

  void closeNow() override {
    beast::error_code ignored;
    timer.cancel();
    auto& lowest = beast::get_lowest_layer(socket);
    lowest.shutdown(tcp::socket::shutdown_both, ignored);
    lowest.close(ignored);
  }
};

template <typename Stream, typename... Args>
std::shared_ptr<TestHttpServer::Impl::SessionBase> TestHttpServer::Impl::startSession(
    std::size_t id, Args&&... args) {
  auto session = std::make_shared<Session<Stream>>(*this, id, std::forward<Args>(args)...);
  session->start();
  return session;
}

void TestHttpServer::Impl::accept() {
  acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
    if (ec) return;  // the acceptor was closed
    std::size_t id;
    {
      std::lock_guard lock(mutex);
      id = ++connections;
    }
    socket.set_option(tcp::no_delay(true));
    auto session = tls ? startSession<asio::ssl::stream<tcp::socket>>(id, std::move(socket), *tls)
                       : startSession<tcp::socket>(id, std::move(socket));
    std::erase_if(sessions, [](const auto& w) { return w.expired(); });
    sessions.push_back(std::move(session));
    accept();
  });
}

TestHttpServer::TestHttpServer(Security security) : impl_(std::make_shared<Impl>()) {
  if (security == Security::tls) impl_->tls.emplace(makeServerSslContext());
  impl_->port = listenOnFreePort(impl_->acceptor, "127.0.0.1");
  impl_->accept();
  impl_->thread = std::thread([impl = impl_.get()] { impl->io.run(); });
}

TestHttpServer::~TestHttpServer() { stop(); }

void TestHttpServer::stop() {
  {
    std::lock_guard lock(impl_->mutex);
    if (impl_->stopped) return;
    impl_->stopped = true;
  }
  asio::post(impl_->io, [impl = impl_.get()] {
    beast::error_code ignored;
    impl->acceptor.close(ignored);
    for (auto& weak : impl->sessions) {
      if (auto s = weak.lock()) s->closeNow();
    }
    impl->pinned.clear();
  });
  // Closing cancels every pending operation, so run() returns on its own.
  if (impl_->thread.joinable()) impl_->thread.join();
}

std::uint16_t TestHttpServer::port() const { return impl_->port; }

std::string TestHttpServer::url(std::string_view path) const {
  return (impl_->tls ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(impl_->port) +
         std::string(path);
}

void TestHttpServer::enqueue(Reply reply) {
  std::lock_guard lock(impl_->mutex);
  impl_->queue.push_back(std::move(reply));
}

void TestHttpServer::setHandler(Handler handler) {
  std::lock_guard lock(impl_->mutex);
  impl_->handler = std::move(handler);
}

std::vector<RecordedRequest> TestHttpServer::requests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->recorded;
}

bool TestHttpServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->arrived.wait_for(lock, timeout,
                                 [&] { return impl_->recorded.size() >= count; });
}

std::size_t TestHttpServer::connectionCount() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->connections;
}

}  // namespace tavrel::test
