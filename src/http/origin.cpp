#include "http/origin.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace tavrel::detail {
namespace {

std::optional<std::string> part(CURLU* url, CURLUPart which, unsigned flags) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, flags) != CURLUE_OK) return std::nullopt;
  std::string out(text);
  curl_free(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

}  // namespace

std::optional<std::string> originOf(std::string_view text) {
  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
  if (!url || curl_url_set(url.get(), CURLUPART_URL, std::string(text).c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  auto scheme = part(url.get(), CURLUPART_SCHEME, 0);
  auto host = part(url.get(), CURLUPART_HOST, 0);
  auto port = part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  if (!scheme || !host || !port) return std::nullopt;
  return *scheme + "://" + *host + ":" + *port;
}

bool sameOrigin(std::string_view a, std::string_view b) {
  auto first = originOf(a);
  return first && first == originOf(b);
}

}  // namespace tavrel::detail
