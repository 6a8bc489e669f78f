// The text form of translation tables:
//
//   /* comment */  // comment
//   "key" = "value";
//   unquotedKey = "value";
//   "key";                 (the key is its own value)

#include <string>

#include "core/bundle_files.h"
#include "core/text_unicode.h"

namespace tavrel::detail {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool unquotedChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_$+/:.-").find(c) != std::string_view::npos;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : s_(text) {}

  std::optional<StringsTable> parse() {
    StringsTable table;
    while (skipSpaceAndComments()) {
      if (pos_ >= s_.size()) return table;
      auto key = token();
      if (!key || !skipSpaceAndComments()) return std::nullopt;
      std::string value = *key;
      if (peek() == '=') {
        ++pos_;
        if (!skipSpaceAndComments()) return std::nullopt;
        auto v = token();
        if (!v || !skipSpaceAndComments()) return std::nullopt;
        value = std::move(*v);
      }
      if (peek() != ';') return std::nullopt;
      ++pos_;
      table[std::move(*key)] = std::move(value);
    }
    return std::nullopt;
  }

 private:
  char peek() const { return pos_ < s_.size() ? s_[pos_] : '\0'; }

  // Skips blanks and comments; false on a comment that never ends.
  bool skipSpaceAndComments() {
    while (pos_ < s_.size()) {
      const char c = s_[pos_];
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
        ++pos_;
      } else if (s_.substr(pos_).starts_with("/*")) {
        const auto end = s_.find("*/", pos_ + 2);
        if (end == std::string_view::npos) return false;
        pos_ = end + 2;
      } else if (s_.substr(pos_).starts_with("//")) {
        const auto end = s_.find('\n', pos_);
        pos_ = end == std::string_view::npos ? s_.size() : end + 1;
      } else {
        break;
      }
    }
    return true;
  }

  std::optional<std::string> token() {
    if (peek() == '"') return quoted();
    const std::size_t start = pos_;
    while (pos_ < s_.size() && unquotedChar(s_[pos_])) ++pos_;
    if (pos_ == start) return std::nullopt;
    return std::string(s_.substr(start, pos_ - start));
  }

  std::optional<std::string> quoted() {
    ++pos_;  // the opening quote
    std::string out;
    while (pos_ < s_.size()) {
      const char c = s_[pos_++];
      if (c == '"') return out;
      if (c != '\\') {
        out.push_back(c);
        continue;
      }
      if (pos_ >= s_.size()) return std::nullopt;
      const char e = s_[pos_++];
      switch (e) {
        case 'n': out.push_back('\n'); break;
        case 't': out.push_back('\t'); break;
        case 'r': out.push_back('\r'); break;
        case 'a': out.push_back('\a'); break;
        case 'b': out.push_back('\b'); break;
        case 'f': out.push_back('\f'); break;
        case 'v': out.push_back('\v'); break;
        case 'U':
        case 'u': {
          auto unit = hex4();
          if (!unit) return std::nullopt;
          char32_t cp = *unit;
          if (cp >= 0xD800 && cp <= 0xDBFF) {
            // A high surrogate needs its low half as the next escape.
            if (!s_.substr(pos_).starts_with("\\U") && !s_.substr(pos_).starts_with("\\u")) return std::nullopt;
            pos_ += 2;
            auto low = hex4();
            if (!low || *low < 0xDC00 || *low > 0xDFFF) return std::nullopt;
            cp = 0x10000 + ((cp - 0xD800) << 10) + (*low - 0xDC00);
          } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return std::nullopt;
          }
          appendUtf8(out, cp);
          break;
        }
        default:
          if (e >= '0' && e <= '7') {
            unsigned value = static_cast<unsigned>(e - '0');
            for (int i = 0; i < 2 && pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '7'; ++i)
              value = value * 8 + static_cast<unsigned>(s_[pos_++] - '0');
            appendUtf8(out, static_cast<char32_t>(value));
          } else {
            out.push_back(e);  // \" \\ \' and any other character stand for themselves
          }
      }
    }
    return std::nullopt;  // no closing quote
  }

  std::optional<char32_t> hex4() {
    if (pos_ + 4 > s_.size()) return std::nullopt;
    char32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const int d = hexDigit(s_[pos_ + static_cast<std::size_t>(i)]);
      if (d < 0) return std::nullopt;
      value = value * 16 + static_cast<char32_t>(d);
    }
    pos_ += 4;
    return value;
  }

  std::string_view s_;
  std::size_t pos_ = 0;
};

}  // namespace

std::optional<StringsTable> parseStringsTable(std::string_view data) {
  if (auto plist = readPlistDictionary(data)) {
    StringsTable table;
    for (auto& [key, value] : *plist)
      if (value) table[key] = *value;
    return table;
  }
  std::string text;
  if (data.starts_with("\xFF\xFE") || data.starts_with("\xFE\xFF")) {
    auto decoded = utf16ToUtf8(data.substr(2), data.starts_with("\xFE\xFF"));
    if (!decoded) return std::nullopt;
    text = std::move(*decoded);
  } else {
    if (data.starts_with("\xEF\xBB\xBF")) data.remove_prefix(3);
    if (!isValidUtf8(data)) return std::nullopt;
    text = std::string(data);
  }
  return Parser(text).parse();
}

}  // namespace tavrel::detail
