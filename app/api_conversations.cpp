// Conversations: `tavrel conversations`, `conversation`, `start`, `reply` and
// `mark-read`. The list lives under the application in app mode and under
// the visitor in sdk mode.
#include <charconv>
#include <cstdint>
#include <string>

#include "api_common.h"
#include "tavrel/api/conversation_service.h"

namespace tavrel::cli {
namespace {

const CommandSpec kConversations{
    "conversations [--after CURSOR]",
    "Prints one page of the conversation list, newest first: the page before\n"
    "CURSOR (the \"next_after\" of the page before), or the newest page.",
    {"--after"},
    {},
    0,
    0};

const CommandSpec kConversation{
    "conversation ID", "Prints one conversation.", {}, {}, 1, 1, {"ID"}};

const CommandSpec kStart{"start TEXT",
                         "Starts a conversation with TEXT as its first message; prints its id.",
                         {},
                         {},
                         1,
                         1};

const CommandSpec kReply{
    "reply DIALOG TEXT --random-id N [--type T]",
    "Sends TEXT to the conversation DIALOG and prints the id of the message.\n"
    "N, a whole number of your choice, comes back with the message so that it\n"
    "can be matched; T is the kind of message (default \"reply\"). In sdk mode the\n"
    "message counts as written by the visitor.",
    {"--random-id", "--type"},
    {"--random-id"},
    2,
    2,
    {"DIALOG"}};

const CommandSpec kMarkRead{"mark-read DIALOG", "Marks the conversation DIALOG read.", {}, {}, 1, 1,
                            {"DIALOG"}};

// A whole number as a message reads its random id: decimal digits that fit
// 64 bits.
bool isRandomId(const std::string& text) {
  std::int64_t value = 0;
  const auto* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, value);
  return !text.empty() && text[0] != '-' && error == std::errc() && stop == end;
}

int runConversations(std::span<const std::string> args, Io io) {
  return runCall("conversations", kConversations, args, io, [](Call& call) {
    ConversationService service(call.settings(), &call.transport());
    return call.print(service.getDialogs(call.option("--after").value_or("")));
  });
}

int runConversation(std::span<const std::string> args, Io io) {
  return runCall("conversation", kConversation, args, io, [](Call& call) {
    ConversationService service(call.settings(), &call.transport());
    return call.print(service.get(call.argument(0)));
  });
}

int runStart(std::span<const std::string> args, Io io) {
  return runCall("start", kStart, args, io, [](Call& call) {
    ConversationService service(call.settings(), &call.transport());
    return call.print(service.start(call.argument(0)));
  });
}

int runReply(std::span<const std::string> args, Io io) {
  return runCall("reply", kReply, args, io, [](Call& call) {
    const std::string randomId = *call.option("--random-id");
    if (!isRandomId(randomId)) {
      return call.usage("--random-id takes a whole number from 0 to 9223372036854775807, not '" +
                        randomId + "'");
    }
    ConversationService service(call.settings(), &call.transport());
    return call.print(service.reply(call.argument(0), call.argument(1), randomId,
                                    call.option("--type").value_or("reply")));
  });
}

int runMarkRead(std::span<const std::string> args, Io io) {
  return runCall("mark-read", kMarkRead, args, io, [](Call& call) {
    ConversationService service(call.settings(), &call.transport());
    return call.print(service.markRead(call.argument(0)));
  });
}

}  // namespace

TAVREL_COMMAND("conversations", "prints a page of the conversation list", runConversations);
TAVREL_COMMAND("conversation", "prints one conversation", runConversation);
TAVREL_COMMAND("start", "starts a conversation with a first message", runStart);
TAVREL_COMMAND("reply", "sends a message to a conversation", runReply);
TAVREL_COMMAND("mark-read", "marks a conversation read", runMarkRead);

}  // namespace tavrel::cli
