#include "tavrel/api/knowledge_base_service.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "api/api_fixture.h"

namespace tavrel {
namespace {

using test::ApiFixture;
using test::await;
using test::Reply;

std::string envelope(const std::string& data) {
  return R"({"meta":{"status":200},"data":)" + data + "}";
}

enum class Mode { app, sdk, none };

class KnowledgeBase : public ApiFixture {
 protected:
  std::shared_ptr<NetworkSettings> settings(Mode mode) const {
    return mode == Mode::app ? appSettings() : mode == Mode::sdk ? sdkSettings() : nullptr;
  }
};

// Every route in both modes and without settings: the app id in the path,
// the flags as 1, the search text through the form encoder and the article
// id as it is.
TEST_F(KnowledgeBase, EveryRouteOnTheWire) {
  using Call = std::function<rx::Observable<bool>(const KnowledgeBaseService&)>;
  auto ok = [](const auto& result) { return result.succeed(); };
  struct Case {
    const char* name;
    Mode mode;
    Call call;
    std::string data;
    std::string path, query;
  };
  const Call settingsCall = [&](const KnowledgeBaseService& s) { return s.getSettings().map(ok); };
  const Call categories = [&](const KnowledgeBaseService& s) { return s.getCategories().map(ok); };
  const Call articles = [&](const KnowledgeBaseService& s) {
    return s.getArticles("c 1").map(ok);
  };
  const Call article = [&](const KnowledgeBaseService& s) {
    return s.getArticle("a-5_x").map(ok);
  };
  const Call search = [&](const KnowledgeBaseService& s) {
    return s.search("café & tea").map(ok);
  };
  const Call empty = [&](const KnowledgeBaseService& s) { return s.search("").map(ok); };
  const std::string settingsJson = R"({"domain":"help","app":"7"})";
  const std::string articleJson = R"({"id":"a-5_x","name":"Оплата"})";
  const std::vector<Case> cases{
      {"settings", Mode::app, settingsCall, settingsJson, "/api/v1/knowledgebase/7",
       "auth_token=appm-7-tok&id_as_string=1"},
      {"settings", Mode::none, settingsCall, settingsJson, "/api/v1/knowledgebase/%7Bapp_id%7D",
       "id_as_string=1"},
      {"categories", Mode::sdk, categories, "[]", "/api/v1/knowledgebase/7/categories",
       "auth_token=tok&id_as_string=1&include_articles_counter=1"},
      {"categories", Mode::app, categories, "[]", "/api/v1/knowledgebase/7/categories",
       "auth_token=appm-7-tok&id_as_string=1&include_articles_counter=1"},
      {"articles", Mode::sdk, articles, "[]", "/api/v1/knowledgebase/7/articles",
       "auth_token=tok&category=c%201&id_as_string=1"},
      {"articles", Mode::none, articles, "[]", "/api/v1/knowledgebase/%7Bapp_id%7D/articles",
       "category=c%201&id_as_string=1"},
      {"article", Mode::app, article, articleJson, "/api/v1/knowledgebase/7/articles/a-5_x",
       "auth_token=appm-7-tok&id_as_string=1"},
      {"search", Mode::sdk, search, "[]", "/api/v1/knowledgebase/7/search",
       "auth_token=tok&id_as_string=1&include_category=1&include_quote=1&pattern=caf%C3%A9%20%26%"
       "20tea"},
      {"search", Mode::app, empty, "[]", "/api/v1/knowledgebase/7/search",
       "auth_token=appm-7-tok&id_as_string=1&include_category=1&include_quote=1&pattern="},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(std::string(c.name) + " #" + std::to_string(i));
    KnowledgeBaseService service(settings(c.mode), &transport);
    server.enqueue(Reply::json(200, envelope(c.data)));
    auto run = await(c.call(service));
    ASSERT_TRUE(run.completed);
    EXPECT_EQ(run.elements, std::vector<bool>{true});
    auto all = server.requests();
    ASSERT_EQ(all.size(), i + 1);
    EXPECT_EQ(all.back().method, "GET");
    EXPECT_EQ(all.back().path, c.path);
    EXPECT_EQ(all.back().query, c.query);
    EXPECT_EQ(all.back().body, "");
  }
}

// The flags are what fill the records: counters of categories, quotes and
// categories of search hits.
TEST_F(KnowledgeBase, DecodesCategoriesAndSearchHits) {
  KnowledgeBaseService service(appSettings(), &transport);
  server.enqueue(Reply::json(
      200, envelope(R"([{"id":"1","name":"Оплата","icon":"&lt;b&gt;","articles_counter":3},)"
                    R"({"id":"2","name":"Доставка","icon":""}])")));
  auto categories = await(service.getCategories());
  ASSERT_EQ(categories.elements.size(), 1u);
  auto list = categories.elements[0].success();
  ASSERT_TRUE(list);
  ASSERT_EQ(list->data.size(), 2u);
  EXPECT_EQ(list->data[0].count, 3);
  EXPECT_EQ(list->data[0].icon, "<b>");
  EXPECT_EQ(list->data[1].count, std::nullopt);

  server.enqueue(Reply::json(
      200, envelope(R"([{"id":"a1","name":"Как оплатить","quote":"…картой…","category_id":"1"}])")));
  auto hits = await(service.search("картой"));
  ASSERT_EQ(hits.elements.size(), 1u);
  auto found = hits.elements[0].success();
  ASSERT_TRUE(found);
  ASSERT_EQ(found->data.size(), 1u);
  EXPECT_EQ(found->data[0].description, "…картой…");
  EXPECT_EQ(found->data[0].categoryId, "1");

  server.enqueue(Reply::json(200, envelope(R"({"name":"no id"})")));
  auto bad = await(service.getArticle("a1"));
  ASSERT_EQ(bad.elements.size(), 1u);
  EXPECT_EQ(bad.elements[0].error()->text(),
            "ошибка десериализации модели Response<KnowledgeBaseArticle>");
}

}  // namespace
}  // namespace tavrel
