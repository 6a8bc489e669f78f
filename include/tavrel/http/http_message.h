#pragma once
// HttpRequest and HttpResponse: what the transport sends and what it gives
// back. Bodies are raw bytes held in std::string.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tavrel/http/method.h"

namespace tavrel {

// Header fields in order; names compare case-insensitively.
using HeaderFields = std::vector<std::pair<std::string, std::string>>;

// The first value of the header of that name, if any.
std::optional<std::string> headerValue(const HeaderFields& headers, std::string_view name);
// Replaces every header of that name by one with this value, or appends it.
void setHeader(HeaderFields& headers, std::string_view name, std::string value);

struct HttpRequest {
  Method method = Method::get;
  std::string url;
  HeaderFields headers;
  std::string body;
  // The whole transfer, from start to last byte; zero uses the transport's.
  std::chrono::milliseconds timeout{0};

  std::optional<std::string> header(std::string_view name) const {
    return headerValue(headers, name);
  }
};

struct HttpResponse {
  int statusCode = 0;
  HeaderFields headers;  // of the final answer, after redirects
  std::string data;      // the body, decoded if the server compressed it
  std::string url;       // the final URL, after redirects

  std::optional<std::string> header(std::string_view name) const {
    return headerValue(headers, name);
  }
};

}  // namespace tavrel
