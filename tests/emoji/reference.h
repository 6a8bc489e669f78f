#pragma once
// Both conversions written the slow, obvious way, for the tests and the fuzz
// target to check the real ones against: at every position, every length,
// one map lookup each.

#include <string>
#include <string_view>
#include <unordered_map>

#include "emoji/tables.h"
#include "tavrel/emoji/emoji.h"

namespace tavrel::emoji_reference {

// Each longest catalogue text replaced by write(its emoji), other bytes kept.
template <class Write>
std::string replaceTexts(std::string_view text, Write write) {
  static const auto byText = [] {
    std::unordered_map<std::string_view, Emoji> map;
    for (auto e : allCases<Emoji>())
      for (auto t : codepoints(e)) map.emplace(t, e);
    return map;
  }();
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t best = 0;
    Emoji found{};
    for (std::size_t n = 1; n <= emoji_data::kMaxCodepointLength && i + n <= text.size(); ++n) {
      auto it = byText.find(text.substr(i, n));
      if (it != byText.end()) best = n, found = it->second;
    }
    out += best ? write(found) : std::string(1, text[i]);
    i += best ? best : 1;
  }
  return out;
}

inline std::string escape(std::string_view text) {
  return replaceTexts(text, [](Emoji e) { return ':' + std::string(shortnames(e)[0]) + ':'; });
}

inline std::string unescape(std::string_view text) {
  static const auto byName = [] {
    std::unordered_map<std::string_view, Emoji> map;
    for (auto e : allCases<Emoji>())
      for (auto n : shortnames(e)) map.emplace(n, e);
    return map;
  }();
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    const auto close = text.find(':', i + 1);
    auto it = text[i] == ':' && close != std::string_view::npos
                  ? byName.find(text.substr(i + 1, close - i - 1))
                  : byName.end();
    out += it == byName.end() ? std::string(1, text[i]) : std::string(codepoints(it->second)[0]);
    i = it == byName.end() ? i + 1 : close + 1;
  }
  return out;
}

}  // namespace tavrel::emoji_reference
