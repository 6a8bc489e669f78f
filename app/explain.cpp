#include "explain.h"

#include <cctype>
#include <cmath>
#include <cstdio>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/ui_error.h"
#include "tavrel/http/moya_error.h"
#include "tavrel/model/response.h"

namespace tavrel::cli {
namespace {

constexpr std::string_view kLogPrefix = "Moya_Logger: [";

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return false;
  }
  return true;
}

std::string statusText(const std::optional<SeenAnswer>& answer) {
  return answer ? "status " + std::to_string(answer->status) : "no status seen";
}

// "error \"forbidden\", message \"...\"" of a refusal's meta; "" without one.
std::string refusalDetail(const SeenAnswer& answer) {
  auto envelope = decodeJson<Response<JsonValue>>(answer.body);
  if (!envelope) return "";
  std::string detail;
  if (envelope->meta.error) detail += "error \"" + *envelope->meta.error + "\"";
  if (envelope->meta.errorMessage) {
    detail +=
        (detail.empty() ? "message \"" : ", message \"") + *envelope->meta.errorMessage + "\"";
  }
  return detail;
}

std::string explainUrlError(const URLError& error, const Server& server,
                            std::chrono::milliseconds timeout) {
  using Code = URLError::Code;
  switch (error.code()) {
    case Code::cannotConnectToHost:
      return "connection refused by " + server.hostPort();
    case Code::timedOut:
      return "timed out after " + seconds(timeout) + " waiting for " + server.hostPort();
    case Code::cannotFindHost:
      return "the host name " + server.host + " did not resolve";
    case Code::notConnectedToInternet:
      return "this machine has no route to " + server.hostPort();
    case Code::networkConnectionLost:
      return "the connection to " + server.hostPort() + " broke before the whole answer arrived";
    case Code::dataLengthExceedsMaximum:
      return "the answer is larger than this client accepts";
    case Code::badServerResponse:
      return server.hostPort() + " answered something that is not HTTP";
    case Code::secureConnectionFailed:
      return "the TLS handshake with " + server.hostPort() + " failed";
    case Code::serverCertificateUntrusted:
      return "the certificate of " + server.host + " did not verify";
    case Code::httpTooManyRedirects:
      return "the server redirected too many times";
    case Code::badURL:
    case Code::unsupportedURL:
      return "the apiUrl is no http or https address";
    case Code::cancelled:
      return "the request was cancelled";
    case Code::unknown:
      break;
  }
  return "the request failed: " + error.detail();
}

}  // namespace

void AnswerWatch::onLogLine(std::string_view line) {
  if (!line.starts_with(kLogPrefix)) return;
  const auto close = line.find("] ");
  if (close == std::string_view::npos) return;
  std::string_view item = line.substr(close + 2);
  std::lock_guard lock(mutex_);
  if (item.starts_with("Request: ")) {
    answer_.reset();
  } else if (item.starts_with("Response: ")) {
    item.remove_prefix(10);
    int status = 0;
    std::size_t digits = 0;
    for (; digits < item.size() && std::isdigit(static_cast<unsigned char>(item[digits])); ++digits)
      status = status * 10 + (item[digits] - '0');
    if (digits == 0 || digits > 3) return;  // "Received error: ..."
    answer_ = SeenAnswer{status, ""};
  } else if (item.starts_with("Response Body: ") && answer_) {
    answer_->body = item.substr(15);
  }
}

std::optional<SeenAnswer> AnswerWatch::last() const {
  std::lock_guard lock(mutex_);
  return answer_;
}

std::string bodyKind(std::string_view body) {
  const auto first = body.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return "empty body";
  body.remove_prefix(first);
  if (startsWithNoCase(body, "<!doctype html") || startsWithNoCase(body, "<html"))
    return "HTML page";
  if (decodeJson<JsonValue>(body)) return "JSON";
  return "plain text";
}

std::string seconds(std::chrono::milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", static_cast<double>(time.count()) / 1000.0);
  return text;
}

std::string explainFailure(std::exception_ptr error, const std::optional<SeenAnswer>& answer,
                           const Server& server, std::chrono::milliseconds timeout) {
  try {
    std::rethrow_exception(error);
  } catch (const MoyaError& e) {
    if (e.urlError()) return explainUrlError(*e.urlError(), server, timeout);
    return std::string("the request could not be made: ") + e.what();
  } catch (const URLError& e) {
    return explainUrlError(e, server, timeout);
  } catch (const DecodingError& e) {
    // An error status whose body is no envelope of the service.
    const std::string kind = answer ? bodyKind(answer->body) : "";
    if (kind != "JSON" && answer) {
      return "the answer is not JSON (" + kind + ", " + statusText(answer) + ")";
    }
    return "the answer (" + statusText(answer) + ") is no envelope of the service: " + e.what();
  } catch (const UIRepresentableError& e) {
    return e.what();
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "an unknown failure";
  }
}

std::string explainRefusal(const std::optional<SeenAnswer>& answer, std::string_view expected,
                           std::string_view decodeCause) {
  if (!answer) return "the service refused the request";
  if (answer->status >= 400) {
    const std::string detail = refusalDetail(*answer);
    return "the service refused the request with status " + std::to_string(answer->status) +
           (detail.empty() ? "" : " (" + detail + ")");
  }
  const std::string kind = bodyKind(answer->body);
  if (kind != "JSON") {
    return "the answer is not JSON (" + kind + ", " + statusText(answer) + ")";
  }
  std::string text = "the answer (" + statusText(answer) + ") is not the " + std::string(expected) +
                     " this command expects";
  if (!decodeCause.empty()) text += ": " + std::string(decodeCause);
  return text;
}

}  // namespace tavrel::cli
