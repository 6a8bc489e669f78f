#include "tavrel/core/url.h"

#include <charconv>

#include "tavrel/core/percent_encoding.h"

namespace tavrel {
namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// Unreserved, reserved and "%": the characters a URL may hold as they are.
bool isUrlChar(char c) {
  static const AsciiSet set = charset::alphanumerics() | AsciiSet::of("-._~:/?#[]@!$&'()*+,;=%");
  return set.contains(static_cast<unsigned char>(c));
}

bool validScheme(std::string_view s) {
  if (s.empty() || !isAlpha(s.front())) return false;
  for (char c : s)
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  return true;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isUrlChar(text[i])) return std::nullopt;
    if (text[i] == '%' && (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2]))) return std::nullopt;
  }

  Url url;
  url.text_ = std::string(text);
  std::string_view rest = text;

  // The fragment, then the query, are cut off from the end first.
  if (const auto hash = rest.find('#'); hash != std::string_view::npos) {
    std::string_view fragment = rest.substr(hash + 1);
    if (fragment.find('#') != std::string_view::npos) return std::nullopt;
    url.fragment_ = std::string(fragment);
    rest = rest.substr(0, hash);
  }
  if (const auto q = rest.find('?'); q != std::string_view::npos) {
    url.query_ = std::string(rest.substr(q + 1));
    rest = rest.substr(0, q);
  }

  if (const auto colon = rest.find(':'); colon != std::string_view::npos) {
    const auto slash = rest.find('/');
    if (slash == std::string_view::npos || colon < slash) {
      if (!validScheme(rest.substr(0, colon))) return std::nullopt;
      url.scheme_ = std::string(rest.substr(0, colon));
      rest = rest.substr(colon + 1);
    }
  }

  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const auto end = rest.find('/');
    std::string_view authority = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end);
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) authority = authority.substr(at + 1);
    std::string_view host = authority;
    std::string_view port;
    if (authority.starts_with('[')) {
      const auto close = authority.find(']');
      if (close == std::string_view::npos) return std::nullopt;
      host = authority.substr(0, close + 1);
      std::string_view after = authority.substr(close + 1);
      if (!after.empty()) {
        if (after.front() != ':') return std::nullopt;
        port = after.substr(1);
      }
    } else if (const auto colon = authority.rfind(':'); colon != std::string_view::npos) {
      host = authority.substr(0, colon);
      port = authority.substr(colon + 1);
    }
    if (host.find_first_of("[]") != std::string_view::npos && !host.starts_with('[')) return std::nullopt;
    if (!port.empty()) {
      int value = 0;
      auto [p, ec] = std::from_chars(port.data(), port.data() + port.size(), value);
      if (ec != std::errc() || p != port.data() + port.size() || value > 65535 || port.front() == '+')
        return std::nullopt;
      url.port_ = value;
    }
    url.host_ = std::string(host);
  }
  if (rest.find_first_of("[]") != std::string_view::npos) return std::nullopt;
  url.path_ = std::string(rest);
  return url;
}

std::optional<std::map<std::string, std::string>> queryDictionary(const Url& url) {
  if (!url.query()) return std::nullopt;
  std::map<std::string, std::string> result;
  std::string_view query = *url.query();
  while (true) {
    const auto amp = query.find('&');
    const std::string_view pair = query.substr(0, amp);
    if (const auto eq = pair.find('='); eq != std::string_view::npos) {
      std::string_view value = pair.substr(eq + 1);
      value = value.substr(0, value.find('='));
      std::string spaced(value);
      for (char& c : spaced)
        if (c == '+') c = ' ';
      result[std::string(pair.substr(0, eq))] = removePercentEncoding(spaced).value_or("");
    }
    if (amp == std::string_view::npos) break;
    query.remove_prefix(amp + 1);
  }
  return result;
}

}  // namespace tavrel
