// Arbitrary bytes -> JsonValue; whatever decodes must encode, and the text it
// encodes to must decode back to the same tree and encode to the same text,
// whether its objects and arrays are still kept encoded or already built.

#include <string>
#include <vector>

#include "fuzz_support.h"
#include "support/build_all.h"

using namespace tavrel;
using namespace tavrel::fuzz;
using tavrel::testing::buildAll;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = input(data, size);
  auto first = decodeJson<JsonValue>(bytes);
  if (!first) {
    check(first.error().what()[0] != '\0');
    return 0;
  }
  auto text = encodeJson(first.value());
  check(text.ok());  // a decoded tree always has JSON text
  auto second = decodeJson<JsonValue>(text.value());
  check(second.ok() && second.value() == first.value());
  auto again = encodeJson(second.value());
  check(again.ok() && again.value().size() == text.value().size());
  JsonValue built = first.value();
  buildAll(built);
  auto builtText = encodeJson(built);
  check(builtText.ok() && builtText.value() == text.value() && built == first.value());
  // Typed reads of the root never crash, whatever they answer.
  (void)decodeJson<std::int64_t>(bytes);
  (void)decodeJson<std::vector<std::string>>(bytes);
  return 0;
}
