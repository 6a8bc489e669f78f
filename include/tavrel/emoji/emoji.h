#pragma once
// The emoji catalogue: every emoji the library knows, with the shortnames by
// which it can be written and the texts by which it can appear. The table is
// fixed data; nothing in it is computed at run time.

#include <span>
#include <string_view>

#include "tavrel/emoji/emoji_cases.h"

namespace tavrel {

// Every case of an enumeration once, in declaration order.
template <class Enum>
std::span<const Enum> allCases();

// The 2,800 cases of Emoji; the position of a case is its value.
template <>
std::span<const Emoji> allCases<Emoji>();

// Names of the case, without colons: the first is the one used for writing,
// the others are aliases. Never empty.
std::span<const std::string_view> shortnames(Emoji emoji);

// UTF-8 texts of the case: the first is the form used for writing, the
// others are variants that are recognised too. Never empty.
std::span<const std::string_view> codepoints(Emoji emoji);

}  // namespace tavrel
