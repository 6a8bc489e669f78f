// Arbitrary bytes -> Message. Whatever decodes must encode, and its text must
// decode to a message that encodes to the same tree again.

#include <memory>
#include <vector>

#include "fuzz_support.h"
#include "tavrel/model/message.h"

using namespace tavrel;
using namespace tavrel::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = input(data, size);
  if (auto message = roundTrip<Message>(bytes)) {
    // A message through the model case of a tree writes the same object.
    auto viaTree = JsonValue(std::shared_ptr<Model>(std::make_shared<Message>(*message))).asString();
    check(viaTree && viaTree->size() == encodeJson(*message).value().size());
  }
  // Lists fail or succeed as a whole, and never crash.
  if (auto list = decodeJson<std::vector<std::shared_ptr<Message>>>(bytes)) {
    for (const auto& m : list.value()) check(m != nullptr);
    check(list->empty() || find(list.value(), *list->front()));
  }
  return 0;
}
