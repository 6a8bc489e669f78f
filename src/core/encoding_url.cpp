#include "tavrel/core/encoding_url.h"

#include "tavrel/core/percent_encoding.h"

namespace tavrel {

EncodingURL::EncodingURL(std::string_view text) {
  const auto slash = text.rfind('/');
  const std::string_view name = slash == std::string_view::npos ? text : text.substr(slash + 1);
  filename_ = std::string(name);
  urlPath_ = std::string(text.substr(0, text.size() - name.size()));
  escapedFileName_ = percentEncode(name, charset::urlHostAllowed());
}

std::optional<Url> EncodingURL::url() const {
  if (!urlPath_ || !escapedFileName_) return std::nullopt;
  return Url::parse(*urlPath_ + *escapedFileName_);
}

}  // namespace tavrel
