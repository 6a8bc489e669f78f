#pragma once
// The socket layer's I/O thread: one Asio io_context, run by one thread of
// the library's own, serves every WebSocket and the network monitor. The
// thread starts at the first call of `context()` and is stopped and joined
// when the process exits. Code that runs on it only moves bytes and posts
// what it has read to a callback queue; it never calls the host.
//
// Internal to the library: hosts never see Asio.

#include <boost/asio/io_context.hpp>

namespace tavrel::detail {

// The context that the socket layer's I/O thread runs, started on first use.
boost::asio::io_context& socketIoContext();

// Whether the calling thread is the socket layer's I/O thread.
bool onSocketIoThread();

}  // namespace tavrel::detail
