// The visitor's session, what it records, and the help centre, through the
// library's services.

#include <gtest/gtest.h>

#include "service/service_fixture.h"
#include "tavrel/api/event_prop_service.h"
#include "tavrel/api/knowledge_base_service.h"

namespace tavrel::test {
namespace {

class SessionTest : public ServiceTest {};

TEST_F(SessionTest, AuthTakesTheRightHashOnlyAndKeepsTheKnownUser) {
  UserService users(nullptr, &transport);
  const auto demo = server->demoApp();
  auto connected = succeeded(users.connect(demo.apiKey, "1.0"));
  ASSERT_TRUE(connected);
  const Messenger& messenger = connected->second;
  EXPECT_EQ(messenger.appId, demo.appId);

  auto known = succeeded(users.auth("alice@example.com", messenger, demo.identitySecret));
  ASSERT_TRUE(known && *known);
  const User& alice = (*known)->first;
  EXPECT_NE(alice.id, connected->first.id);
  ASSERT_TRUE(alice.token);
  EXPECT_NE(*alice.token, *connected->first.token);
  auto again = succeeded(users.auth("alice@example.com", messenger, demo.identitySecret));
  ASSERT_TRUE(again && *again);
  EXPECT_EQ((*again)->first.id, alice.id);  // the same user, a new token

  // A hash made with another key names no user. Without a session token the
  // hash itself says which application the user belongs to.
  auto wrong = succeeded(users.auth("alice@example.com", messenger, "not the secret"));
  ASSERT_TRUE(wrong);
  EXPECT_FALSE(*wrong);
  const auto other = server->newApp("Other");
  auto elsewhere = succeeded(users.auth("alice@example.com", messenger, other.identitySecret));
  ASSERT_TRUE(elsewhere && *elsewhere);
  EXPECT_EQ((*elsewhere)->first.appId, other.appId);
  // An unknown key is refused as the library reads a connect answer.
  EXPECT_NE(refused(users.connect("no such key", "1.0")).find("User"), std::string::npos);

  // The known user's token works for the routes that need one.
  auto settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, *alice.token,
                                                    alice.appId, alice.id);
  EXPECT_TRUE(succeeded(UserService(settings, &transport).setPresence()));
}

TEST_F(SessionTest, EventsAndEveryPropertyOperation) {
  auto settings = visitor();
  ASSERT_NE(settings, nullptr);
  EventPropService events(settings, &transport);
  auto tracked = succeeded(events.trackEvent("opened_chat", R"({"screen":"main"})"));
  ASSERT_TRUE(tracked);
  EXPECT_EQ(tracked->data.getString("count"), "1");

  using Op = UserProperty::Operations;
  auto props = succeeded(events.setUserProperty({
      {"name", "Ann", Op::updateOrCreate}, {"name", "Bob", Op::setOnce}, {"plan", "free", Op::setOnce},
      {"visits", "2", Op::add}, {"visits", "3", Op::add}, {"tags", "a", Op::append},
      {"tags", "b", Op::append}, {"tags", "a", Op::union_}, {"tags", "c", Op::union_},
      {"tags", "b", Op::exclude}, {"plan", "", Op::delete_},
  }));
  ASSERT_TRUE(props);
  EXPECT_EQ(props->data.asString(), R"({"name":"Ann","tags":["a","c"],"visits":5})");

  // A refused batch changes nothing.
  EXPECT_NE(refused(events.setUserProperty({{"name", "Zed", Op::updateOrCreate}, {"name", "x", Op::add}}))
                .find("add needs numbers"),
            std::string::npos);
  auto unchanged = succeeded(events.setUserProperty({}));
  ASSERT_TRUE(unchanged);
  EXPECT_EQ(unchanged->data.getString("name"), "Ann");
}

TEST_F(SessionTest, TheHelpCentreIsSeededAndSearchRanksByWords) {
  auto settings = visitor();
  ASSERT_NE(settings, nullptr);
  KnowledgeBaseService kb(settings, &transport);
  auto config = succeeded(kb.getSettings());
  ASSERT_TRUE(config);
  EXPECT_EQ(config->data.appId, settings->appId);

  auto categories = succeeded(kb.getCategories());
  ASSERT_TRUE(categories);
  ASSERT_EQ(categories->data.size(), 3u);
  EXPECT_EQ(categories->data[0].icon, "<i class=\"icon-start\"></i>");
  EXPECT_EQ(categories->data[1].count, 2);
  auto articles = succeeded(kb.getArticles(categories->data[1].id));
  ASSERT_TRUE(articles && articles->data.size() == 2);
  auto article = succeeded(kb.getArticle(articles->data[0].id));
  ASSERT_TRUE(article && article->data.content);
  EXPECT_EQ(article->data.categoryId, categories->data[1].id);

  struct Case {
    std::string pattern;
    std::string best;  // empty: nothing found
  };
  for (const Case& c : std::vector<Case>{{"refunds for my order", "How to get a refund"},
                                         {"Хочу вернуть деньги", "Как вернуть деньги"},
                                         {"ПАРОЛЬ", "Как сменить пароль"},
                                         {"weather", ""},
                                         {"", ""}}) {
    auto hits = succeeded(kb.search(c.pattern));
    ASSERT_TRUE(hits);
    if (c.best.empty()) {
      EXPECT_TRUE(hits->data.empty()) << c.pattern;
    } else {
      ASSERT_FALSE(hits->data.empty()) << c.pattern;
      EXPECT_EQ(hits->data[0].name, c.best);
      EXPECT_TRUE(hits->data[0].description);  // the quote
    }
  }
}

}  // namespace
}  // namespace tavrel::test
