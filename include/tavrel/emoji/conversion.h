#pragma once
// Conversion between emoji and colon-delimited shortnames such as ":smile:".
// Both functions are pure, never fail, and may be called from any thread.

#include <string>
#include <string_view>

namespace tavrel {

// Replaces each emoji of `text` by ":" + its first shortname + ":". Matches
// run from left to right, and at each position the longest catalogue text
// wins, so a keycap or a person with a skin tone is one emoji. The bare "#"
// and the digits are catalogue entries too (":pound_symbol:",
// ":digit_one:"). Every other byte, valid UTF-8 or not, is kept as it is.
std::string emojiEscapedString(std::string_view text);

// Replaces each ":name:" whose name is a catalogue shortname (case-sensitive,
// aliases included) by the first codepoint text of its emoji. A closing
// colon is not reused as an opening one; everything else is kept as it is.
std::string emojiUnescapedString(std::string_view text);

}  // namespace tavrel
