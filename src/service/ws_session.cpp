// WebSocket sessions: the upgrade is granted by the router, then the socket
// hears the frames of its channels from the hub, replayed ones first.

#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket.hpp>

#include <deque>
#include <memory>

#include "service/sessions.h"

namespace tavrel::service {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

// Frames waiting for a client that does not read; beyond this it is closed.
constexpr std::size_t kQueueLimit = 20000;

class SocketSession : public std::enable_shared_from_this<SocketSession> {
 public:
  SocketSession(beast::tcp_stream stream, SessionContext& context)
      : ws_(std::move(stream)), context_(context) {}

  ~SocketSession() {
    if (listener_) context_.hub.unlisten(listener_);
  }

  void run(http::request<http::string_body> request) {
    auto grant = context_.router.authorizeSocket(std::string(request.target()));
    if (auto* refusal = std::get_if<Reply>(&grant)) return refuse(*refusal, request.version());
    grant_ = std::get<SocketGrant>(grant);
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = context_.idleTimeout;
    timeout.idle_timeout = context_.idleTimeout;
    timeout.keep_alive_pings = true;
    ws_.set_option(timeout);
    ws_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& response) { response.set(http::field::server, "tavrel"); }));
    ws_.read_message_max(64 * 1024);
    ws_.async_accept(request, [self = shared_from_this()](beast::error_code ec) { self->onAccept(ec); });
  }

 private:
  void refuse(const Reply& reply, unsigned version) {
    auto response = std::make_shared<http::response<http::string_body>>(
        static_cast<http::status>(reply.status), version);
    response->set(http::field::content_type, "application/json; charset=utf-8");
    response->keep_alive(false);
    response->body() = reply.body;
    response->prepare_payload();
    auto& stream = ws_.next_layer();
    stream.expires_after(context_.idleTimeout);
    http::async_write(stream, *response, [self = shared_from_this(), response](beast::error_code, std::size_t) {
      beast::error_code ignored;
      self->ws_.next_layer().socket().shutdown(boost::asio::ip::tcp::socket::shutdown_both, ignored);
    });
  }

  void onAccept(beast::error_code ec) {
    if (ec) return;
    FrameHub::Listener listener;
    listener.appId = grant_.appId;
    listener.userId = grant_.userId;
    listener.channels = grant_.channels;
    std::weak_ptr<SocketSession> weak = weak_from_this();
    auto executor = ws_.get_executor();
    listener.deliver = [weak, executor](const std::string& text) {
      boost::asio::post(executor, [weak, text] {
        if (auto self = weak.lock()) self->send(text);
      });
    };
    listener_ = context_.hub.listen(std::move(listener), grant_.tag, grant_.time);
    read();
  }

  // The client sends nothing the service needs; reading keeps the close
  // handshake and the pings going.
  void read() {
    ws_.async_read(buffer_, [self = shared_from_this()](beast::error_code ec, std::size_t) {
      if (ec) return;  // closed, timed out, or broken: the session ends
      self->buffer_.consume(self->buffer_.size());
      self->read();
    });
  }

  void send(const std::string& text) {
    if (queue_.size() >= kQueueLimit) {
      beast::get_lowest_layer(ws_).close();  // a client that reads nothing
      return;
    }
    queue_.push_back(text);
    if (queue_.size() == 1) write();
  }

  void write() {
    ws_.text(true);
    ws_.async_write(boost::asio::buffer(queue_.front()),
                    [self = shared_from_this()](beast::error_code ec, std::size_t) {
                      if (ec) return;
                      self->queue_.pop_front();
                      if (!self->queue_.empty()) self->write();
                    });
  }

  websocket::stream<beast::tcp_stream> ws_;
  SessionContext& context_;
  SocketGrant grant_;
  FrameHub::ListenerId listener_ = 0;
  beast::flat_buffer buffer_;
  std::deque<std::string> queue_;
};

}  // namespace

void startSocketSession(beast::tcp_stream stream, http::request<http::string_body> request,
                        SessionContext& context) {
  std::make_shared<SocketSession>(std::move(stream), context)->run(std::move(request));
}

}  // namespace tavrel::service
