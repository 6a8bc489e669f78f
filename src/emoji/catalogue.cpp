#include <array>
#include <utility>

#include "emoji/tables.h"
#include "tavrel/emoji/emoji.h"

namespace tavrel {
namespace {

constexpr auto kAllCases = [] {
  std::array<Emoji, kEmojiCount> all{};
  for (std::size_t i = 0; i < kEmojiCount; ++i) all[i] = static_cast<Emoji>(i);
  return all;
}();

}  // namespace

template <>
std::span<const Emoji> allCases<Emoji>() {
  return kAllCases;
}

std::span<const std::string_view> shortnames(Emoji emoji) {
  auto i = static_cast<std::size_t>(emoji);
  if (i >= kEmojiCount) return {};
  return {emoji_data::kShortnames + emoji_data::kShortnameStart[i],
          emoji_data::kShortnames + emoji_data::kShortnameStart[i + 1]};
}

std::span<const std::string_view> codepoints(Emoji emoji) {
  auto i = static_cast<std::size_t>(emoji);
  if (i >= kEmojiCount) return {};
  return {emoji_data::kCodepoints + emoji_data::kCodepointStart[i],
          emoji_data::kCodepoints + emoji_data::kCodepointStart[i + 1]};
}

}  // namespace tavrel
