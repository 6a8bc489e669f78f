#pragma once
// The applications of a service's database, without starting a server: for
// `tavrel serve --new-app` and for an operator who reads the secret from the
// database rather than from the command line.

#include <string>
#include <variant>
#include <vector>

#include "tavrel/service/server.h"

namespace tavrel::service {

// Adds an application to the database at `db` (made if new, with the demo
// app first); its key and secret are new and random.
std::variant<AppCredentials, StartError> addApp(const std::string& db, const std::string& name);

// Every application of the database at `db`, the demo app first.
std::variant<std::vector<AppCredentials>, StartError> listApps(const std::string& db);

// The header that carries the identity secret to the operator's routes,
// which live under "/operator/" beside "/api/v1/":
//   GET  /operator/conversations               the application's conversations
//   POST /operator/conversations/ID/reply      form field "body": a person's answer
//   POST /operator/conversations/ID/assign     a person takes it over; the bot stops
//   POST /operator/conversations/ID/close
inline constexpr const char* kSecretHeader = "X-Tavrel-Secret";

}  // namespace tavrel::service
