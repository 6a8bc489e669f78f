// The messages of a conversation: `tavrel messages` and `tavrel update-meta`.
#include <string>

#include "api_common.h"
#include "tavrel/api/message_service.h"

namespace tavrel::cli {
namespace {

const CommandSpec kMessages{
    "messages DIALOG [--position P]",
    "Prints a page of the messages of the conversation DIALOG: the newest, or\n"
    "with --position the page before P (the \"next_before_position\" of the page\n"
    "before).",
    {"--position"},
    {},
    1,
    1,
    {"DIALOG"}};

const CommandSpec kUpdateMeta{
    "update-meta MESSAGE META",
    "Replaces the metadata of the message MESSAGE with the text META, sent as it\n"
    "is (a JSON text stays a text).",
    {},
    {},
    2,
    2,
    {"MESSAGE"}};

int runMessages(std::span<const std::string> args, Io io) {
  return runCall("messages", kMessages, args, io, [](Call& call) {
    MessageService service(call.settings(), &call.transport());
    return call.print(service.getMessages(call.argument(0), call.option("--position")));
  });
}

int runUpdateMeta(std::span<const std::string> args, Io io) {
  return runCall("update-meta", kUpdateMeta, args, io, [](Call& call) {
    MessageService service(call.settings(), &call.transport());
    return call.print(service.updateMessage(call.argument(0), call.argument(1)));
  });
}

}  // namespace

TAVREL_COMMAND("messages", "prints a page of a conversation's messages", runMessages);
TAVREL_COMMAND("update-meta", "replaces the metadata of a message", runUpdateMeta);

}  // namespace tavrel::cli
