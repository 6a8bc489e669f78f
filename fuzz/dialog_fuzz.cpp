// Arbitrary bytes -> Dialog. Whatever decodes must encode, and its text must
// decode to the same dialog.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/model/dialog.h"
#include "tavrel/model/response.h"

using tavrel::decodeJson;
using tavrel::Dialog;
using tavrel::encodeJson;
using tavrel::JsonValue;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto first = decodeJson<Dialog>(bytes);
  if (!first) {
    if (first.error().what()[0] == '\0') std::abort();
  } else {
    const Dialog& d = first.value();
    if (!d.partLast || !d.lastAdmin) std::abort();  // decoded dialogs hold both
    auto text = encodeJson(d);
    if (!text) std::abort();
    auto second = decodeJson<Dialog>(text.value());
    if (!second) std::abort();
    // Every field, the records inside included, comes back the same: compare
    // the trees of both texts.
    auto again = encodeJson(second.value());
    if (!again || decodeJson<JsonValue>(again.value()).value() !=
                      decodeJson<JsonValue>(text.value()).value()) {
      std::abort();
    }
  }
  // An answer with a list fails or succeeds as a whole, and never crashes.
  (void)decodeJson<tavrel::Response<std::vector<Dialog>>>(bytes);
  return 0;
}
