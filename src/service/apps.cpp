#include "tavrel/service/apps.h"

#include "service/store.h"

namespace tavrel::service {
namespace {

AppCredentials credentials(const AppRow& app) {
  return AppCredentials{std::to_string(app.id), app.name, app.apiKey, app.secret};
}

}  // namespace

std::variant<AppCredentials, StartError> addApp(const std::string& db, const std::string& name) {
  try {
    Store store(db);
    if (store.apps().empty()) store.createApp("Demo");
    return credentials(store.createApp(name));
  } catch (const std::exception& e) {
    return StartError{"cannot open database " + db + ": " + e.what()};
  }
}

std::variant<std::vector<AppCredentials>, StartError> listApps(const std::string& db) {
  try {
    Store store(db);
    std::vector<AppCredentials> out;
    for (const auto& app : store.apps()) out.push_back(credentials(app));
    return out;
  } catch (const std::exception& e) {
    return StartError{"cannot open database " + db + ": " + e.what()};
  }
}

}  // namespace tavrel::service
