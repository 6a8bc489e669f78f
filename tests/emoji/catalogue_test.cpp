#include "tavrel/emoji/emoji.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "emoji/tables.h"

namespace tavrel {
namespace {

std::vector<std::string> strings(std::span<const std::string_view> views) {
  return {views.begin(), views.end()};
}

// Every case has names and texts, none of them shared with another case;
// the scanners' length bounds are the longest ones.
TEST(EmojiCatalogue, NamesAndTextsAreUniqueAndWithinBounds) {
  const auto all = allCases<Emoji>();
  ASSERT_EQ(all.size(), 2800u);
  std::set<std::string_view> names, texts;
  std::size_t nameCount = 0, textCount = 0, longestName = 0, longestText = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    ASSERT_EQ(static_cast<std::size_t>(all[i]), i);
    EXPECT_FALSE(shortnames(all[i]).empty() || codepoints(all[i]).empty()) << i;
    for (auto n : shortnames(all[i])) {
      ++nameCount;
      names.insert(n);
      longestName = std::max(longestName, n.size());
      EXPECT_TRUE(!n.empty() && std::all_of(n.begin(), n.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
               c == '+';
      })) << n;
    }
    for (auto t : codepoints(all[i])) {
      ++textCount;
      texts.insert(t);
      longestText = std::max(longestText, t.size());
      EXPECT_NE(t, "\u00A9");  // the bare copyright sign is no entry
    }
  }
  EXPECT_EQ(names.size(), nameCount);
  EXPECT_EQ(texts.size(), textCount);
  EXPECT_EQ(longestName, emoji_data::kMaxShortnameLength);
  EXPECT_EQ(longestText, emoji_data::kMaxCodepointLength);
}

// One row per rule of the table: which form comes first, aliases, keycaps,
// flags, tag and joined sequences, cases named unlike their shortname.
TEST(EmojiCatalogue, TellingRows) {
  struct Row {
    std::size_t index;
    Emoji emoji;
    std::vector<std::string> names, texts;
  };
  using E = Emoji;
  const Row rows[] = {
      {0, E::pound_symbol, {"pound_symbol"}, {"#", "#\uFE0F"}},
      {1, E::hash, {"hash"}, {"#\uFE0F\u20E3", "#\u20E3"}},
      {23, E::copyright, {"copyright"}, {"\u00A9\uFE0F"}},
      {111, E::infinity, {"infinity"}, {"\u267E\uFE0F", "\u267E"}},
      {228, E::star, {"star"}, {"\u2B50", "\u2B50\uFE0F"}},
      {998, E::thumbsup, {"thumbsup", "+1", "thumbup"}, {"\U0001F44D", "\U0001F44D\uFE0F"}},
      {1584, E::poop, {"poop", "shit", "hankey", "poo"}, {"\U0001F4A9"}},
      {449, E::flag_sa, {"flag_sa", "saudiarabia", "saudi"}, {"\U0001F1F8\U0001F1E6"}},
      {862, E::england, {"england"},
       {"\U0001F3F4\U000E0067\U000E0062\U000E0065\U000E006E\U000E0067\U000E007F"}},
      {149, E::woman_bouncing_ball, {"woman_bouncing_ball"},
       {"\u26F9\uFE0F\u200D\u2640\uFE0F", "\u26F9\u200D\u2640", "\u26F9\uFE0F\u2640\uFE0F",
        "\u26F9\u200D\u2640\uFE0F", "\u26F9\uFE0F\u200D\u2640"}},
      {1298, E::woman_health_worker_tone5,
       {"woman_health_worker_tone5", "woman_health_worker_dark_skin_tone"},
       {"\U0001F469\U0001F3FF\u200D\u2695\uFE0F", "\U0001F469\U0001F3FF\u200D\u2695",
        "\U0001F469\U0001F3FF\u2695\uFE0F"}},
      {1595, E::hundred, {"100"}, {"\U0001F4AF"}},
      {1706, E::keycap_ten, {"keycap_ten"}, {"\U0001F51F"}},
      {2799, E::nazar_amulet, {"nazar_amulet"}, {"\U0001F9FF"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(allCases<Emoji>()[row.index], row.emoji) << row.names[0];
    EXPECT_EQ(strings(shortnames(row.emoji)), row.names);
    EXPECT_EQ(strings(codepoints(row.emoji)), row.texts) << row.names[0];
  }
  EXPECT_EQ(shortnames(Emoji::new_)[0], "new");
}

}  // namespace
}  // namespace tavrel
