#pragma once
// A file address split into its folder and file name, with the file name
// percent-encoded, ready for a download.

#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/url.h"

namespace tavrel {

class EncodingURL {
 public:
  // Splits at the last "/": "x/a/b c" gives "b c" and "x/a/"; a text ending in
  // "/" has an empty file name and keeps the whole text as its path.
  explicit EncodingURL(std::string_view text);

  const std::optional<std::string>& filename() const noexcept { return filename_; }  // as given
  const std::optional<std::string>& urlPath() const noexcept { return urlPath_; }  // text without the file name
  // The file name encoded with the URL-host-allowed set.
  const std::optional<std::string>& escapedFileName() const noexcept { return escapedFileName_; }

  // urlPath + escapedFileName, parsed; nothing if that does not parse.
  std::optional<Url> url() const;
  // The file name as given.
  const std::optional<std::string>& originalFilename() const noexcept { return filename_; }

 private:
  std::optional<std::string> filename_;
  std::optional<std::string> urlPath_;
  std::optional<std::string> escapedFileName_;
};

}  // namespace tavrel
