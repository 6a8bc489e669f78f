// Starting: refusals say why, a new database gets its demo app once, and
// applications added offline work when the server runs.

#include <gtest/gtest.h>

#include "service/service_fixture.h"
#include "tavrel/service/apps.h"

namespace tavrel::test {
namespace {

std::string refusal(const ServerOptions& options) {
  auto started = Server::start(options);
  auto* error = std::get_if<service::StartError>(&started);
  return error ? error->message : "started";
}

TEST(ServiceStart, RefusalsSayWhy) {
  auto running = startServer({});
  ASSERT_NE(running, nullptr);
  const std::string taken = "127.0.0.1:" + std::to_string(running->port());
  struct Case {
    ServerOptions options;
    std::string says;
  };
  for (const Case& c : std::vector<Case>{
           {{.listen = taken}, "port " + std::to_string(running->port()) + " on 127.0.0.1 is in use"},
           {{.listen = "localhost"}, "give ADDRESS:PORT"},
           {{.listen = "127.0.0.1:99999"}, "give ADDRESS:PORT"},
           {{.listen = "127.0.0.1:0", .db = "/proc/no/such/dir/service.db"}, "cannot open database /proc/no"},
       }) {
    EXPECT_NE(refusal(c.options).find(c.says), std::string::npos) << refusal(c.options);
  }
}

TEST(ServiceStart, TheDemoAppComesOnceAndAddedAppsConnect) {
  const auto dir = std::filesystem::temp_directory_path() / ("tavrel_start_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string db = (dir / "service.db").string();
  service::AppCredentials created;
  {
    auto first = startServer({.db = db}, &created);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(created.apiKey, first->demoApp().apiKey);
    EXPECT_GE(created.apiKey.size(), 32u);  // 128 bits and more, in hex
    EXPECT_GE(created.identitySecret.size(), 32u);
  }
  auto added = service::addApp(db, "Shop");
  ASSERT_TRUE(std::holds_alternative<service::AppCredentials>(added));
  const auto shop = std::get<service::AppCredentials>(added);
  EXPECT_NE(shop.apiKey, created.apiKey);

  service::AppCredentials again;
  auto server = startServer({.db = db}, &again);
  ASSERT_NE(server, nullptr);
  EXPECT_TRUE(again.apiKey.empty());  // not new: no demo app made
  auto apps = std::get<std::vector<service::AppCredentials>>(service::listApps(db));
  ASSERT_EQ(apps.size(), 2u);
  EXPECT_EQ(apps[0].apiKey, created.apiKey);

  MainBundle bundle({{"apiUrl", server->apiUrl()}});
  HttpTransport transport;
  auto session = succeeded(UserService(nullptr, &transport).connect(shop.apiKey, "1.0"));
  ASSERT_TRUE(session);
  EXPECT_EQ(session->first.appId, shop.appId);
  EXPECT_EQ(session->second.name, "Shop");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tavrel::test
