#include "support/test_http_server.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <boost/algorithm/string/predicate.hpp>
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

// A reply's status line and headers, up to its body.
std::string head(int status, const HeaderList& headers, std::size_t length, bool keepAlive = true) {
  const auto reason = http::obsolete_reason(static_cast<http::status>(status));
  std::string out = "HTTP/1.1 " + std::to_string(status) + " " +
                    (reason.empty() ? std::string("Status") : std::string(reason)) + "\r\n";
  for (const auto& [k, v] : headers) out += k + ": " + v + "\r\n";
  out += "Content-Length: " + std::to_string(length) + "\r\n";
  return out + (keepAlive ? "\r\n" : "Connection: close\r\n\r\n");
}

RecordedRequest record(http::request<http::string_body> request) {
  RecordedRequest r{.method = std::string(request.method_string()), .target = std::string(request.target())};
  const auto q = r.target.find('?');
  r.path = r.target.substr(0, q);
  if (q != std::string::npos) r.query = r.target.substr(q + 1);
  for (const auto& field : request) r.headers.emplace_back(field.name_string(), field.value());
  r.body = std::move(request.body());
  return r;
}

}  // namespace

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (boost::algorithm::iequals(key, name)) return value;
  }
  return std::nullopt;
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
  asio::io_context io{1};  // accepts; each connection then runs on a thread of its own
  tcp::acceptor acceptor{io};
  std::thread acceptThread;
  std::uint16_t port = 0;
  std::optional<asio::ssl::context> tls;  // set for an https server

  mutable std::mutex mutex;
  mutable std::condition_variable changed;  // a request arrived, or the server stops
  std::deque<Reply> queue;
  Handler handler;
  std::mutex handlerMutex;  // handlers run one at a time
  std::vector<RecordedRequest> recorded;
  bool stopped = false;
  // Every connection's socket, which stop() shuts down, and its thread.
  std::vector<std::unique_ptr<tcp::socket>> sockets;
  std::vector<std::thread> threads;

  Reply answer(const RecordedRequest& request) {
    {
      std::lock_guard lock(mutex);
      recorded.push_back(request);
      changed.notify_all();
      if (!queue.empty()) {
        Reply r = std::move(queue.front());
        queue.pop_front();
        return r;
      }
    }
    std::lock_guard lock(handlerMutex);
    if (!handler) return Reply::text(200, "");
    try {
      return handler(request);
    } catch (const std::exception& e) {
      return Reply::text(500, std::string("handler failed: ") + e.what());
    } catch (...) {
      return Reply::text(500, "handler failed");
    }
  }

  // Waits `delay` (for ever without one) or until the server stops; false
  // once it has stopped.
  bool pause(std::optional<std::chrono::milliseconds> delay) {
    std::unique_lock lock(mutex);
    const auto isStopped = [&] { return stopped; };
    if (delay) {
      changed.wait_for(lock, *delay, isStopped);
    } else {
      changed.wait(lock, isStopped);
    }
    return !stopped;
  }

  void accept() {
    acceptor.async_accept([this](beast::error_code ec, tcp::socket accepted) {
      if (ec) return;  // the acceptor was closed
      accepted.set_option(tcp::no_delay(true));
      {
        std::lock_guard lock(mutex);
        tcp::socket& socket = *sockets.emplace_back(std::make_unique<tcp::socket>(std::move(accepted)));
        threads.emplace_back([this, &socket] { serve(socket); });
      }
      accept();
    });
  }

  void serve(tcp::socket& socket) {
    if (tls) {
      asio::ssl::stream<tcp::socket&> stream(socket, *tls);
      beast::error_code ec;
      stream.handshake(asio::ssl::stream_base::server, ec);
      if (!ec) converse(stream);
    } else {
      converse(socket);
    }
    std::lock_guard lock(mutex);  // stop() may be shutting it down
    beast::error_code ignored;
    socket.shutdown(tcp::socket::shutdown_both, ignored);
    socket.close(ignored);
  }

  // Answers one connection's requests until it ends.
  template <typename Stream>
  void converse(Stream& stream) {
    beast::flat_buffer buffer;
    beast::error_code ec;
    while (!ec) {
      http::request_parser<http::string_body> parser;
      parser.body_limit(std::uint64_t{1} << 30);
      if (http::read(stream, buffer, parser, ec); ec) return;
      const bool keepAlive = parser.get().keep_alive();
      Reply reply = answer(record(parser.release()));
      switch (reply.kind) {
        case Reply::Kind::normal:
          if (reply.delay.count() > 0 && !pause(reply.delay)) return;
          asio::write(stream, asio::buffer(head(reply.status, reply.headers, reply.body.size(), keepAlive) + reply.body),
                      ec);
          if (!keepAlive) return;
          break;
        case Reply::Kind::neverAnswer: pause(std::nullopt); return;
        case Reply::Kind::closeConnection: return;
        case Reply::Kind::hugeBody: {
          HeaderList headers{{"Content-Type", "application/octet-stream"}};
          headers.insert(headers.end(), reply.headers.begin(), reply.headers.end());
          asio::write(stream, asio::buffer(head(200, headers, reply.hugeSize)), ec);
          static const std::string block(64 * 1024, 'x');
          for (std::size_t left = reply.hugeSize, n; left > 0 && !ec; left -= n) {
            n = std::min(left, block.size());
            asio::write(stream, asio::buffer(block.data(), n), ec);
          }
          break;
        }
        case Reply::Kind::truncatedBody: {
          const std::size_t announced = reply.body.size() + reply.missingBytes;
          asio::write(stream, asio::buffer(head(reply.status, reply.headers, announced) + reply.body), ec);
          return;
        }
      }
    }
  }
};

TestHttpServer::TestHttpServer(Security security) : impl_(std::make_shared<Impl>()) {
  if (security == Security::tls) impl_->tls.emplace(makeServerSslContext());
  impl_->port = listenOnFreePort(impl_->acceptor, "127.0.0.1");
  impl_->accept();
  impl_->acceptThread = std::thread([impl = impl_.get()] { impl->io.run(); });
}

TestHttpServer::~TestHttpServer() { stop(); }

void TestHttpServer::stop() {
  {
    std::lock_guard lock(impl_->mutex);
    if (impl_->stopped) return;
  }
  asio::post(impl_->io, [impl = impl_.get()] { impl->acceptor.close(); });
  impl_->acceptThread.join();  // no connection starts after this
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopped = true;
    impl_->changed.notify_all();
    beast::error_code ignored;
    for (auto& socket : impl_->sockets) socket->shutdown(tcp::socket::shutdown_both, ignored);
  }
  for (auto& thread : impl_->threads) thread.join();
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
  std::lock_guard lock(impl_->handlerMutex);
  impl_->handler = std::move(handler);
}

std::vector<RecordedRequest> TestHttpServer::requests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->recorded;
}

bool TestHttpServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->changed.wait_for(lock, timeout, [&] { return impl_->recorded.size() >= count; });
}

std::size_t TestHttpServer::connectionCount() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->sockets.size();
}

}  // namespace tavrel::test
