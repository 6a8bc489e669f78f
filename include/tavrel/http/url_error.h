#pragma once
// URLError: why a request failed below HTTP. The codes and their numbers are
// the platform's URL loading error codes; the transport maps every failure of
// libcurl to one of them.

#include <exception>
#include <string>
#include <system_error>

namespace tavrel {

class URLError : public std::exception {
 public:
  enum class Code : int {
    // A failure that no other code describes (out of memory, an internal
    // libcurl error, a callback that refused data).
    unknown = -1,
    // The request was cancelled through its handle, or the transport shut
    // down while it was in flight.
    cancelled = -999,
    // The URL text could not be parsed (CURLE_URL_MALFORMAT), or is empty.
    badURL = -1000,
    // Connecting or the whole transfer took longer than allowed
    // (CURLE_OPERATION_TIMEDOUT).
    timedOut = -1001,
    // The scheme is neither http nor https (CURLE_UNSUPPORTED_PROTOCOL).
    unsupportedURL = -1002,
    // The host name did not resolve (CURLE_COULDNT_RESOLVE_HOST and _PROXY).
    cannotFindHost = -1003,
    // The host refused or did not accept the connection (CURLE_COULDNT_CONNECT,
    // other than for an unreachable network).
    cannotConnectToHost = -1004,
    // The connection broke after it was made: the peer closed it before the
    // whole answer arrived, or a send or receive failed (CURLE_GOT_NOTHING,
    // CURLE_PARTIAL_FILE, CURLE_SEND_ERROR, CURLE_RECV_ERROR).
    networkConnectionLost = -1005,
    // More redirects than the transport follows (CURLE_TOO_MANY_REDIRECTS).
    httpTooManyRedirects = -1007,
    // The machine has no route to the network (CURLE_COULDNT_CONNECT with
    // ENETUNREACH or ENETDOWN, CURLE_INTERFACE_FAILED).
    notConnectedToInternet = -1009,
    // The answer is no valid HTTP (CURLE_WEIRD_SERVER_REPLY, a bad content
    // encoding, an HTTP/2 framing error).
    badServerResponse = -1011,
    // The body is larger than the transport's cap: announced by the server
    // (CURLE_FILESIZE_EXCEEDED) or counted while it arrived.
    dataLengthExceedsMaximum = -1103,
    // The TLS handshake failed for another reason than the certificate
    // (CURLE_SSL_CONNECT_ERROR, cipher, engine or client certificate errors).
    secureConnectionFailed = -1200,
    // The server's certificate or name did not verify
    // (CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_ISSUER_ERROR, a pinned key
    // that did not match, an unreadable CA bundle).
    serverCertificateUntrusted = -1202,
  };

  // detail: what libcurl or the transport said; goes into what().
  explicit URLError(Code code, std::string detail = {});

  Code code() const noexcept { return code_; }
  // The platform's numeric code, e.g. -1001 for timedOut.
  int rawValue() const noexcept { return static_cast<int>(code_); }
  const std::string& detail() const noexcept { return detail_; }
  // The same code as a std::error_code of urlErrorCategory().
  std::error_code errorCode() const noexcept;
  // "<code name> (<number>): <detail>".
  const char* what() const noexcept override { return message_.c_str(); }

  friend bool operator==(const URLError& a, const URLError& b) { return a.code_ == b.code_; }

 private:
  Code code_;
  std::string detail_;
  std::string message_;
};

// The code's name as written above, e.g. "timedOut".
const char* toString(URLError::Code code) noexcept;

// The category of URLError codes, named "NSURLErrorDomain".
const std::error_category& urlErrorCategory() noexcept;
std::error_code make_error_code(URLError::Code code) noexcept;

}  // namespace tavrel

template <>
struct std::is_error_code_enum<tavrel::URLError::Code> : std::true_type {};
