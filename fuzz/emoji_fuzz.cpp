// Arbitrary bytes through both conversions, checked against the obvious
// algorithm (every position, every length, a map lookup each), and the round
// trip where it must hold: a text without colons comes back from escaping
// and unescaping with each emoji in its first form.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "emoji/reference.h"
#include "tavrel/emoji/conversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace reference = tavrel::emoji_reference;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string escaped = tavrel::emojiEscapedString(text);
  if (escaped != reference::escape(text)) std::abort();
  if (tavrel::emojiUnescapedString(text) != reference::unescape(text)) std::abort();
  const auto first = [](tavrel::Emoji e) { return std::string(tavrel::codepoints(e)[0]); };
  if (text.find(':') == std::string_view::npos &&
      tavrel::emojiUnescapedString(escaped) != reference::replaceTexts(text, first)) {
    std::abort();
  }
  return 0;
}
