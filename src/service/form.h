#pragma once
// Reading a request: the target's path and query, form bodies and JSON
// bodies as one map of parameters.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::service {

using Params = std::map<std::string, std::string>;

// "%41+b" -> "A b"; nothing for a broken escape or text that is no UTF-8.
std::optional<std::string> formDecode(std::string_view text);
// "a=1&b=%20" into `out` (later keys win); false for a broken escape.
bool parseForm(std::string_view text, Params& out);
// A JSON object's members into `out`: strings as they are, numbers and
// booleans as text, anything else as JSON text; false when the body is no
// JSON object.
bool parseJsonObject(std::string_view text, Params& out);

}  // namespace tavrel::service
