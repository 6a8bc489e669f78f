#pragma once
// What the loopback test servers share: a listening socket on a port the
// system picks.

#include <string>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace tavrel::test {

// Opens, binds and listens `acceptor` on `address` at a free port; returns it.
inline unsigned short listenOnFreePort(boost::asio::ip::tcp::acceptor& acceptor,
                                       const std::string& address) {
  using boost::asio::ip::tcp;
  tcp::endpoint endpoint(boost::asio::ip::make_address(address), 0);
  acceptor.open(endpoint.protocol());
  acceptor.set_option(tcp::acceptor::reuse_address(true));
  acceptor.bind(endpoint);
  acceptor.listen();
  return acceptor.local_endpoint().port();
}

}  // namespace tavrel::test
