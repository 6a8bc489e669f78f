// Arbitrary bytes -> RtsResponse, as the socket decodes each frame. Nothing
// may crash; a frame that decodes keeps its payload intact, decodes alike
// inside an array, and names a channel that maps back to itself.

#include <string>
#include <vector>

#include "fuzz_support.h"
#include "tavrel/model/rts.h"

using namespace tavrel;
using namespace tavrel::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = input(data, size);
  auto frame = decodeJson<RtsResponse>(bytes);
  if (!frame) {
    check(frame.error().what()[0] != '\0');
    return 0;
  }
  const RtsResponse& f = frame.value();

  auto text = encodeJson(f.message);
  check(text.ok());
  auto message = decodeJson<JsonValue>(text.value());
  check(message.ok() && message.value() == f.message);

  if (auto channel = channelFromRawValue(f.channel)) check(rawValue(*channel) == f.channel);

  const std::string wrapped = "[" + std::string(bytes) + "]";
  auto frames = decodeJson<std::vector<RtsResponse>>(wrapped);
  check(frames.ok() && frames->size() == 1 && frames->front() == f);
  return 0;
}
