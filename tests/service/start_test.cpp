// Starting: refusals say why, a new database gets its demo app once and keeps
// what it stored, and applications added offline work when the server runs.

#include <gtest/gtest.h>

#include "service/service_fixture.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/message_service.h"
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

// A file database keeps every conversation and session across a restart, and
// applications added while no server runs connect when one does.
TEST(ServiceStart, AFileDatabaseKeepsItsAppsConversationsAndSessions) {
  const auto dir = std::filesystem::temp_directory_path() / ("tavrel_start_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const ServerOptions options{.db = (dir / "service.db").string(), .bot = false};
  service::AppCredentials created;
  std::shared_ptr<NetworkSettings> settings;
  std::string id;
  {
    auto first = startServer(options, &created);
    EXPECT_EQ(created.apiKey, first->demoApp().apiKey);
    EXPECT_GE(created.apiKey.size(), 32u);  // 128 bits and more, in hex
    EXPECT_GE(created.identitySecret.size(), 32u);
    MainBundle bundle({{"apiUrl", first->apiUrl()}});
    HttpTransport transport;
    auto user = succeeded(UserService(nullptr, &transport).connect(created.apiKey, "1.0")).first;
    settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, *user.token, user.appId,
                                                 user.id);
    ConversationService conversations(settings, &transport);
    id = succeeded(conversations.start("before the restart")).data.id;
    succeeded(conversations.reply(id, "second", "2", "comment"));
  }
  auto added = service::addApp(options.db, "Shop");
  ASSERT_TRUE(std::holds_alternative<service::AppCredentials>(added));
  const auto shop = std::get<service::AppCredentials>(added);
  EXPECT_NE(shop.apiKey, created.apiKey);

  service::AppCredentials again;
  auto server = startServer(options, &again);
  EXPECT_TRUE(again.apiKey.empty());  // not new: no demo app made
  auto apps = std::get<std::vector<service::AppCredentials>>(service::listApps(options.db));
  ASSERT_EQ(apps.size(), 2u);
  EXPECT_EQ(apps[0].apiKey, created.apiKey);

  MainBundle bundle({{"apiUrl", server->apiUrl()}});
  HttpTransport transport;
  auto [user, messenger] = succeeded(UserService(nullptr, &transport).connect(shop.apiKey, "1.0"));
  EXPECT_EQ(user.appId, shop.appId);
  EXPECT_EQ(messenger.name, "Shop");
  auto dialogs = succeeded(ConversationService(settings, &transport).getDialogs("")).data;
  ASSERT_EQ(dialogs.size(), 1u);
  EXPECT_EQ(dialogs[0].id, id);
  auto parts = succeeded(MessageService(settings, &transport).getMessages(id)).data;
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].body, "before the restart");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tavrel::test
