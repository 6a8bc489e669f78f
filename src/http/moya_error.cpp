#include "tavrel/http/moya_error.h"

#include <stdexcept>

#include "tavrel/core/exception_text.h"

namespace tavrel {

MoyaError::MoyaError(Kind kind, std::optional<HttpResponse> response, std::exception_ptr error)
    : kind_(kind), response_(std::move(response)), error_(std::move(error)) {
  describe();
}

MoyaError MoyaError::imageMapping(HttpResponse response) {
  return MoyaError(Kind::imageMapping, std::move(response));
}

MoyaError MoyaError::jsonMapping(HttpResponse response) {
  return MoyaError(Kind::jsonMapping, std::move(response));
}

MoyaError MoyaError::stringMapping(HttpResponse response) {
  return MoyaError(Kind::stringMapping, std::move(response));
}

MoyaError MoyaError::objectMapping(std::exception_ptr error, HttpResponse response) {
  return MoyaError(Kind::objectMapping, std::move(response), std::move(error));
}

MoyaError MoyaError::encodableMapping(std::exception_ptr error) {
  return MoyaError(Kind::encodableMapping, std::nullopt, std::move(error));
}

MoyaError MoyaError::statusCode(HttpResponse response) {
  return MoyaError(Kind::statusCode, std::move(response));
}

MoyaError MoyaError::underlying(URLError error, std::optional<HttpResponse> response) {
  MoyaError e(Kind::underlying, std::move(response), std::make_exception_ptr(error));
  e.urlError_ = std::move(error);
  return e;
}

MoyaError MoyaError::underlying(std::exception_ptr error, std::optional<HttpResponse> response) {
  MoyaError e(Kind::underlying, std::move(response), error);
  try {
    if (error) std::rethrow_exception(error);
  } catch (const URLError& url) {
    e.urlError_ = url;
  } catch (...) {
  }
  return e;
}

MoyaError MoyaError::requestMapping(std::string url) {
  MoyaError e(Kind::requestMapping, std::nullopt);
  e.url_ = std::move(url);
  return e;
}

MoyaError MoyaError::parameterEncoding(std::string reason) {
  return MoyaError(Kind::parameterEncoding, std::nullopt,
                   std::make_exception_ptr(std::runtime_error(std::move(reason))));
}

void MoyaError::describe() {
  switch (kind_) {
    case Kind::imageMapping: message_ = "Failed to map data to an Image."; break;
    case Kind::jsonMapping: message_ = "Failed to map data to JSON."; break;
    case Kind::stringMapping: message_ = "Failed to map data to a String."; break;
    case Kind::objectMapping: message_ = "Failed to map data to a Decodable object."; break;
    case Kind::encodableMapping: message_ = "Failed to encode Encodable object into data."; break;
    case Kind::statusCode: message_ = "Status code didn't fall within the given range."; break;
    case Kind::underlying: message_ = describeException(error_); break;
    case Kind::requestMapping: message_ = "Failed to map Endpoint to a URLRequest."; break;
    case Kind::parameterEncoding:
      message_ = "Failed to encode parameters for URLRequest. " + describeException(error_);
      break;
  }
}

}  // namespace tavrel
