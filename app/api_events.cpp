// What the host records about the visitor: `tavrel event` and `tavrel props`.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "api_common.h"
#include "tavrel/api/event_prop_service.h"

namespace tavrel::cli {
namespace {

const CommandSpec kEvent{
    "event NAME PARAMS",
    "Records the event NAME for the visitor. PARAMS is sent as it is, usually a\n"
    "JSON text: tavrel event purchase '{\"sum\": 10}'",
    {},
    {},
    2,
    2};

const CommandSpec kProps{
    "props OP:KEY=VALUE...",
    "Changes properties of the visitor, all in one request, in the order given.\n"
    "OP is one of update_or_create, set_once, add, delete, append, union,\n"
    "exclude; VALUE is text and may be empty: tavrel props set_once:plan=pro\n"
    "Without changes an empty list is sent.",
    {},
    {},
    0,
    SIZE_MAX};

// "OP:KEY=VALUE" as a property change; nothing if it has another form.
std::optional<UserProperty> parseChange(const std::string& text) {
  const auto colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  auto operation = operationFromRawValue(std::string_view(text).substr(0, colon));
  const auto eq = text.find('=', colon + 1);
  if (!operation || eq == std::string::npos || eq == colon + 1) return std::nullopt;
  return UserProperty(text.substr(colon + 1, eq - colon - 1), text.substr(eq + 1), *operation);
}

int runEvent(std::span<const std::string> args, Io io) {
  return runCall("event", kEvent, args, io, [](Call& call) {
    EventPropService service(call.settings(), &call.transport());
    return call.print(service.trackEvent(call.argument(0), call.argument(1)));
  });
}

int runProps(std::span<const std::string> args, Io io) {
  return runCall("props", kProps, args, io, [](Call& call) {
    std::vector<UserProperty> changes;
    for (std::size_t i = 0; i < call.argumentCount(); ++i) {
      auto change = parseChange(call.argument(i));
      if (!change) {
        return call.usage("'" + call.argument(i) +
                          "' is no OP:KEY=VALUE with OP one of update_or_create, set_once, add, "
                          "delete, append, union, exclude");
      }
      changes.push_back(std::move(*change));
    }
    EventPropService service(call.settings(), &call.transport());
    return call.print(service.setUserProperty(changes));
  });
}

}  // namespace

TAVREL_COMMAND("event", "records an event of the visitor", runEvent);
TAVREL_COMMAND("props", "changes properties of the visitor", runProps);

}  // namespace tavrel::cli
