// The link detector behind isValidUrl; its rules are listed with the
// function's declaration.

#include <utf8proc.h>

#include <algorithm>
#include <cctype>

#include "core/text_unicode.h"
#include "tavrel/core/text.h"

namespace tavrel {
namespace {

bool asciiAlpha(unsigned char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }
bool asciiDigit(unsigned char c) { return c >= '0' && c <= '9'; }
// Letters, digits, "-" and every byte of a non-ASCII character.
bool labelByte(unsigned char c) { return asciiAlpha(c) || asciiDigit(c) || c == '-' || c >= 0x80; }

bool startsWithNoCase(std::string_view s, std::string_view prefix) {
  if (s.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(s[i])) != prefix[i]) return false;
  return true;
}

// Length of the longest run of host characters ("." and label bytes) at the
// start of `s` that forms a valid host, without a final ".". With `needTld`
// the host needs two labels and an all-letter last label of 2 to 63 bytes.
std::size_t matchHost(std::string_view s, bool needTld) {
  std::size_t end = 0;
  while (end < s.size() && (labelByte(static_cast<unsigned char>(s[end])) || s[end] == '.')) ++end;
  std::string_view host = s.substr(0, end);
  while (!host.empty() && host.back() == '.') host.remove_suffix(1);
  if (host.empty()) return 0;
  std::size_t labels = 0;
  std::string_view last;
  for (std::size_t start = 0;;) {
    const auto dot = host.find('.', start);
    const std::string_view label = host.substr(start, dot == std::string_view::npos ? host.npos : dot - start);
    if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-') return 0;
    ++labels;
    last = label;
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  if (needTld) {
    if (labels < 2 || last.size() < 2) return 0;
    for (unsigned char c : last)
      if (!asciiAlpha(c) && c < 0x80) return 0;
  }
  return host.size();
}

// ":digits" at the start of `s`, or 0.
std::size_t matchPort(std::string_view s) {
  if (s.empty() || s.front() != ':') return 0;
  std::size_t n = 1;
  while (n < s.size() && n <= 5 && asciiDigit(static_cast<unsigned char>(s[n]))) ++n;
  return n > 1 ? n : 0;
}

// An e-mail address local@host at the start of `s`, or 0.
std::size_t matchEmail(std::string_view s) {
  static constexpr std::string_view kLocalPunct = ".!#$%&'*+/=?^_`{|}~-";
  std::size_t n = 0;
  while (n < s.size() && (asciiAlpha(static_cast<unsigned char>(s[n])) ||
                          asciiDigit(static_cast<unsigned char>(s[n])) ||
                          static_cast<unsigned char>(s[n]) >= 0x80 || kLocalPunct.find(s[n]) != s.npos))
    ++n;
  if (n == 0 || n >= s.size() || s[n] != '@' || s[0] == '.' || s[n - 1] == '.') return 0;
  const std::size_t host = matchHost(s.substr(n + 1), true);
  return host ? n + 1 + host : 0;
}

// True for a code point that never belongs to a link: controls, spaces and
// the characters that delimit links in running text.
bool stopsLink(utf8proc_int32_t cp) {
  if (cp < 0x21 || cp == 0x7F || cp == '<' || cp == '>' || cp == '"') return true;
  const auto category = utf8proc_category(cp);
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP || category == UTF8PROC_CATEGORY_CC;
}

// A path, query or fragment at the start of `s`, without the punctuation that
// ends a link in running text.
std::size_t matchTail(std::string_view s) {
  if (s.empty() || (s.front() != '/' && s.front() != '?' && s.front() != '#')) return 0;
  auto p = reinterpret_cast<const utf8proc_uint8_t*>(s.data());
  utf8proc_ssize_t pos = 0;
  const auto n = static_cast<utf8proc_ssize_t>(s.size());
  while (pos < n) {
    utf8proc_int32_t cp = 0;
    const auto used = utf8proc_iterate(p + pos, n - pos, &cp);
    if (used <= 0 || stopsLink(cp)) break;
    pos += used;
  }
  std::string_view tail = s.substr(0, static_cast<std::size_t>(pos));
  while (!tail.empty()) {
    const char c = tail.back();
    const auto unbalanced = [&](char open, char close) {
      return std::count(tail.begin(), tail.end(), close) > std::count(tail.begin(), tail.end(), open);
    };
    if (std::string_view(".,;:!?'").find(c) != std::string_view::npos || (c == ')' && unbalanced('(', ')')) ||
        (c == ']' && unbalanced('[', ']')))
      tail.remove_suffix(1);
    else
      break;
  }
  return tail.size();
}

// Host, port and tail after a scheme's "//": userinfo, a host name, an IPv4
// address or a bracketed IPv6 address.
std::size_t matchAuthorityAndTail(std::string_view s) {
  std::size_t n = 0;
  // Userinfo: anything up to an "@" that comes before the path.
  const auto at = s.find('@');
  const auto stop = s.find_first_of("/?# \t\r\n");
  if (at != s.npos && at < stop && at > 0) n = at + 1;
  std::size_t host = 0;
  if (n < s.size() && s[n] == '[') {
    std::size_t close = n + 1;
    while (close < s.size() && (std::isxdigit(static_cast<unsigned char>(s[close])) || s[close] == ':' ||
                                s[close] == '.'))
      ++close;
    if (close >= s.size() || s[close] != ']' || close == n + 1) return 0;
    host = close + 1 - n;
  } else {
    host = matchHost(s.substr(n), false);
  }
  if (host == 0) return 0;
  n += host;
  n += matchPort(s.substr(n));
  return n + matchTail(s.substr(n));
}

// The length of the link that starts `s`, or 0.
std::size_t matchLink(std::string_view s) {
  if (startsWithNoCase(s, "mailto:")) {
    const std::size_t email = matchEmail(s.substr(7));
    return email ? 7 + email : 0;
  }
  std::size_t scheme = 0;
  if (!s.empty() && asciiAlpha(static_cast<unsigned char>(s[0]))) {
    scheme = 1;
    while (scheme < s.size() && (asciiAlpha(static_cast<unsigned char>(s[scheme])) ||
                                 asciiDigit(static_cast<unsigned char>(s[scheme])) || s[scheme] == '+' ||
                                 s[scheme] == '-' || s[scheme] == '.'))
      ++scheme;
    if (s.substr(scheme).starts_with("://")) {
      const std::size_t rest = matchAuthorityAndTail(s.substr(scheme + 3));
      return rest ? scheme + 3 + rest : 0;
    }
  }
  if (const std::size_t email = matchEmail(s)) return email;
  const std::size_t prefix = startsWithNoCase(s, "www.") ? 4 : 0;
  const std::size_t host = matchHost(s.substr(prefix), true);
  if (host == 0) return 0;
  std::size_t n = prefix + host;
  n += matchPort(s.substr(n));
  return n + matchTail(s.substr(n));
}

}  // namespace

bool isValidUrl(std::string_view text) {
  if (text.empty() || !detail::isValidUtf8(text)) return false;
  const std::size_t link = matchLink(text);
  return link > 0 && detail::utf16Length(text.substr(0, link)) == detail::utf16Length(text);
}

}  // namespace tavrel
