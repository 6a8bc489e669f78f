#pragma once
// The vocabulary of the real-time link: the channels a client may listen to,
// the record of one frame, its keys, and the interface through which a host
// hears the text of frames.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"

namespace tavrel {

// A real-time channel; its raw value is the name used on the wire.
enum class Channel {
  conversation,          // "conversation"
  conversationReply,     // "conversation_reply"
  conversationTyping,    // "conversation_typing"
  conversationAssigned,  // "conversation_assigned"
  conversationRead,      // "conversation_read"
  runScript,             // "run_script"
  usersRemoved,          // "users_removed"
  userBan,               // "user_ban"
  ping,                  // "ping": a channel like the others, no keep-alive
};

// Number of channels.
inline constexpr std::size_t channelCount = 9;

// Wire names, indexed by case.
inline constexpr std::array<std::string_view, channelCount> channelRawValues{
    "conversation",     "conversation_reply", "conversation_typing",
    "conversation_assigned", "conversation_read", "run_script",
    "users_removed",    "user_ban",           "ping",
};

// The wire name of a channel.
constexpr std::string_view rawValue(Channel channel) noexcept {
  return channelRawValues[static_cast<std::size_t>(channel)];
}

// The channel whose wire name is `text` exactly (case-sensitive), or nullopt.
std::optional<Channel> channelFromRawValue(std::string_view text) noexcept;

// The keys of a frame, in reading order; a key's raw value is its JSON key.
// Keys have no integer form.
enum class RootKeys { id, channel, message, tag, time };

// The JSON key of a frame key.
std::string_view rawValue(RootKeys key) noexcept;

// The key whose raw value is `text` exactly, or nullopt.
std::optional<RootKeys> rootKeyFromString(std::string_view text) noexcept;

// One text frame pushed by the server.
struct RtsResponse {
  std::int64_t id = 0;  // "id": number of the frame
  std::string channel;  // "channel": name of the channel it came on
  JsonValue message;    // "message": the payload, any JSON value
  std::string tag;      // "tag": resume tag, echoed at the next connect
  std::string time;     // "time": resume time, echoed at the next connect

  // Reads "id" (integer), "channel" (text), "message" (any JSON value, null
  // included), "tag" and "time" (text), in this order, all required and with
  // strict types. Other keys are ignored. Throws DecodingError.
  static RtsResponse decode(const JsonNode& node);

  friend bool operator==(const RtsResponse&, const RtsResponse&) = default;
};

// What a host implements to receive frames: the complete text of each frame
// as it came off the socket, undecoded and unfiltered.
class RtsServiceProtocol {
 public:
  virtual ~RtsServiceProtocol() = default;
  virtual void onRtsMessage(const std::string& text) = 0;

 protected:
  RtsServiceProtocol() = default;
  RtsServiceProtocol(const RtsServiceProtocol&) = default;
  RtsServiceProtocol& operator=(const RtsServiceProtocol&) = default;
};

}  // namespace tavrel
