#include "rts/ws_session.h"

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <deque>

#include "device/socket_io.h"

namespace tavrel::detail {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace ssl = asio::ssl;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using Kind = WebSocketError::Kind;

// Where a request goes, as the connection needs it.
struct Endpoint {
  bool tls = false;
  std::string host;        // for lookup and the certificate check, no brackets
  std::string port;
  std::string hostHeader;  // host[:port] as written, for Host and for messages
  std::string target;      // path and query
};

std::optional<Endpoint> endpointOf(const Url& url) {
  if (!url.scheme() || !url.host() || url.host()->empty()) return std::nullopt;
  std::string scheme = *url.scheme();
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (scheme != "ws" && scheme != "wss") return std::nullopt;
  Endpoint e;
  e.tls = scheme == "wss";
  e.host = *url.host();
  e.hostHeader = e.host + (url.port() ? ":" + std::to_string(*url.port()) : "");
  if (e.host.front() == '[') e.host = e.host.substr(1, e.host.size() - 2);
  e.port = std::to_string(url.port().value_or(e.tls ? 443 : 80));
  e.target = url.path().empty() ? "/" : url.path();
  if (url.query()) e.target += "?" + *url.query();
  return e;
}

// Seconds as a timer's duration: not below zero, not beyond a year.
std::chrono::steady_clock::duration toDuration(double seconds) {
  seconds = std::clamp(seconds > 0 ? seconds : 0.0, 0.0, 365 * 86400.0);
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds));
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", seconds);
  return text;
}

WebSocketEvent::Error errorEvent(Kind kind, std::error_code code, std::string message) {
  return {WebSocketError{kind, code, std::move(message)}};
}

// A session that ended before it began: its one event is reported from the
// I/O thread like any other.
class FailedSession final : public WsSession {
 public:
  FailedSession(WebSocketError error, WsEventSink sink) {
    ended_ = true;
    asio::post(socketIoContext(), [error = std::move(error), sink = std::move(sink)] {
      sink({WebSocketEvent::Error{error}});
    });
  }
  void write(std::string) override {}
  void close(std::uint16_t, std::optional<double>) override {}
  void abandon() override {}
};

template <class Stream>
class Session final : public WsSession, public std::enable_shared_from_this<Session<Stream>> {
 public:
  static constexpr bool tls = !std::is_same_v<Stream, tcp::socket>;

  template <class... StreamArgs>
  Session(WsSessionConfig config, Endpoint endpoint, WsEventSink sink,
          std::shared_ptr<ssl::context> context, StreamArgs&&... args)
      : config_(std::move(config)),
        endpoint_(std::move(endpoint)),
        sink_(std::move(sink)),
        context_(std::move(context)),
        ws_(socketIoContext(), std::forward<StreamArgs>(args)...) {}

  void start() {
    onIo([](Session& s) { s.open(); });
  }
  void write(std::string text) override {
    onIo([text = std::move(text)](Session& s) mutable { s.queueText(std::move(text)); });
  }
  void close(std::uint16_t code, std::optional<double> forceTimeout) override {
    onIo([code, forceTimeout](Session& s) { s.startClose(code, forceTimeout); });
  }
  void abandon() override {
    onIo([](Session& s) {
      s.sink_ = nullptr;
      s.startClose(static_cast<std::uint16_t>(CloseCode::goingAway), std::nullopt);
    });
  }

 private:
  enum class State { opening, open, closing };

  template <class F>
  void onIo(F task) {
    asio::post(socketIoContext(), [self = this->shared_from_this(), task = std::move(task)]() mutable {
      task(*self);
    });
  }
  template <class... Args>
  auto handler(void (Session::*member)(beast::error_code, Args...)) {
    return [self = this->shared_from_this(), member](beast::error_code ec, Args... args) {
      if (!self->ended()) ((*self).*member)(ec, std::move(args)...);
    };
  }

  // "host:port" for messages, the port always written.
  std::string name() const {
    const std::string& h = endpoint_.host;
    return (h.find(':') != std::string::npos ? "[" + h + "]" : h) + ":" + endpoint_.port;
  }
  double timeoutSeconds() const {
    double t = config_.request.timeoutInterval.count();
    return t > 0 ? t : URLRequest::defaultTimeoutInterval.count();
  }

  void report(WebSocketEvent::Error e) { report(WebSocketEvent{std::move(e)}); }
  void report(WebSocketEvent event) {
    if (sink_) sink_(std::move(event));
  }
  // The last event: nothing is reported after it.
  void finish(WebSocketEvent event) {
    if (ended()) return;
    ended_.store(true, std::memory_order_release);
    cut();
    report(std::move(event));
  }
  void fail(Kind kind, beast::error_code ec, std::string message) {
    finish({errorEvent(kind, ec, std::move(message))});
  }
  // Stops everything pending; the handlers see ended() and return.
  void cut() {
    resolver_.cancel();
    deadline_.cancel();
    beast::error_code ignored;
    beast::get_lowest_layer(ws_).close(ignored);
  }
  void armDeadline(double seconds) {
    deadline_.expires_after(toDuration(seconds));
    deadline_.async_wait(handler(&Session::onDeadline));
  }

  void open() {
    if (ended()) return;
    armDeadline(timeoutSeconds());
    resolver_.async_resolve(endpoint_.host, endpoint_.port, handler(&Session::onResolved));
  }

  void onDeadline(beast::error_code ec) {
    if (ec) return;  // re-armed or cancelled
    if (state_ == State::opening) {
      fail(Kind::timedOut, beast::error::timeout,
           "no connection to " + name() + " within " + secondsText(timeoutSeconds()) + " s");
    } else {
      finish({WebSocketEvent::Cancelled{}});  // the far side did not answer the close in time
    }
  }

  void onResolved(beast::error_code ec, tcp::resolver::results_type results) {
    if (ec) return fail(Kind::cannotConnect, ec, "cannot find " + endpoint_.host + ": " + ec.message());
    asio::async_connect(beast::get_lowest_layer(ws_), results, handler(&Session::onTcp));
  }

  void onTcp(beast::error_code ec, tcp::endpoint) {
    if (ec) return fail(Kind::cannotConnect, ec, "cannot connect to " + name() + ": " + ec.message());
    beast::get_lowest_layer(ws_).set_option(tcp::no_delay(true), ec);
    if constexpr (tls) {
      auto& stream = ws_.next_layer();
      beast::error_code notAddress;
      asio::ip::make_address(endpoint_.host, notAddress);
      if (notAddress) SSL_set_tlsext_host_name(stream.native_handle(), endpoint_.host.c_str());
      stream.set_verify_mode(ssl::verify_peer);
      stream.set_verify_callback(ssl::host_name_verification(endpoint_.host));
      stream.async_handshake(ssl::stream_base::client, handler(&Session::onTls));
    } else {
      upgrade();
    }
  }

  void onTls(beast::error_code ec) {
    if (ec) return fail(Kind::cannotConnect, ec, "TLS with " + name() + " failed: " + ec.message());
    upgrade();
  }

  void upgrade() {
    ws_.read_message_max(config_.maxMessageBytes);
    ws_.set_option(websocket::stream_base::decorator(
        [headers = config_.request.headers, protocols = config_.protocols](websocket::request_type& req) {
          for (const auto& [key, value] : headers) req.set(key, value);
          std::string list;
          for (const auto& p : protocols) list += (list.empty() ? "" : ", ") + p;
          if (!list.empty()) req.set(beast::http::field::sec_websocket_protocol, list);
        }));
    ws_.control_callback([this](websocket::frame_type kind, beast::string_view payload) {
      std::vector<std::uint8_t> data(payload.begin(), payload.end());
      if (kind == websocket::frame_type::ping) report({WebSocketEvent::Ping{std::move(data)}});
      if (kind == websocket::frame_type::pong) report({WebSocketEvent::Pong{std::move(data)}});
    });
    ws_.async_handshake(response_, endpoint_.hostHeader, endpoint_.target,
                        handler(&Session::onUpgraded));
  }

  void onUpgraded(beast::error_code ec) {
    if (ec == websocket::error::upgrade_declined) {
      return fail(Kind::upgradeRefused, ec,
                  name() + " refused the WebSocket upgrade with status " +
                      std::to_string(response_.result_int()));
    }
    if (ec) return fail(Kind::cannotConnect, ec, "no WebSocket upgrade with " + name() + ": " + ec.message());
    deadline_.cancel();
    state_ = State::open;
    // Bounds the closing handshake, whichever side starts it.
    ws_.set_option(websocket::stream_base::timeout{toDuration(timeoutSeconds()),
                                                   websocket::stream_base::none(), false});
    WebSocketEvent::Connected connected;
    for (const auto& field : response_) {
      connected.headers.emplace(std::string(field.name_string()), std::string(field.value()));
    }
    report({std::move(connected)});
    read();
  }

  void read() { ws_.async_read(buffer_, handler(&Session::onRead)); }

  void onRead(beast::error_code ec, std::size_t) {
    if (!ec) {
      auto bytes = static_cast<const std::uint8_t*>(buffer_.cdata().data());
      if (ws_.got_text()) {
        report({WebSocketEvent::Text{beast::buffers_to_string(buffer_.cdata())}});
      } else {
        report({WebSocketEvent::Binary{{bytes, bytes + buffer_.size()}}});
      }
      buffer_.consume(buffer_.size());
      return read();
    }
    if (ec == asio::error::operation_aborted && state_ == State::closing) {
      return;  // our close took over reading; its completion reports the end
    }
    if (ec == websocket::error::closed) {
      const auto& r = ws_.reason();
      return finish({WebSocketEvent::Disconnected{std::string(r.reason.data(), r.reason.size()),
                                                  static_cast<std::uint16_t>(r.code)}});
    }
    if (ec == beast::error::timeout) {
      return fail(Kind::timedOut, ec, name() + " did not answer the close within " +
                                          secondsText(timeoutSeconds()) + " s");
    }
    if (ec.category() == websocket::make_error_code(websocket::error::closed).category()) {
      return fail(Kind::protocol, ec, "closed the connection to " + name() + ": " + ec.message());
    }
    fail(Kind::connectionLost, ec, "the connection to " + name() + " broke: " + ec.message());
  }

  void queueText(std::string text) {
    if (ended() || state_ != State::open) return;
    outbox_.push_back(std::move(text));
    if (!writing_) writeNext();
  }

  void writeNext() {
    writing_ = !outbox_.empty();
    if (!writing_) {
      if (closeCode_) sendClose();
      return;
    }
    ws_.text(true);
    ws_.async_write(asio::buffer(outbox_.front()), handler(&Session::onWritten));
  }

  void onWritten(beast::error_code ec, std::size_t) {
    writing_ = false;
    if (ec) return;  // the read reports what broke
    outbox_.pop_front();
    writeNext();
  }

  void startClose(std::uint16_t code, std::optional<double> forceTimeout) {
    if (ended() || state_ == State::closing) return;
    if (state_ == State::opening) return finish({WebSocketEvent::Cancelled{}});
    state_ = State::closing;
    if (forceTimeout) armDeadline(*forceTimeout);
    closeCode_ = code;
    if (!writing_) sendClose();
  }

  void sendClose() {
    auto code = static_cast<websocket::close_code>(*closeCode_);
    closeCode_.reset();
    ws_.async_close(websocket::close_reason(code), handler(&Session::onClosed));
  }

  // The closing handshake we started is over; the pending read ended when
  // the close took over reading.
  void onClosed(beast::error_code ec) {
    if (!ec) {
      const auto& r = ws_.reason();
      return finish({WebSocketEvent::Disconnected{std::string(r.reason.data(), r.reason.size()),
                                                  static_cast<std::uint16_t>(r.code)}});
    }
    onRead(ec, 0);
  }

  WsSessionConfig config_;
  Endpoint endpoint_;
  WsEventSink sink_;
  std::shared_ptr<ssl::context> context_;  // outlives the stream that uses it
  tcp::resolver resolver_{socketIoContext()};
  websocket::stream<Stream> ws_;
  asio::steady_timer deadline_{socketIoContext()};  // opening, then forceTimeout
  beast::flat_buffer buffer_;
  websocket::response_type response_;
  std::deque<std::string> outbox_;
  std::optional<std::uint16_t> closeCode_;  // a close waiting for the writes before it
  bool writing_ = false;
  State state_ = State::opening;
};

std::shared_ptr<ssl::context> clientContext(const WsSessionConfig& config) {
  auto context = std::make_shared<ssl::context>(ssl::context::tls_client);
  context->set_default_verify_paths();
  if (config.extraCaFile) context->load_verify_file(config.extraCaFile->string());
  return context;
}

}  // namespace

std::shared_ptr<WsSession> startWsSession(WsSessionConfig config, WsEventSink sink) {
  // OpenSSL is set up before the I/O thread starts: its clean-up at exit then
  // runs after that thread has been joined, and frees the thread's own state.
  static const bool sslReady = OPENSSL_init_ssl(0, nullptr) == 1;
  (void)sslReady;
  auto endpoint = endpointOf(config.request.url);
  if (!endpoint) {
    return std::make_shared<FailedSession>(
        WebSocketError{Kind::badURL, {}, "not a ws or wss URL with a host: " +
                                             config.request.url.absoluteString()},
        std::move(sink));
  }
  if (!endpoint->tls) {
    auto s = std::make_shared<Session<tcp::socket>>(std::move(config), std::move(*endpoint),
                                                    std::move(sink), nullptr);
    s->start();
    return s;
  }
  std::shared_ptr<ssl::context> context;
  try {
    context = clientContext(config);
  } catch (const std::exception& e) {
    return std::make_shared<FailedSession>(
        WebSocketError{Kind::cannotConnect, {}, std::string("cannot set up TLS: ") + e.what()},
        std::move(sink));
  }
  auto s = std::make_shared<Session<ssl::stream<tcp::socket>>>(
      std::move(config), std::move(*endpoint), std::move(sink), context, *context);
  s->start();
  return s;
}

}  // namespace tavrel::detail
