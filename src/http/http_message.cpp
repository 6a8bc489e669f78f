#include "tavrel/http/http_message.h"

#include <algorithm>
#include <cctype>

namespace tavrel {
namespace {

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::string_view toString(Method method) noexcept {
  switch (method) {
    case Method::get: return "GET";
    case Method::post: return "POST";
    case Method::put: return "PUT";
    case Method::patch: return "PATCH";
    case Method::delete_: return "DELETE";
    case Method::head: return "HEAD";
    case Method::options: return "OPTIONS";
  }
  return "GET";
}

std::optional<std::string> headerValue(const HeaderFields& headers, std::string_view name) {
  for (const auto& [key, value] : headers) {
    if (sameName(key, name)) return value;
  }
  return std::nullopt;
}

void setHeader(HeaderFields& headers, std::string_view name, std::string value) {
  auto first = std::find_if(headers.begin(), headers.end(),
                            [&](const auto& h) { return sameName(h.first, name); });
  if (first == headers.end()) {
    headers.emplace_back(std::string(name), std::move(value));
    return;
  }
  first->second = std::move(value);
  headers.erase(std::remove_if(std::next(first), headers.end(),
                               [&](const auto& h) { return sameName(h.first, name); }),
                headers.end());
}

}  // namespace tavrel
