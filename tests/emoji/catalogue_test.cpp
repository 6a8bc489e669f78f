#include "tavrel/emoji/emoji.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "emoji/tables.h"

namespace tavrel {
namespace {

// UTF-8 of a sequence of scalars.
std::string utf8(std::initializer_list<char32_t> scalars) {
  std::string out;
  for (char32_t c : scalars) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::vector<std::string> strings(std::span<const std::string_view> views) {
  return {views.begin(), views.end()};
}

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST(EmojiCatalogue, CountsDistributionsAndUniqueness) {
  const auto all = allCases<Emoji>();
  ASSERT_EQ(all.size(), 2800u);
  std::set<std::string> names, texts;
  std::map<std::size_t, int> namesPerCase, textsPerCase;
  std::size_t nameCount = 0, textCount = 0, longestName = 0, longestText = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    ASSERT_EQ(static_cast<std::size_t>(all[i]), i);
    const auto ns = shortnames(all[i]);
    const auto ts = codepoints(all[i]);
    ASSERT_FALSE(ns.empty()) << i;
    ASSERT_FALSE(ts.empty()) << i;
    ++namesPerCase[ns.size()];
    ++textsPerCase[ts.size()];
    for (auto n : ns) {
      names.emplace(n);
      longestName = std::max(longestName, n.size());
      EXPECT_TRUE(!n.empty() && std::all_of(n.begin(), n.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
               c == '+';
      })) << n;
    }
    for (auto t : ts) texts.emplace(t), longestText = std::max(longestText, t.size());
    nameCount += ns.size();
    textCount += ts.size();
  }
  EXPECT_EQ(nameCount, 4250u);
  EXPECT_EQ(names.size(), 4250u);
  EXPECT_EQ(textCount, 4533u);
  EXPECT_EQ(texts.size(), 4533u);
  EXPECT_EQ(namesPerCase, (std::map<std::size_t, int>{{1, 1403}, {2, 1345}, {3, 51}, {4, 1}}));
  EXPECT_EQ(textsPerCase,
            (std::map<std::size_t, int>{{1, 1670}, {2, 585}, {3, 496}, {4, 40}, {5, 9}}));
  EXPECT_EQ(longestName, emoji_data::kMaxShortnameLength);
  EXPECT_EQ(longestText, emoji_data::kMaxCodepointLength);

  // Hashing feeds the position, so all cases hash apart.
  std::set<std::size_t> hashes;
  for (auto e : all) hashes.insert(std::hash<Emoji>{}(e));
  EXPECT_EQ(hashes.size(), all.size());
}

TEST(EmojiCatalogue, KindsOfRows) {
  int bareAscii = 0, toned = 0, toneAliases = 0, flags = 0, joined = 0, onlyWithFe0f = 0;
  const std::string fe0f = utf8({0xFE0F}), zwj = utf8({0x200D});
  for (auto e : allCases<Emoji>()) {
    const auto ns = strings(shortnames(e));
    const auto ts = strings(codepoints(e));
    bareAscii += std::count_if(ts.begin(), ts.end(), [](auto& t) { return t.size() == 1; });
    // Modifiers U+1F3FB..U+1F3FF are F0 9F 8F BB..BF.
    const auto& first = ts[0];
    for (std::size_t i = 0; i + 4 <= first.size(); ++i) {
      if (first.compare(i, 3, "\xF0\x9F\x8F") == 0 && static_cast<unsigned char>(first[i + 3]) >= 0xBB &&
          static_cast<unsigned char>(first[i + 3]) <= 0xBF) {
        ++toned;
        break;
      }
    }
    for (std::size_t i = 1; i < ns.size(); ++i) toneAliases += ns[i].ends_with("_skin_tone");
    // A pair of regional indicators: F0 9F 87 A6..BF, twice.
    if (first.size() == 8 && first.starts_with("\xF0\x9F\x87") && first.compare(4, 3, "\xF0\x9F\x87") == 0) {
      ++flags;
      if (ns[0] != "united_nations") {
        EXPECT_TRUE(ns[0].starts_with("flag_") && ns.size() >= 2) << ns[0];
      }
    }
    joined += std::any_of(ts.begin(), ts.end(), [&](auto& t) { return contains(t, zwj); });
    // One scalar and U+FE0F, with no other form.
    const auto lead = static_cast<unsigned char>(first[0]);
    const std::size_t scalar = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    onlyWithFe0f += ts.size() == 1 && first.size() == scalar + 3 && first.ends_with(fe0f);
  }
  EXPECT_EQ(bareAscii, 11);
  EXPECT_EQ(toned, 1145);
  EXPECT_EQ(toneAliases, 730);
  EXPECT_EQ(flags, 258);
  EXPECT_EQ(joined, 774);
  EXPECT_EQ(onlyWithFe0f, 53);
}

TEST(EmojiCatalogue, TellingRows) {
  struct Row {
    std::size_t index;
    Emoji emoji;
    std::vector<std::string> names;
    std::vector<std::string> texts;
  };
  using E = Emoji;
  const std::vector<Row> rows = {
      {0, E::pound_symbol, {"pound_symbol"}, {"#", utf8({'#', 0xFE0F})}},
      {1, E::hash, {"hash"}, {utf8({'#', 0xFE0F, 0x20E3}), utf8({'#', 0x20E3})}},
      {2, E::keycap_asterisk, {"keycap_asterisk"}, {utf8({'*', 0xFE0F, 0x20E3}), utf8({'*', 0x20E3})}},
      {3, E::digit_zero, {"digit_zero"}, {"0", utf8({'0', 0xFE0F})}},
      {4, E::zero, {"zero"}, {utf8({'0', 0xFE0F, 0x20E3}), utf8({'0', 0x20E3})}},
      {23, E::copyright, {"copyright"}, {utf8({0xA9, 0xFE0F})}},
      {29, E::left_right_arrow, {"left_right_arrow"}, {utf8({0x2194, 0xFE0F})}},
      {111, E::infinity, {"infinity"}, {utf8({0x267E, 0xFE0F}), utf8({0x267E})}},
      {228, E::star, {"star"}, {utf8({0x2B50}), utf8({0x2B50, 0xFE0F})}},
      {74, E::point_up, {"point_up"}, {utf8({0x261D}), utf8({0x261D, 0xFE0F})}},
      {75, E::point_up_tone1, {"point_up_tone1"},
       {utf8({0x261D, 0x1F3FB}), utf8({0x261D, 0xFE0F, 0x1F3FB})}},
      {998, E::thumbsup, {"thumbsup", "+1", "thumbup"}, {utf8({0x1F44D}), utf8({0x1F44D, 0xFE0F})}},
      {1001, E::thumbsup_tone3, {"thumbsup_tone3", "+1_tone3", "thumbup_tone3"}, {utf8({0x1F44D, 0x1F3FD})}},
      {1584, E::poop, {"poop", "shit", "hankey", "poo"}, {utf8({0x1F4A9})}},
      {870, E::tone1, {"tone1"}, {utf8({0x1F3FB})}},
      {491, E::flag_us, {"flag_us", "us"}, {utf8({0x1F1FA, 0x1F1F8})}},
      {449, E::flag_sa, {"flag_sa", "saudiarabia", "saudi"}, {utf8({0x1F1F8, 0x1F1E6})}},
      {862, E::england, {"england"},
       {utf8({0x1F3F4, 0xE0067, 0xE0062, 0xE0065, 0xE006E, 0xE0067, 0xE007F})}},
      {1068, E::man_tone1, {"man_tone1"}, {utf8({0x1F468, 0x1F3FB})}},
      {1334, E::woman_red_haired, {"woman_red_haired"},
       {utf8({0x1F469, 0x200D, 0x1F9B0}), utf8({0x1F469, 0x1F9B0})}},
      {1179, E::family_mmbb, {"family_mmbb"},
       {utf8({0x1F468, 0x200D, 0x1F468, 0x200D, 0x1F466, 0x200D, 0x1F466}),
        utf8({0x1F468, 0x1F468, 0x1F466, 0x1F466})}},
      {1060, E::kiss_mm, {"kiss_mm", "couplekiss_mm"},
       {utf8({0x1F468, 0x200D, 0x2764, 0xFE0F, 0x200D, 0x1F48B, 0x200D, 0x1F468}),
        utf8({0x1F468, 0x200D, 0x2764, 0x200D, 0x1F48B, 0x200D, 0x1F468}),
        utf8({0x1F468, 0x2764, 0xFE0F, 0x1F48B, 0x1F468})}},
      {149, E::woman_bouncing_ball, {"woman_bouncing_ball"},
       {utf8({0x26F9, 0xFE0F, 0x200D, 0x2640, 0xFE0F}), utf8({0x26F9, 0x200D, 0x2640}),
        utf8({0x26F9, 0xFE0F, 0x2640, 0xFE0F}), utf8({0x26F9, 0x200D, 0x2640, 0xFE0F}),
        utf8({0x26F9, 0xFE0F, 0x200D, 0x2640})}},
      {1298, E::woman_health_worker_tone5, {"woman_health_worker_tone5", "woman_health_worker_dark_skin_tone"},
       {utf8({0x1F469, 0x1F3FF, 0x200D, 0x2695, 0xFE0F}), utf8({0x1F469, 0x1F3FF, 0x200D, 0x2695}),
        utf8({0x1F469, 0x1F3FF, 0x2695, 0xFE0F})}},
      {859, E::rainbow_flag, {"rainbow_flag", "gay_pride_flag"},
       {utf8({0x1F3F3, 0xFE0F, 0x200D, 0x1F308}), utf8({0x1F3F3, 0x200D, 0x1F308}),
        utf8({0x1F3F3, 0xFE0F, 0x1F308})}},
      {1706, E::keycap_ten, {"keycap_ten"}, {utf8({0x1F51F})}},
      {1595, E::hundred, {"100"}, {utf8({0x1F4AF})}},
      // Cases named unlike their first shortname, and the last case.
      {0, E::fleur_de_lis, {"fleur-de-lis"}, {}},
      {0, E::height_ball, {"8ball"}, {}},
      {0, E::blond_haired_man_tone5, {"blond-haired_man_tone5"}, {}},
      {0, E::one_two_three_four, {"1234"}, {}},
      {0, E::new_, {"new"}, {}},
      {2799, E::nazar_amulet, {"nazar_amulet"}, {utf8({0x1F9FF})}},
  };
  for (const auto& row : rows) {
    const auto names = strings(shortnames(row.emoji));
    if (row.index != 0 || row.emoji == Emoji::pound_symbol) {
      EXPECT_EQ(allCases<Emoji>()[row.index], row.emoji) << row.names[0];
    }
    if (row.texts.empty()) {
      EXPECT_EQ(names[0], row.names[0]);
      continue;
    }
    EXPECT_EQ(names, row.names);
    EXPECT_EQ(strings(codepoints(row.emoji)), row.texts) << row.names[0];
  }
  const auto hash = strings(codepoints(Emoji::hash));
  EXPECT_EQ(std::count(hash.begin(), hash.end(), "#"), 0);
  // The bare copyright sign is no entry of any case.
  for (auto e : allCases<Emoji>()) {
    for (auto t : codepoints(e)) EXPECT_NE(t, utf8({0xA9}));
  }
}

}  // namespace
}  // namespace tavrel
