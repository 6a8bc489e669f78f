#pragma once
// The connections of a server: HTTP sessions, which hand a WebSocket upgrade
// over to a socket session. Both run on the server's one I/O thread, and
// every read runs under a deadline, so a slow or vanished client costs a
// timeout and never a thread.

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include <chrono>

#include "service/hub.h"
#include "service/router.h"

namespace tavrel::service {

struct SessionContext {
  Router& router;
  FrameHub& hub;
  std::chrono::seconds idleTimeout;
};

// The largest request body; a larger one gets status 413.
inline constexpr std::size_t kBodyLimit = 1024 * 1024;

void startHttpSession(boost::asio::ip::tcp::socket socket, SessionContext& context);
void startSocketSession(boost::beast::tcp_stream stream,
                        boost::beast::http::request<boost::beast::http::string_body> request,
                        SessionContext& context);

}  // namespace tavrel::service
