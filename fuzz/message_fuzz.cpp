// Arbitrary bytes -> Message. Whatever decodes must encode, and its text must
// decode to a message that encodes to the same tree again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/model/message.h"

using tavrel::decodeJson;
using tavrel::encodeJson;
using tavrel::JsonValue;
using tavrel::Message;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto first = decodeJson<Message>(bytes);
  if (!first) {
    if (first.error().what()[0] == '\0') std::abort();
  } else {
    auto text = encodeJson(first.value());
    if (!text) std::abort();  // a decoded message always has JSON text
    auto second = decodeJson<Message>(text.value());
    if (!second) std::abort();
    // Every field comes back the same: compare the trees of both texts.
    auto again = encodeJson(second.value());
    if (!again || !(decodeJson<JsonValue>(again.value()).value() ==
                    decodeJson<JsonValue>(text.value()).value())) {
      std::abort();
    }
    // A message through the model case of a tree writes the same object.
    JsonValue wrapped(std::shared_ptr<tavrel::Model>(std::make_shared<Message>(second.value())));
    auto viaTree = wrapped.asString();
    if (!viaTree || viaTree->size() != again.value().size()) std::abort();
  }
  // Lists fail or succeed as a whole, and never crash.
  auto list = decodeJson<std::vector<std::shared_ptr<Message>>>(bytes);
  if (list) {
    for (const auto& m : list.value()) {
      if (!m) std::abort();
    }
    if (!list->empty() && !find(list.value(), *list->front())) std::abort();
  }
  return 0;
}
