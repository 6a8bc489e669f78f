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
  const auto [guest, messenger] = succeeded(users.connect(demo.apiKey, "1.0"));
  EXPECT_EQ(messenger.appId, demo.appId);

  auto known = succeeded(users.auth("alice@example.com", messenger, demo.identitySecret));
  ASSERT_TRUE(known && known->first.token);
  const User alice = known->first;
  EXPECT_NE(alice.id, guest.id);
  EXPECT_NE(*alice.token, *guest.token);
  auto again = succeeded(users.auth("alice@example.com", messenger, demo.identitySecret));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->first.id, alice.id);  // the same user, a new token

  // A hash made with another key names no user. Without a session token the
  // hash itself says which application the user belongs to.
  EXPECT_FALSE(succeeded(users.auth("alice@example.com", messenger, "not the secret")));
  const auto other = server->newApp("Other");
  auto elsewhere = succeeded(users.auth("alice@example.com", messenger, other.identitySecret));
  ASSERT_TRUE(elsewhere);
  EXPECT_EQ(elsewhere->first.appId, other.appId);
  // An unknown key is refused as the library reads a connect answer.
  EXPECT_NE(refused(users.connect("no such key", "1.0")).find("User"), std::string::npos);

  // The known user's token works for the routes that need one.
  auto settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, *alice.token,
                                                    alice.appId, alice.id);
  succeeded(UserService(settings, &transport).setPresence());
}

TEST_F(SessionTest, EventsAndEveryPropertyOperation) {
  EventPropService events(visitor(), &transport);
  EXPECT_EQ(succeeded(events.trackEvent("opened_chat", R"({"screen":"main"})")).data.getString("count"), "1");

  using Op = UserProperty::Operations;
  auto props = succeeded(events.setUserProperty({
      {"name", "Ann", Op::updateOrCreate}, {"name", "Bob", Op::setOnce}, {"plan", "free", Op::setOnce},
      {"visits", "2", Op::add}, {"visits", "3", Op::add}, {"tags", "a", Op::append},
      {"tags", "b", Op::append}, {"tags", "a", Op::union_}, {"tags", "c", Op::union_},
      {"tags", "b", Op::exclude}, {"plan", "", Op::delete_},
  }));
  EXPECT_EQ(props.data.asString(), R"({"name":"Ann","tags":["a","c"],"visits":5})");

  // A refused batch changes nothing.
  EXPECT_NE(refused(events.setUserProperty({{"name", "Zed", Op::updateOrCreate}, {"name", "x", Op::add}}))
                .find("add needs numbers"),
            std::string::npos);
  EXPECT_EQ(succeeded(events.setUserProperty({})).data.getString("name"), "Ann");
}

TEST_F(SessionTest, TheHelpCentreIsSeededAndSearchRanksByWords) {
  auto settings = visitor();
  KnowledgeBaseService kb(settings, &transport);
  EXPECT_EQ(succeeded(kb.getSettings()).data.appId, settings->appId);

  auto categories = succeeded(kb.getCategories()).data;
  ASSERT_EQ(categories.size(), 3u);
  EXPECT_EQ(categories[0].icon, "<i class=\"icon-start\"></i>");
  EXPECT_EQ(categories[1].count, 2);
  auto articles = succeeded(kb.getArticles(categories[1].id)).data;
  ASSERT_EQ(articles.size(), 2u);
  auto article = succeeded(kb.getArticle(articles[0].id)).data;
  EXPECT_TRUE(article.content);
  EXPECT_EQ(article.categoryId, categories[1].id);

  struct Case {
    std::string pattern;
    std::string best;  // empty: nothing found
  };
  for (const Case& c : std::vector<Case>{{"refunds for my order", "How to get a refund"},
                                         {"Хочу вернуть деньги", "Как вернуть деньги"},
                                         {"ПАРОЛЬ", "Как сменить пароль"},
                                         {"weather", ""},
                                         {"", ""}}) {
    auto hits = succeeded(kb.search(c.pattern)).data;
    if (c.best.empty()) {
      EXPECT_TRUE(hits.empty()) << c.pattern;
    } else {
      ASSERT_FALSE(hits.empty()) << c.pattern;
      EXPECT_EQ(hits[0].name, c.best);
      EXPECT_TRUE(hits[0].description);  // the quote
    }
  }
}

}  // namespace
}  // namespace tavrel::test
