// Arbitrary bytes as the texts of frames, one per line, through the socket's
// resume step. A text yields a position only when it decodes as a frame, and
// then exactly that frame's tag and time; the URL that carries the position
// always parses and gives both back unchanged.

#include <string>

#include "fuzz_support.h"
#include "tavrel/model/rts.h"
#include "tavrel/rts/tavrel_socket.h"

using namespace tavrel;
using namespace tavrel::fuzz;

namespace {

void checkFrame(std::string_view text) {
  auto position = TavrelSocket::resumePosition(text);
  auto frame = decodeJson<RtsResponse>(text);
  check(position.has_value() == frame.ok());
  if (!position) return;
  check(position->tag == frame->tag && position->time == frame->time);

  static const NetworkSettings settings(NetworkSettings::ConnectionType::sdk, "t", "7", "9");
  auto url = TavrelSocket::getUrl(settings, {Channel::ping}, position->tag, position->time);
  check(url.has_value());
  auto query = queryDictionary(*url);
  check(query.has_value() && query->at("tag") == position->tag && query->at("time") == position->time);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest = input(data, size);
  while (true) {
    const std::size_t end = rest.find('\n');
    checkFrame(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return 0;
}
