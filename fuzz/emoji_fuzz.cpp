// Arbitrary bytes through both conversions, checked against the obvious
// algorithm (every position, every length, a map lookup each), and the round
// trip where it must hold: a text without colons comes back from escaping
// and unescaping with each emoji in its first form.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tavrel/emoji/conversion.h"
#include "tavrel/emoji/emoji.h"

namespace {

using tavrel::Emoji;

struct Token {
  std::string_view text;
  const Emoji* emoji;  // null for a byte that starts no catalogue text
};

const std::unordered_map<std::string_view, Emoji>& byText() {
  static const auto map = [] {
    std::unordered_map<std::string_view, Emoji> m;
    for (const Emoji& e : tavrel::allCases<Emoji>())
      for (auto t : tavrel::codepoints(e)) m.emplace(t, e);
    return m;
  }();
  return map;
}

std::vector<Token> tokens(std::string_view s) {
  std::vector<Token> out;
  for (std::size_t i = 0; i < s.size();) {
    std::size_t best = 1;
    const Emoji* found = nullptr;
    for (std::size_t len = 1; len <= 32 && i + len <= s.size(); ++len) {
      if (auto it = byText().find(s.substr(i, len)); it != byText().end()) best = len, found = &it->second;
    }
    out.push_back({s.substr(i, best), found});
    i += best;
  }
  return out;
}

std::string slowUnescape(std::string_view s) {
  static const auto byName = [] {
    std::unordered_map<std::string_view, Emoji> m;
    for (const Emoji& e : tavrel::allCases<Emoji>())
      for (auto n : tavrel::shortnames(e)) m.emplace(n, e);
    return m;
  }();
  std::string out;
  for (std::size_t i = 0; i < s.size();) {
    const auto close = s.find(':', i + 1);
    if (s[i] == ':' && close != std::string_view::npos) {
      if (auto it = byName.find(s.substr(i + 1, close - i - 1)); it != byName.end()) {
        out += tavrel::codepoints(it->second)[0];
        i = close + 1;
        continue;
      }
    }
    out += s[i++];
  }
  return out;
}

void require(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string escaped, normalized;
  for (const auto& t : tokens(text)) {
    escaped += t.emoji ? ':' + std::string(tavrel::shortnames(*t.emoji)[0]) + ':' : std::string(t.text);
    normalized += t.emoji ? tavrel::codepoints(*t.emoji)[0] : t.text;
  }
  const std::string fastEscaped = tavrel::emojiEscapedString(text);
  require(fastEscaped == escaped);
  require(tavrel::emojiUnescapedString(text) == slowUnescape(text));
  if (text.find(':') == std::string_view::npos) {
    require(tavrel::emojiUnescapedString(fastEscaped) == normalized);
  }
  return 0;
}
