#pragma once
// MoyaError: why a provider's request failed.

#include <exception>
#include <optional>
#include <string>

#include "tavrel/http/http_message.h"
#include "tavrel/http/url_error.h"

namespace tavrel {

class MoyaError : public std::exception {
 public:
  enum class Kind {
    imageMapping,       // the body is no image; carries the response
    jsonMapping,        // the body is no JSON; carries the response
    stringMapping,      // the body is no text; carries the response
    objectMapping,      // the body did not decode; error and response
    encodableMapping,   // a value did not encode; error
    statusCode,         // validation refused the status; response
    underlying,         // the transport failed (a URLError) or another error
    requestMapping,     // the endpoint's URL text is no URL; the text
    parameterEncoding,  // the task's parameters could not be encoded; error
  };

  static MoyaError imageMapping(HttpResponse response);
  static MoyaError jsonMapping(HttpResponse response);
  static MoyaError stringMapping(HttpResponse response);
  static MoyaError objectMapping(std::exception_ptr error, HttpResponse response);
  static MoyaError encodableMapping(std::exception_ptr error);
  static MoyaError statusCode(HttpResponse response);
  static MoyaError underlying(URLError error, std::optional<HttpResponse> response = {});
  static MoyaError underlying(std::exception_ptr error, std::optional<HttpResponse> response = {});
  static MoyaError requestMapping(std::string url);
  static MoyaError parameterEncoding(std::string reason);

  Kind kind() const noexcept { return kind_; }
  // The answer, for the cases that carry one.
  const std::optional<HttpResponse>& response() const noexcept { return response_; }
  // The error inside objectMapping, encodableMapping, underlying and
  // parameterEncoding; null otherwise.
  std::exception_ptr error() const noexcept { return error_; }
  // The URLError inside underlying, if that is what it holds.
  const std::optional<URLError>& urlError() const noexcept { return urlError_; }
  // The URL text of requestMapping.
  const std::string& url() const noexcept { return url_; }

  // A sentence on what failed; for underlying, the inner error's text.
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  // Every factory ends here: stores the payloads and writes the message.
  MoyaError(Kind kind, std::optional<HttpResponse> response, std::exception_ptr error = nullptr);
  void describe();

  Kind kind_;
  std::optional<HttpResponse> response_;
  std::exception_ptr error_;
  std::optional<URLError> urlError_;
  std::string url_;
  std::string message_;
};

}  // namespace tavrel
