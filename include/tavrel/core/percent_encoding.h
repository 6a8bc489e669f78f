#pragma once
// Percent-encoding with the standard URL character sets. Every caller that
// encodes a URL part uses these sets; none writes its own.

#include <bitset>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel {

// A set of ASCII characters left as they are by `percentEncode`. Bytes
// outside ASCII are never in a set: they are always encoded.
class AsciiSet {
 public:
  constexpr AsciiSet() = default;
  // The characters of `chars`, which must all be ASCII.
  static AsciiSet of(std::string_view chars);
  AsciiSet operator|(const AsciiSet& other) const;
  // Every ASCII character not in this set.
  AsciiSet inverted() const;
  bool contains(unsigned char c) const noexcept { return c < 128 && bits_[c]; }

 private:
  std::bitset<128> bits_;
};

namespace charset {
// ASCII letters and digits.
const AsciiSet& alphanumerics();
// !$&'()*+,-.0-9:;=A-Z[]_a-z~
const AsciiSet& urlHostAllowed();
// !$&'()*+,-./0-9:=@A-Z_a-z~
const AsciiSet& urlPathAllowed();
// !$&'()*+,-./0-9:;=?@A-Z_a-z~
const AsciiSet& urlQueryAllowed();
// !$&'()*+,-./0-9:;=?@A-Z_a-z~
const AsciiSet& urlFragmentAllowed();
}  // namespace charset

// Every byte of `text` not in `allowed` as "%XX" with upper-case hex digits.
// Bytes outside ASCII (the UTF-8 form of non-ASCII characters) are always
// encoded.
std::string percentEncode(std::string_view text, const AsciiSet& allowed);

// `text` with every "%XX" replaced by its byte. Nothing when an escape is
// malformed or the result is not valid UTF-8.
std::optional<std::string> removePercentEncoding(std::string_view text);

}  // namespace tavrel
