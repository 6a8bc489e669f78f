#include "tavrel/model/knowledge_base.h"

#include <gtest/gtest.h>

#include <string>

#include "model/json_edit.h"

namespace tavrel {
namespace {

using testing::failurePath;

TEST(KnowledgeBaseSettings, FullDomainSwallowsFailures) {
  struct Case {
    std::string json;
    std::string path;
    std::optional<std::string> fullDomain = std::nullopt;
  } cases[] = {
      {R"({"domain":"help","app":"7","full_domain":"help.example"})", "decoded", "help.example"},
      {R"({"domain":"help","app":"7","full_domain":null})", "decoded"},
      {R"({"domain":"help","app":"7","full_domain":5})", "decoded"},
      {R"({"domain":"help","app":"7"})", "decoded"},
      {R"({"domain":"help","full_domain":"x"})", "app"},
      {R"({"domain":"help","app":7})", "app"},
      {R"({"domain":null,"app":"7"})", "domain"},
  };
  for (const auto& c : cases) {
    auto settings = decodeJson<KnowledgeBaseSettings>(c.json);
    EXPECT_EQ(failurePath(settings), c.path) << c.json;
    if (settings) { EXPECT_EQ(settings.value(), (KnowledgeBaseSettings{"help", "7", c.fullDomain})); }
  }
}

TEST(KnowledgeBaseCategory, IconEntitiesDecodedAndCounterLenient) {
  struct Case {
    std::string members;
    std::string path;
    std::string icon = "";
    std::optional<std::int64_t> count = std::nullopt;
  } cases[] = {
      {R"("icon":"&lt;svg viewBox=&quot;0 0 1 1&quot;&gt;&lt;/svg&gt;","articles_counter":3)",
       "decoded", R"(<svg viewBox="0 0 1 1"></svg>)", 3},
      {R"("icon":"A &amp; B","articles_counter":"7")", "decoded", "A & B"},
      {R"("icon":"x","articles_counter":null)", "decoded", "x"},
      {R"("icon":"x","articles_counter":1.5)", "decoded", "x"},
      {R"("icon":"")", "decoded", ""},
      {R"("articles_counter":3)", "icon"},
      {R"("icon":null)", "icon"},
      {R"("icon":1)", "icon"},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"id":"c1","name":"Оплата",)" + c.members + "}";
    auto category = decodeJson<KnowledgeBaseCategory>(json);
    EXPECT_EQ(failurePath(category), c.path) << json;
    if (category) {
      EXPECT_EQ(category.value(), (KnowledgeBaseCategory{"c1", "Оплата", c.icon, c.count})) << json;
    }
  }
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseCategory>(R"({"id":"c1","icon":"x"})")), "name");
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseCategory>(R"({"id":1,"name":"n"})")), "id");
}

TEST(KnowledgeBaseArticle, DescriptionFallsBackToQuoteAndTheRestIsLenient) {
  struct Case {
    std::string members;
    std::optional<std::string> description;
    std::optional<std::string> content = std::nullopt;
    std::string categoryId = "";
  } cases[] = {
      {R"("short_description":"s","quote":"q","content":"c","category_id":"k")", "s", "c", "k"},
      {R"("short_description":"","quote":"q")", ""},
      {R"("quote":"q")", "q"},
      {R"("short_description":null,"quote":"q")", "q"},
      {R"("short_description":5,"quote":"q")", "q"},
      {R"("short_description":5,"quote":5)", std::nullopt},
      {"", std::nullopt},
      {R"("content":5,"category_id":5)", std::nullopt},
      {R"("content":null,"category_id":null)", std::nullopt},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"id":"a1","name":"Как оплатить")" +
                             (c.members.empty() ? "" : "," + c.members) + "}";
    auto article = decodeJson<KnowledgeBaseArticle>(json);
    ASSERT_TRUE(article) << json << " -> " << article.error().what();
    EXPECT_EQ(article.value(), (KnowledgeBaseArticle{"a1", "Как оплатить", c.description, c.content,
                                              c.categoryId}))
        << json;
  }
  for (std::string json : {R"({"id":"a1","quote":"q"})", R"({"id":"a1","name":5})"}) {
    EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseArticle>(json)), "name") << json;
  }
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseArticle>(R"({"name":"n"})")), "id");
}

}  // namespace
}  // namespace tavrel
