#include "tavrel/http/moya_error.h"

#include <stdexcept>

namespace tavrel {
namespace {

std::string describeException(const std::exception_ptr& error) {
  if (!error) return "unknown error";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace

MoyaError MoyaError::imageMapping(HttpResponse response) {
  MoyaError e(Kind::imageMapping);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::jsonMapping(HttpResponse response) {
  MoyaError e(Kind::jsonMapping);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::stringMapping(HttpResponse response) {
  MoyaError e(Kind::stringMapping);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::objectMapping(std::exception_ptr error, HttpResponse response) {
  MoyaError e(Kind::objectMapping);
  e.error_ = std::move(error);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::encodableMapping(std::exception_ptr error) {
  MoyaError e(Kind::encodableMapping);
  e.error_ = std::move(error);
  e.describe();
  return e;
}

MoyaError MoyaError::statusCode(HttpResponse response) {
  MoyaError e(Kind::statusCode);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::underlying(URLError error, std::optional<HttpResponse> response) {
  MoyaError e(Kind::underlying);
  e.error_ = std::make_exception_ptr(error);
  e.urlError_ = std::move(error);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::underlying(std::exception_ptr error, std::optional<HttpResponse> response) {
  MoyaError e(Kind::underlying);
  try {
    if (error) std::rethrow_exception(error);
  } catch (const URLError& url) {
    e.urlError_ = url;
  } catch (...) {
  }
  e.error_ = std::move(error);
  e.response_ = std::move(response);
  e.describe();
  return e;
}

MoyaError MoyaError::requestMapping(std::string url) {
  MoyaError e(Kind::requestMapping);
  e.url_ = std::move(url);
  e.describe();
  return e;
}

MoyaError MoyaError::parameterEncoding(std::string reason) {
  MoyaError e(Kind::parameterEncoding);
  e.error_ = std::make_exception_ptr(std::runtime_error(std::move(reason)));
  e.describe();
  return e;
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
