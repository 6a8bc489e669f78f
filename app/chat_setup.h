#pragma once
// How a chat host finds its service and opens the visitor's session: the
// reference service started in the process when nothing names another, and
// the session from an API key, a known user's proof or the saved session.
// Shared by `tavrel chat` and `tavrel-desk`.

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "api_common.h"
#include "tavrel/service/server.h"

namespace tavrel::cli {

// Whether `option` is on the command line (before "--").
bool given(std::span<const std::string> args, std::string_view option);
// The value of `option` on the command line, if given (before "--").
std::optional<std::string> valueOf(std::span<const std::string> args, std::string_view option);

// Whether a service is configured: an API key, a token, a main bundle named,
// or a saved session. Without any, a chat starts its own.
bool serviceConfigured(std::span<const std::string> args);

// The reference service in this process, and the bundles that point at it
// (registered while it lives; its temporary directory goes with it).
class Embedded {
 public:
  // The service on a free port of 127.0.0.1 with database `db`; the reason
  // when it does not start.
  static std::variant<std::unique_ptr<Embedded>, std::string> start(const std::string& db);
  ~Embedded();
  Embedded(const Embedded&) = delete;
  Embedded& operator=(const Embedded&) = delete;

  // The demo app's identity secret, for `tavrel operator` in another terminal.
  std::filesystem::path secretFile() const { return directory_ / "secret"; }
  // "http://127.0.0.1:PORT", what `tavrel operator --server` takes.
  std::string origin() const;
  const service::Server& server() const { return *server_; }

 private:
  Embedded() = default;
  std::unique_ptr<service::Server> server_;
  std::filesystem::path directory_;
};

// The visitor's session: connects with the key (the embedded demo app's, or
// --key), proves --user-id; gives the settings or the exit status.
std::variant<std::shared_ptr<NetworkSettings>, int> openSession(Call& call,
                                                               const Embedded* embedded);

}  // namespace tavrel::cli
