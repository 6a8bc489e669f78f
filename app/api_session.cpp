// The visitor's session: `tavrel connect`, `tavrel auth` and `tavrel presence`.
// connect and auth save what they learn in the state directory, where every
// other call finds its credentials.
#include <string>

#include "api_common.h"
#include "tavrel/api/user_service.h"
#include "version.h"

namespace tavrel::cli {
namespace {

const CommandSpec kConnect{
    "connect --key KEY [--app-version V]",
    "Announces this device to the service with the application's API key and\n"
    "prints {\"user\": ..., \"messenger\": ...}. The session (token, app id, user id\n"
    "and the messenger) is saved in the state directory for the calls that follow.\n"
    "--app-version goes to the service as \"iOS sdk V\" (default: this client's version).\n"
    "The request carries no credentials: there are none before it.",
    {"--key", "--app-version"},
    {"--key"},
    0,
    0};

const CommandSpec kAuth{
    "auth --user-id ID --user-auth-key KEY",
    "Proves a known user id with the HMAC-SHA-256 of the id under KEY, with the\n"
    "messenger saved by connect, and saves the session of that user. Prints\n"
    "{\"user\": ..., \"messenger\": ...}, or both null when the answer names no user\n"
    "(the saved session then stays as it was). Here --user-id is the id to prove;\n"
    "the request carries no credentials.",
    {"--user-auth-key"},
    {"--user-id", "--user-auth-key"},
    0,
    0};

const CommandSpec kPresence{"presence", "Marks the visitor online.", {}, {}, 0, 0};

// {"user": ..., "messenger": ...}; both null for no session.
int printSession(Call& call, const std::optional<UserService::Session>& session) {
  JsonWriter writer;
  writer.beginObject();
  writer.key("user");
  writeAny(writer, session ? std::optional<User>(session->first) : std::nullopt);
  writer.key("messenger");
  writeAny(writer, session ? std::optional<Messenger>(session->second) : std::nullopt);
  writer.endObject();
  return call.printJson(writer);
}

SavedSession toSaved(const UserService::Session& session) {
  const auto& [user, messenger] = session;
  return SavedSession{user.token, user.appId, user.id, messenger};
}

int runConnect(std::span<const std::string> args, Io io) {
  return runCall("connect", kConnect, args, io, [](Call& call) {
    UserService service(nullptr, &call.transport());
    auto outcome = call.await(
        service.connect(*call.option("--key"), call.option("--app-version").value_or(kVersion)));
    if (auto* status = std::get_if<int>(&outcome)) return *status;
    const auto& session = std::get<UserService::Session>(outcome);
    if (!session.first.token)
      call.note("the answer holds no token; the session is saved without one");
    const int status = printSession(call, session);
    return call.save(toSaved(session)) ? status : 2;
  });
}

int runAuth(std::span<const std::string> args, Io io) {
  return runCall("auth", kAuth, args, io, [](Call& call) {
    if (!call.session() || !call.session()->messenger) {
      return call.usage("no saved messenger: run `tavrel connect` first");
    }
    UserService service(nullptr, &call.transport());
    auto outcome = call.await(service.auth(*call.option("--user-id"), *call.session()->messenger,
                                           *call.option("--user-auth-key")));
    if (auto* status = std::get_if<int>(&outcome)) return *status;
    const auto& session = std::get<std::optional<UserService::Session>>(outcome);
    const int status = printSession(call, session);
    if (!session) {
      call.note("the answer names no user; the saved session is unchanged");
      return status;
    }
    return call.save(toSaved(*session)) ? status : 2;
  });
}

int runPresence(std::span<const std::string> args, Io io) {
  return runCall("presence", kPresence, args, io, [](Call& call) {
    UserService service(call.settings(), &call.transport());
    return call.print(service.setPresence());
  });
}

}  // namespace

TAVREL_COMMAND("connect", "opens a visitor session with an API key and saves it", runConnect);
TAVREL_COMMAND("auth", "proves a known user id and saves that user's session", runAuth);
TAVREL_COMMAND("presence", "marks the visitor online", runPresence);

}  // namespace tavrel::cli
