#pragma once
// A self-signed TLS certificate for loopback servers in tests. It is made at
// run time with OpenSSL (an EC P-256 key, valid from an hour ago for a day)
// and names "localhost" and 127.0.0.1 in its subjectAltName, so that a
// client that verifies the peer, host name included, accepts it once it
// trusts the certificate itself: point the client's CA file at certFile.
// Nothing is shipped in the tree and nothing expires between runs.

#include <filesystem>

#include <boost/asio/ssl/context.hpp>

namespace tavrel::test {

struct TestCertificate {
  // PEM files in a private temporary directory (mode 0700) that is removed
  // when the process exits.
  std::filesystem::path certFile;
  std::filesystem::path keyFile;
};

// The process's one certificate, made on first use; safe to call from any
// thread. Throws std::runtime_error, naming the OpenSSL step, if it cannot be
// made or written.
const TestCertificate& testCertificate();

// A TLS server context (TLS 1.2 and later) with testCertificate() loaded,
// for boost::asio::ssl::stream on the server side.
boost::asio::ssl::context makeServerSslContext();

}  // namespace tavrel::test
