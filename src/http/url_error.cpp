#include "tavrel/http/url_error.h"

#include <cerrno>

#include "http/curl_error_mapping.h"

namespace tavrel {
namespace {

class URLErrorCategory final : public std::error_category {
 public:
  const char* name() const noexcept override { return "NSURLErrorDomain"; }
  std::string message(int value) const override {
    return toString(static_cast<URLError::Code>(value));
  }
};

}  // namespace

URLError::URLError(Code code, std::string detail)
    : code_(code), detail_(std::move(detail)) {
  message_ = std::string(toString(code_)) + " (" + std::to_string(rawValue()) + ")";
  if (!detail_.empty()) message_ += ": " + detail_;
}

std::error_code URLError::errorCode() const noexcept { return make_error_code(code_); }

const char* toString(URLError::Code code) noexcept {
  using C = URLError::Code;
  switch (code) {
    case C::unknown: return "unknown";
    case C::cancelled: return "cancelled";
    case C::badURL: return "badURL";
    case C::timedOut: return "timedOut";
    case C::unsupportedURL: return "unsupportedURL";
    case C::cannotFindHost: return "cannotFindHost";
    case C::cannotConnectToHost: return "cannotConnectToHost";
    case C::networkConnectionLost: return "networkConnectionLost";
    case C::httpTooManyRedirects: return "httpTooManyRedirects";
    case C::notConnectedToInternet: return "notConnectedToInternet";
    case C::badServerResponse: return "badServerResponse";
    case C::dataLengthExceedsMaximum: return "dataLengthExceedsMaximum";
    case C::secureConnectionFailed: return "secureConnectionFailed";
    case C::serverCertificateUntrusted: return "serverCertificateUntrusted";
  }
  return "unknown";
}

const std::error_category& urlErrorCategory() noexcept {
  static const URLErrorCategory category;
  return category;
}

std::error_code make_error_code(URLError::Code code) noexcept {
  return {static_cast<int>(code), urlErrorCategory()};
}

namespace detail {

URLError::Code urlErrorCode(CURLcode code, long osErrno, bool tooLarge) noexcept {
  using C = URLError::Code;
  if (tooLarge) return C::dataLengthExceedsMaximum;
  switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL: return C::unsupportedURL;
    case CURLE_URL_MALFORMAT: return C::badURL;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST: return C::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return osErrno == ENETUNREACH || osErrno == ENETDOWN ? C::notConnectedToInternet
                                                           : C::cannotConnectToHost;
    case CURLE_INTERFACE_FAILED: return C::notConnectedToInternet;
    case CURLE_OPERATION_TIMEDOUT: return C::timedOut;
    case CURLE_ABORTED_BY_CALLBACK: return C::cancelled;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR: return C::networkConnectionLost;
    case CURLE_TOO_MANY_REDIRECTS: return C::httpTooManyRedirects;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_HTTP3: return C::badServerResponse;
    case CURLE_FILESIZE_EXCEEDED: return C::dataLengthExceedsMaximum;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CLIENTCERT: return C::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS: return C::serverCertificateUntrusted;
    default: return C::unknown;
  }
}

}  // namespace detail
}  // namespace tavrel
