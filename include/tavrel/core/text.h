#pragma once
// Helpers on text. Text is UTF-8; none of these throws.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel {

// Percent-encodes exactly the characters ":#[]@ !$&'()*+,;=" and everything
// outside ASCII; all other ASCII characters, "%" and "/" too, pass unchanged.
std::string URLEncode(std::string_view text);

// The text cut into consecutive pieces of `size` user-perceived characters
// (grapheme clusters), the last possibly shorter. An empty text, or a size
// that is not positive, gives no pieces.
std::vector<std::string> group(std::string_view text, int size);

// True when the whole text is one link. What counts as a link:
//  - a scheme ("http", "mailto", any letter followed by letters, digits,
//    "+", "-" or ".") then "://" and a non-empty host, or "mailto:" and an
//    e-mail address;
//  - "www." then a host;
//  - a bare host name of at least two labels whose last label (the
//    top-level domain) is 2 to 63 letters, like "example.com";
//  - an e-mail address local@host with such a host, taken as "mailto:".
// Labels are letters (also non-ASCII), digits and "-", not at either end.
// Scheme links may also have an IP address or "localhost" as host. After the
// host may come ":port" and a path, query or fragment of non-space URL
// characters. A final ".", ",", ";", ":", "!", "?", quote, or an unbalanced
// ")" or "]" ends a link without belonging to it, as in running text, so a
// text ending in one is not one link. Whitespace and control characters
// never belong to a link. The link's length, in UTF-16 units, must equal the
// text's; an empty text is false.
bool isValidUrl(std::string_view text);

// The plain text of an HTML document or fragment: entities resolved, markup
// gone, whitespace collapsed as a browser would; "<br>" and the ends of block
// elements ("p", "div", "li", headings, table rows...) give line breaks;
// scripts, styles and the head are left out. Nothing when the text is not
// valid UTF-8 or cannot be parsed. Writes nothing to standard error.
std::optional<std::string> stringFromHtml(std::string_view htmlEncodedString);

// The platform's strict parse of an optional text: an absent text counts as
// "". The whole text must be a decimal integer with an optional sign, in
// range of 64 bits; nothing otherwise (also for "", spaces, "1.0").
std::optional<std::int64_t> parseInt(const std::optional<std::string>& text);

// Likewise for a double: an optional sign, then digits with an optional
// fraction and exponent, or "inf", "infinity", "nan" in any case. Nothing for
// anything else, and for a finite number out of range.
std::optional<double> parseDouble(const std::optional<std::string>& text);

}  // namespace tavrel
