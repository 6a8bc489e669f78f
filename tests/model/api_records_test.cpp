#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"
#include "tavrel/core/json_value.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/model/response.h"
#include "tavrel/model/user_property.h"

// The records of the API answers and requests: Meta, Response, SimpleId,
// UserProperty and the knowledge base.
namespace tavrel {
namespace {

using testing::failurePath;

// Each line: the members after "status":200, and the Meta they give.
TEST(Meta, OptionalFieldsSwallowFailuresAndConvertNumbers) {
  struct Case {
    std::string members;
    Meta meta;
  } cases[] = {
      {"", {200, {}, {}, {}, {}}},
      {R"(,"error":"forbidden","error_message":"no")", {200, "forbidden", "no", {}, {}}},
      {R"(,"error":5,"error_message":null)", {200, {}, {}, {}, {}}},
      {R"(,"next_after":"15")", {200, {}, {}, "15", {}}},
      {R"(,"next_after":15)", {200, {}, {}, "15.0", {}}},
      {R"(,"next_after":15.25)", {200, {}, {}, "15.25", {}}},
      {R"(,"next_after":true)", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":["abc",1])", {200, {}, {}, {}, "abc"}},
      {R"(,"next_before_position":[1,"abc"])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":"abc")", {200, {}, {}, {}, {}}},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"status":200)" + c.members + "}";
    auto meta = decodeJson<Meta>(json);
    ASSERT_TRUE(meta) << json << " -> " << meta.error().what();
    EXPECT_EQ(meta.value(), c.meta) << json;
  }
  // "status" is a required integer.
  for (std::string json : {R"({"error":"x"})", R"({"status":"200"})", R"({"status":200.5})"}) {
    EXPECT_EQ(failurePath(decodeJson<Meta>(json)), "status") << json;
  }
}

TEST(Meta, PrintErrorWritesAbsentTextsAsNil) {
  EXPECT_EQ((Meta{403, "forbidden", {}, {}, {}}).printError(),
            "Ошибка (status: 403) forbidden: nil");
  EXPECT_EQ((Meta{-1, {}, {}, {}, {}}).printError(), "Ошибка (status: -1) nil: nil");
  EXPECT_EQ((Meta{422, "invalid", "", "x", "y"}).printError(), "Ошибка (status: 422) invalid: ");
}

TEST(Response, MetaFirstThenDataBothRequired) {
  struct Case {
    std::string json, path;
  } cases[] = {
      {R"({"meta":{"status":200},"data":{"id":"9"}})", "decoded"},
      {R"({"data":{"id":"9"}})", "meta"},
      {R"({"meta":{"status":200}})", "data"},
      {R"({"meta":{},"data":{}})", "meta.status"},  // meta is read first
      {R"({"meta":{"status":200},"data":null})", "data"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failurePath(decodeJson<Response<SimpleId>>(c.json)), c.path) << c.json;
  }
  EXPECT_EQ(decodeJson<Response<SimpleId>>(cases[0].json)->data, SimpleId{"9"});

  // JsonValue takes anything present, null included, but the key is required.
  auto null = decodeJson<Response<JsonValue>>(R"({"meta":{"status":200},"data":null})");
  ASSERT_TRUE(null);
  EXPECT_TRUE(null->data.isEmpty());
  EXPECT_EQ(failurePath(decodeJson<Response<JsonValue>>(R"({"meta":{"status":200}})")), "data");

  // One bad record fails the whole answer.
  using Ids = Response<std::vector<SimpleId>>;
  auto ids = decodeJson<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{"id":"b"}]})");
  ASSERT_TRUE(ids);
  EXPECT_EQ(ids->data, (std::vector<SimpleId>{{"a"}, {"b"}}));
  EXPECT_EQ(failurePath(decodeJson<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{}]})")),
            "data[1].id");
}
using Op = UserProperty::Operations;

TEST(UserProperty, EveryOperationEncodesAndDecodesAsItsWireValue) {
  const std::pair<Op, std::string> wireValues[] = {
      {Op::updateOrCreate, "update_or_create"}, {Op::setOnce, "set_once"}, {Op::add, "add"},
      {Op::delete_, "delete"}, {Op::append, "append"}, {Op::union_, "union"},
      {Op::exclude, "exclude"}};
  for (const auto& [op, wire] : wireValues) {
    EXPECT_EQ(encodeJson(UserProperty("age", "42", op)).value(),
              R"({"op":")" + wire + R"(","key":"age","value":"42"})");
    auto decoded = decodeJson<UserProperty>(R"({"operation":")" + wire + R"(","key":"k","value":"v"})");
    ASSERT_TRUE(decoded) << wire;
    EXPECT_EQ(decoded.value(), UserProperty("k", "v", op));
  }
}

TEST(UserProperty, DecodeRequiresAllThreeInOrderUnderItsOwnKeys) {
  // What encode writes does not decode back: the operation key differs.
  EXPECT_EQ(failurePath(decodeJson<UserProperty>(encodeJson(UserProperty("a", "1", Op::add)).value())),
            "operation");
  struct Case {
    std::string json, path;
  } cases[] = {
      {R"({"operation":"replace","key":"k","value":"v"})", "operation"},
      {R"({"operation":1,"key":"k","value":"v"})", "operation"},
      {R"({"operation":"add","key":null,"value":"v"})", "key"},
      {R"({"operation":"add","key":"k","value":42})", "value"},
      {R"({"operation":"replace","value":1})", "operation"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failurePath(decodeJson<UserProperty>(c.json)), c.path) << c.json;
  }
  EXPECT_EQ(decodeJson<UserProperty>(cases[0].json).error().kind(),
            DecodingError::Kind::dataCorrupted);
}

TEST(KnowledgeBaseSettings, FullDomainSwallowsFailures) {
  using S = KnowledgeBaseSettings;
  EXPECT_EQ(decodeJson<S>(R"({"domain":"d","app":"7","full_domain":"f"})").value(), (S{"d", "7", "f"}));
  for (std::string fullDomain : {"null", "5", "[\"f\"]"}) {
    auto settings = decodeJson<S>(R"({"domain":"d","app":"7","full_domain":)" + fullDomain + "}");
    EXPECT_EQ(settings.value(), (S{"d", "7", std::nullopt})) << fullDomain;
  }
  EXPECT_EQ(failurePath(decodeJson<S>(R"({"domain":"d","full_domain":"f"})")), "app");
  EXPECT_EQ(failurePath(decodeJson<S>(R"({"domain":1,"app":"7"})")), "domain");
}

TEST(KnowledgeBaseCategory, IconEntitiesDecodedAndCounterLenient) {
  struct Case {
    std::string members, path, icon = "";
    std::optional<std::int64_t> count = std::nullopt;
  } cases[] = {
      {R"("icon":"&lt;svg viewBox=&quot;0 0 1 1&quot;&gt;&lt;/svg&gt;","articles_counter":3)",
       "decoded", R"(<svg viewBox="0 0 1 1"></svg>)", 3},
      {R"("icon":"A &amp; B","articles_counter":"7")", "decoded", "A & B"},
      {R"("icon":"x","articles_counter":1.5)", "decoded", "x"},
      {R"("articles_counter":3)", "icon"},
      {R"("icon":null)", "icon"},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"id":"c1","name":"Оплата",)" + c.members + "}";
    auto category = decodeJson<KnowledgeBaseCategory>(json);
    EXPECT_EQ(failurePath(category), c.path) << json;
    if (category) {
      EXPECT_EQ(category.value(), (KnowledgeBaseCategory{"c1", "Оплата", c.icon, c.count}));
    }
  }
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseCategory>(R"({"id":"c1","icon":"x"})")), "name");
}

TEST(KnowledgeBaseArticle, DescriptionFallsBackToQuoteAndTheRestIsLenient) {
  struct Case {
    std::string members;
    std::optional<std::string> description, content = std::nullopt;
    std::string categoryId = "";
  } cases[] = {
      {R"(,"short_description":"s","quote":"q","content":"c","category_id":"k")", "s", "c", "k"},
      {R"(,"short_description":"","quote":"q")", ""},
      {R"(,"quote":"q")", "q"},
      {R"(,"short_description":null,"quote":"q")", "q"},
      {R"(,"short_description":5,"quote":5)", std::nullopt},
      {"", std::nullopt},
      {R"(,"content":5,"category_id":5)", std::nullopt},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"id":"a1","name":"Как оплатить")" + c.members + "}";
    auto article = decodeJson<KnowledgeBaseArticle>(json);
    ASSERT_TRUE(article) << json << " -> " << article.error().what();
    EXPECT_EQ(article.value(),
              (KnowledgeBaseArticle{"a1", "Как оплатить", c.description, c.content, c.categoryId}));
  }
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseArticle>(R"({"id":"a1","quote":"q"})")), "name");
  EXPECT_EQ(failurePath(decodeJson<KnowledgeBaseArticle>(R"({"name":"n"})")), "id");
}

}  // namespace
}  // namespace tavrel
