#pragma once
// What the chat window's tests share: the network switch, and messages.

#include <memory>
#include <string>

#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/model/message.h"

namespace tavrel::desk::test {

// The manual backend that the test binary installs, online at start.
std::shared_ptr<ManualConnectivityBackend>& network();

// A message of conversation "7": ours with direction "u2a", else support's.
inline Message message(std::string id, std::int64_t created, bool ours = false,
                       std::int64_t randomId = 0, std::string dialog = "7") {
  return Message(std::move(id), randomId, "text", "reply", created, ours ? "u2a" : "a2u", false, "", "",
                 JsonValue(), std::move(dialog), std::nullopt, std::nullopt, std::nullopt);
}

}  // namespace tavrel::desk::test
