// Arbitrary bytes -> JsonValue; whatever decodes must encode, and the text it
// encodes to must decode back to the same tree and encode to the same text,
// whether its objects and arrays are still kept encoded or already built.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "support/build_all.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"

using tavrel::decodeJson;
using tavrel::encodeJson;
using tavrel::JsonValue;
using tavrel::testing::buildAll;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto first = decodeJson<JsonValue>(bytes);
  if (!first) {
    if (first.error().what()[0] == '\0') std::abort();
    return 0;
  }
  auto text = encodeJson(first.value());
  if (!text) std::abort();  // a decoded tree always has JSON text
  auto second = decodeJson<JsonValue>(text.value());
  if (!second || !(second.value() == first.value())) std::abort();
  auto again = encodeJson(second.value());
  if (!again || again.value().size() != text.value().size()) std::abort();
  JsonValue built = first.value();
  buildAll(built);
  auto builtText = encodeJson(built);
  if (!builtText || builtText.value() != text.value() || !(built == first.value())) std::abort();
  // Typed reads of the root never crash, whatever they answer.
  (void)decodeJson<std::int64_t>(bytes);
  (void)decodeJson<std::vector<std::string>>(bytes);
  return 0;
}
