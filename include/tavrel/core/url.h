#pragma once
// A parsed URL or relative reference, and what can be read from its query.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel {

// A URL as written: "scheme://user@host:port/path?query#fragment", any part
// of which may be missing, as in a relative reference ("a/b.txt", "?x=1").
// Components are kept percent-encoded, as in the text.
class Url {
 public:
  // Nothing for an empty text, a malformed scheme or port, a "%" not followed
  // by two hex digits, or a character that a URL may not hold as it is
  // (spaces, controls, non-ASCII, "<>\"{}|\\^`", a second "#", brackets
  // outside the host).
  static std::optional<Url> parse(std::string_view text);

  const std::string& absoluteString() const noexcept { return text_; }  // the whole text
  const std::optional<std::string>& scheme() const noexcept { return scheme_; }  // without ":"
  const std::optional<std::string>& host() const noexcept { return host_; }  // present with "//"
  std::optional<int> port() const noexcept { return port_; }
  const std::string& path() const noexcept { return path_; }  // possibly empty
  const std::optional<std::string>& query() const noexcept { return query_; }  // without "?"
  const std::optional<std::string>& fragment() const noexcept { return fragment_; }  // without "#"

  friend bool operator==(const Url& a, const Url& b) { return a.text_ == b.text_; }

 private:
  Url() = default;

  std::string text_;
  std::optional<std::string> scheme_;
  std::optional<std::string> host_;
  std::optional<int> port_;
  std::string path_;
  std::optional<std::string> query_;
  std::optional<std::string> fragment_;
};

// The query's pairs "key=value", split at "&": keys as written, values with
// "+" as a space and percent-encoding removed ("" if that fails); a value
// holding "=" is cut there; a later key wins; a pair without "=" is skipped.
// Nothing when the URL has no query.
std::optional<std::map<std::string, std::string>> queryDictionary(const Url& url);

}  // namespace tavrel
