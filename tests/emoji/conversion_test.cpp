#include "tavrel/emoji/conversion.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "emoji/reference.h"
#include "emoji/scan.h"
#include "emoji/tables.h"
#include "tavrel/emoji/emoji.h"

namespace tavrel {
namespace {

const std::string kThumbsup = "\U0001F44D", kTone3 = "\U0001F3FD", kSmile = "\U0001F604";
const std::string kFe0f = "\uFE0F", kKeycap = "\u20E3", kZwj = "\u200D", kCopyright = "\u00A9";

TEST(EmojiConversion, Escaping) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"a1" + kFe0f + "1", "a:digit_one::digit_one:"},
      {"#" + kKeycap + "#", ":hash::pound_symbol:"},  // the longest text wins
      {"*", "*"},
      {kSmile + kTone3, ":smile::tone3:"},  // no toned variant: the modifier stands alone
      {kCopyright, kCopyright},
      {"\U0001F469" + kZwj, ":woman:" + kZwj},  // a dangling joiner is kept
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
      {":Thumbsup:", ":Thumbsup:"},
      {":nosuchname:", ":nosuchname:"},
      {":smile::smile:", kSmile + kSmile},
      {":smile:smile:", kSmile + "smile:"},
      {"a:zz:smile:c", "a:zz" + kSmile + "c"},  // a failed closing colon opens the next name
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
      const auto texts = codepoints(e);
      const std::string t(texts[pick(texts.size())]), name(shortnames(e)[0]);
      const std::size_t kind = pick(4);
      if (kind == 0) text += pick(4) == 0 ? t.substr(0, pick(t.size()) + 1) : t;  // maybe cut
      if (kind == 1) text += ':' + name + (pick(3) == 0 ? "" : ":");
      if (kind > 1) text += pieces[pick(pieces.size())];
    }
    ASSERT_EQ(emojiEscapedString(text), emoji_reference::escape(text)) << text;
    ASSERT_EQ(emojiUnescapedString(text), emoji_reference::unescape(text)) << text;
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
