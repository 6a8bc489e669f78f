#include "tavrel/emoji/conversion.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "emoji/scan.h"
#include "emoji/tables.h"
#include "tavrel/emoji/emoji.h"

namespace tavrel {
namespace {

const std::string kThumbsup = "\xF0\x9F\x91\x8D";      // U+1F44D
const std::string kTone3 = "\xF0\x9F\x8F\xBD";         // U+1F3FD
const std::string kFe0f = "\xEF\xB8\x8F";             // U+FE0F
const std::string kKeycap = "\xE2\x83\xA3";           // U+20E3
const std::string kZwj = "\xE2\x80\x8D";              // U+200D
const std::string kCopyright = "\xC2\xA9";            // U+00A9
const std::string kSmile = "\xF0\x9F\x98\x84";         // U+1F604
const std::string kWoman = "\xF0\x9F\x91\xA9";         // U+1F469

// The conversions written the slow, obvious way: every position, every
// length, a map lookup each.
std::string slowEscape(std::string_view text) {
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
    for (std::size_t len = 1; len <= emoji_data::kMaxCodepointLength && i + len <= text.size(); ++len) {
      if (auto it = byText.find(text.substr(i, len)); it != byText.end()) best = len, found = it->second;
    }
    if (best == 0) {
      out += text[i++];
    } else {
      out += ':' + std::string(shortnames(found)[0]) + ':';
      i += best;
    }
  }
  return out;
}

std::string slowUnescape(std::string_view text) {
  static const auto byName = [] {
    std::unordered_map<std::string, Emoji> map;
    for (auto e : allCases<Emoji>())
      for (auto n : shortnames(e)) map.emplace(':' + std::string(n) + ':', e);
    return map;
  }();
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    const auto close = text.find(':', i + 1);
    auto it = text[i] == ':' && close != std::string_view::npos
                  ? byName.find(std::string(text.substr(i, close - i + 1)))
                  : byName.end();
    if (it == byName.end()) {
      out += text[i++];
    } else {
      out += codepoints(it->second)[0];
      i = close + 1;
    }
  }
  return out;
}

TEST(EmojiConversion, Escaping) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"plain text, no emoji", "plain text, no emoji"},
      {"a1", "a:digit_one:"},
      {"1" + kFe0f + kKeycap, ":one:"},
      {"1" + kKeycap, ":one:"},
      {"1" + kFe0f, ":digit_one:"},
      {"#", ":pound_symbol:"},
      {"#" + kKeycap + "#", ":hash::pound_symbol:"},
      {"*", "*"},
      {"*" + kKeycap, ":keycap_asterisk:"},
      {kThumbsup + kTone3, ":thumbsup_tone3:"},
      {kThumbsup + kFe0f + "!", ":thumbsup:!"},
      {kTone3, ":tone3:"},
      {kSmile + kTone3, ":smile::tone3:"},  // no toned variant: the modifier stands alone
      {kCopyright, kCopyright},
      {kCopyright + kFe0f, ":copyright:"},
      {"\xF0\x9F\x87\xBA\xF0\x9F\x87\xB8", ":flag_us:"},
      {kWoman + kZwj + "\xF0\x9F\xA6\xB0", ":woman_red_haired:"},
      {kWoman + kZwj, ":woman:" + kZwj},  // a dangling joiner is kept
      {"Привет " + kSmile + " мир", "Привет :smile: мир"},
      {"\xF0\x9F\x8F\xB4\xF3\xA0\x81\xA7\xF3\xA0\x81\xA2\xF3\xA0\x81\xA5\xF3\xA0\x81\xAE\xF3\xA0\x81\xA7\xF3\xA0\x81\xBF",
       ":england:"},
      // Bytes that are no UTF-8 stay where they are.
      {"\xF0\x9F\x91", "\xF0\x9F\x91"},
      {"\xF0" + kThumbsup + "\xFF\x80", "\xF0:thumbsup:\xFF\x80"},
      {std::string("a\0b", 3) + kSmile, std::string("a\0b:smile:", 10)},
  };
  for (const auto& [in, want] : cases) EXPECT_EQ(emojiEscapedString(in), want) << in;

  // Every text of every case, alone and between neighbours that must stay.
  for (auto e : allCases<Emoji>()) {
    const std::string name = ':' + std::string(shortnames(e)[0]) + ':';
    for (auto t : codepoints(e)) {
      ASSERT_EQ(emojiEscapedString(t), name) << name;
      ASSERT_EQ(emojiEscapedString("xy " + std::string(t) + " z"), "xy " + name + " z") << name;
    }
  }
}

TEST(EmojiConversion, Unescaping) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"no names here", "no names here"},
      {":+1:", kThumbsup},
      {":thumbup:", kThumbsup},
      {":thumbsup:", kThumbsup},
      {":Thumbsup:", ":Thumbsup:"},
      {":nosuchname:", ":nosuchname:"},
      {":smile::smile:", kSmile + kSmile},
      {":smile:smile:", kSmile + "smile:"},
      {"a:zz:smile:c", "a:zz" + kSmile + "c"},  // a failed closing colon opens the next name
      {"::smile::", ":" + kSmile + ":"},
      {":smile", ":smile"},
      {": smile :", ": smile :"},
      {":pound_symbol::digit_one:", "#1"},
      {":hash:", "#" + kFe0f + kKeycap},
      {":100:", "\xF0\x9F\x92\xAF"},
      {":8ball:", "\xF0\x9F\x8E\xB1"},
      {"12:30", "12:30"},
      {"\xFF:smile:\xC0", "\xFF" + kSmile + "\xC0"},
      {":" + std::string(80, 'a') + ":smile:", ":" + std::string(80, 'a') + kSmile},
  };
  for (const auto& [in, want] : cases) EXPECT_EQ(emojiUnescapedString(in), want) << in;

  // Every name of every case, at the end of the text too, where the hash
  // cannot read a whole word past the name.
  for (auto e : allCases<Emoji>()) {
    const std::string first(codepoints(e)[0]);
    for (auto n : shortnames(e)) {
      const std::string name = ':' + std::string(n) + ':';
      ASSERT_EQ(emojiUnescapedString(name), first) << name;
      ASSERT_EQ(emojiUnescapedString("Да " + name + " нет"), "Да " + first + " нет") << name;
    }
  }
}

TEST(EmojiConversion, DirectionsAreNotInverses) {
  EXPECT_EQ(emojiEscapedString(emojiUnescapedString(":+1:")), ":thumbsup:");
  EXPECT_EQ(emojiUnescapedString(emojiEscapedString("#" + kKeycap)), "#" + kFe0f + kKeycap);
  EXPECT_EQ(emojiUnescapedString(emojiEscapedString("Счёт 2:1 " + kThumbsup + kTone3)),
            "Счёт 2:1 " + kThumbsup + kTone3);
}

TEST(EmojiConversion, AgreesWithTheObviousAlgorithmOnMixedText) {
  std::mt19937 random(20240611);
  std::vector<std::string> pieces = {"a",  "Ж",    " ",     "\n",    ":",    "::",    "#",
                                     "*",  "7",    kFe0f,   kKeycap, kZwj,   kTone3,  kCopyright,
                                     "\x80", "\xF0", "\xE2", ":smile:", ":+1:", ":tone1:", ":Smile:"};
  const auto all = allCases<Emoji>();
  auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  for (int round = 0; round < 1500; ++round) {
    std::string text;
    const std::size_t count = pick(40);
    for (std::size_t i = 0; i < count; ++i) {
      const Emoji e = all[pick(all.size())];
      switch (pick(4)) {
        case 0: {
          auto ts = codepoints(e);
          std::string t(ts[pick(ts.size())]);
          text += pick(4) == 0 ? t.substr(0, pick(t.size()) + 1) : t;  // sometimes cut short
          break;
        }
        case 1:
          text += ':' + std::string(shortnames(e)[0]) + (pick(3) == 0 ? "" : ":");
          break;
        default:
          text += pieces[pick(pieces.size())];
      }
    }
    ASSERT_EQ(emojiEscapedString(text), slowEscape(text)) << text;
    ASSERT_EQ(emojiUnescapedString(text), slowUnescape(text)) << text;
  }
}

TEST(EmojiConversion, SkippingStopsExactlyWhereATextCanStart) {
  // The vector skip must agree with the trie's root at every block offset.
  for (int byte = 0; byte < 256; ++byte) {
    const auto& root = emoji_data::kTrieNodes[0];
    const unsigned offset = static_cast<unsigned>(byte) - root.lo;
    const bool starts = offset < root.span && emoji_data::kTrieEdges[root.base + offset] != 0;
    ASSERT_EQ(emoji_scan::canStartEscape(static_cast<unsigned char>(byte)), starts) << byte;
    for (std::size_t at = 0; at < 70; at += 7) {
      std::vector<unsigned char> text(80, 'q');
      text[at] = static_cast<unsigned char>(byte);
      emoji_scan::EscapeStarts scan(text.data(), text.size());
      EXPECT_EQ(scan.next(0), starts ? at : text.size()) << byte << " at " << at;
      if (starts) {
        EXPECT_EQ(scan.next(at + 1), text.size()) << byte << " at " << at;
      }
    }
  }
}

}  // namespace
}  // namespace tavrel
