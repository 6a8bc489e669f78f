// HTTP/1.1 sessions with keep-alive: each request goes through the router,
// a WebSocket upgrade goes to a socket session.

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include <array>
#include <memory>
#include <optional>

#include "service/records.h"
#include "service/sessions.h"

namespace tavrel::service {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using tcp = boost::asio::ip::tcp;

class HttpSession : public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(tcp::socket socket, SessionContext& context)
      : stream_(std::move(socket)), context_(context) {}

  void read() {
    parser_.emplace();
    parser_->body_limit(kBodyLimit);
    stream_.expires_after(context_.idleTimeout);
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](beast::error_code ec, std::size_t) { self->onRead(ec); });
  }

 private:
  void onRead(beast::error_code ec) {
    if (ec == http::error::body_limit) {
      return answer(Reply{413, errorEnvelope(413, "payload_too_large", "the body is over 1 MB")}, false, true);
    }
    if (ec && ec.category() == http::make_error_code(http::error::bad_target).category() &&
        ec != http::error::end_of_stream && ec != http::error::partial_message) {
      return answer(Reply{400, errorEnvelope(400, "bad_request", "malformed HTTP request: " + ec.message())},
                    false, true);
    }
    if (ec) return close();  // closed, timed out or reset: nothing to answer
    auto request = parser_->release();
    if (beast::iequals(request[http::field::upgrade], "websocket")) {
      stream_.expires_never();
      return startSocketSession(std::move(stream_), std::move(request), context_);
    }
    Request plain{std::string(request.method_string()), std::string(request.target()),
                  std::string(request[http::field::content_type]), std::move(request.body()),
                  std::string(request["X-Tavrel-Secret"])};
    answer(context_.router.handle(plain), request.keep_alive(), false);
  }

  void answer(const Reply& reply, bool keepAlive, bool drain) {
    auto response = std::make_shared<http::response<http::string_body>>(
        static_cast<http::status>(reply.status), 11);
    response->set(http::field::server, "tavrel");
    response->set(http::field::content_type, "application/json; charset=utf-8");
    response->keep_alive(keepAlive);
    response->body() = reply.body;
    response->prepare_payload();
    stream_.expires_after(context_.idleTimeout);
    http::async_write(stream_, *response,
                      [self = shared_from_this(), response, keepAlive, drain](beast::error_code ec, std::size_t) {
                        if (ec) return self->close();
                        if (keepAlive) return self->read();
                        if (drain) return self->drain();
                        self->close();
                      });
  }

  // After a refusal mid-request: stop sending, and read what the client is
  // still sending for a moment, so that it gets the answer rather than a reset.
  void drain() {
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    stream_.expires_after(std::chrono::seconds(2));
    stream_.async_read_some(boost::asio::buffer(sink_),
                            [self = shared_from_this()](beast::error_code ec, std::size_t n) {
                              self->drained_ += n;
                              if (ec || self->drained_ > 16 * kBodyLimit) return self->close();
                              self->drain();
                            });
  }

  void close() {
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
    stream_.close();
  }

  beast::tcp_stream stream_;
  SessionContext& context_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::array<char, 16384> sink_{};
  std::size_t drained_ = 0;
};

}  // namespace

void startHttpSession(tcp::socket socket, SessionContext& context) {
  std::make_shared<HttpSession>(std::move(socket), context)->read();
}

}  // namespace tavrel::service
