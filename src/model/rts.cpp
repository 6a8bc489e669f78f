#include "tavrel/model/rts.h"

namespace tavrel {

namespace {
constexpr std::array<std::string_view, 5> rootKeyRawValues{"id", "channel", "message", "tag",
                                                           "time"};
}  // namespace

std::optional<Channel> channelFromRawValue(std::string_view text) noexcept {
  for (std::size_t i = 0; i < channelCount; ++i) {
    if (channelRawValues[i] == text) return static_cast<Channel>(i);
  }
  return std::nullopt;
}

std::string_view rawValue(RootKeys key) noexcept {
  return rootKeyRawValues[static_cast<std::size_t>(key)];
}

std::optional<RootKeys> rootKeyFromString(std::string_view text) noexcept {
  for (std::size_t i = 0; i < rootKeyRawValues.size(); ++i) {
    if (rootKeyRawValues[i] == text) return static_cast<RootKeys>(i);
  }
  return std::nullopt;
}

RtsResponse RtsResponse::decode(const JsonNode& node) {
  auto keys = node.object();
  RtsResponse frame;
  frame.id = keys.decode<std::int64_t>(rawValue(RootKeys::id));
  frame.channel = keys.decode<std::string>(rawValue(RootKeys::channel));
  frame.message = keys.decode<JsonValue>(rawValue(RootKeys::message));
  frame.tag = keys.decode<std::string>(rawValue(RootKeys::tag));
  frame.time = keys.decode<std::string>(rawValue(RootKeys::time));
  return frame;
}

}  // namespace tavrel
