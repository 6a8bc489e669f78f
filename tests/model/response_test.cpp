#include "tavrel/model/response.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/json_edit.h"
#include "tavrel/core/json_value.h"

namespace tavrel {
namespace {

using testing::failurePath;
using Kind = DecodingError::Kind;

// Each line: the members after "status":200, and the Meta they give.
TEST(Meta, OptionalFieldsSwallowFailuresAndConvertNumbers) {
  struct Case {
    std::string members;
    Meta meta;
  } cases[] = {
      {"", {200, {}, {}, {}, {}}},
      {R"(,"error":"forbidden","error_message":"no")", {200, "forbidden", "no", {}, {}}},
      {R"(,"error":5,"error_message":null)", {200, {}, {}, {}, {}}},
      {R"(,"error":{"a":1},"error_message":["x"])", {200, {}, {}, {}, {}}},
      {R"(,"next_after":"15")", {200, {}, {}, "15", {}}},
      {R"(,"next_after":15)", {200, {}, {}, "15.0", {}}},
      {R"(,"next_after":15.25)", {200, {}, {}, "15.25", {}}},
      {R"(,"next_after":-3)", {200, {}, {}, "-3.0", {}}},
      {R"(,"next_after":true)", {200, {}, {}, {}, {}}},
      {R"(,"next_after":null)", {200, {}, {}, {}, {}}},
      {R"(,"next_after":["1"])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":["abc",1])", {200, {}, {}, {}, "abc"}},
      {R"(,"next_before_position":["",1])", {200, {}, {}, {}, ""}},
      {R"(,"next_before_position":[1,"abc"])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":[["abc"]])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":[])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":"abc")", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":5)", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":null)", {200, {}, {}, {}, {}}},
  };
  for (const auto& c : cases) {
    const std::string json = R"({"status":200)" + c.members + "}";
    auto meta = decodeJson<Meta>(json);
    ASSERT_TRUE(meta) << json << " -> " << meta.error().what();
    EXPECT_EQ(meta.value(), c.meta) << json;
  }
}

TEST(Meta, StatusIsARequiredInteger) {
  struct Case {
    std::string json;
    Kind kind;
  } cases[] = {
      {R"({"error":"x"})", Kind::keyNotFound},
      {R"({"status":null})", Kind::valueNotFound},
      {R"({"status":"200"})", Kind::typeMismatch},
      {R"({"status":200.5})", Kind::typeMismatch},
  };
  for (const auto& c : cases) {
    auto meta = decodeJson<Meta>(c.json);
    ASSERT_FALSE(meta) << c.json;
    EXPECT_EQ(meta.error().kind(), c.kind) << c.json;
    EXPECT_EQ(meta.error().path(), "status") << c.json;
  }
}

TEST(Meta, PrintErrorWritesAbsentTextsAsNil) {
  EXPECT_EQ((Meta{403, "forbidden", {}, {}, {}}).printError(),
            "Ошибка (status: 403) forbidden: nil");
  EXPECT_EQ((Meta{-1, {}, {}, {}, {}}).printError(), "Ошибка (status: -1) nil: nil");
  EXPECT_EQ((Meta{500, {}, "", {}, {}}).printError(), "Ошибка (status: 500) nil: ");
  EXPECT_EQ((Meta{422, "invalid", "bad body", "x", "y"}).printError(),
            "Ошибка (status: 422) invalid: bad body");
}

TEST(Response, MetaFirstThenDataBothRequired) {
  struct Case {
    std::string json;
    std::string path;  // "decoded" on success
  } cases[] = {
      {R"({"meta":{"status":200},"data":{"id":"9"}})", "decoded"},
      {R"({"data":{"id":"9"}})", "meta"},
      {R"({"meta":{"status":200}})", "data"},
      {R"({"meta":{},"data":{"id":"9"}})", "meta.status"},
      {R"({"meta":{},"data":{}})", "meta.status"},  // meta is read first
      {R"({"meta":null,"data":{"id":"9"}})", "meta"},
      {R"({"meta":{"status":200},"data":null})", "data"},
      {R"({"meta":{"status":200},"data":{"id":9}})", "data.id"},
      {R"({"meta":{"status":200},"data":{}})", "data.id"},
      {R"([{"meta":{"status":200},"data":{"id":"9"}}])", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failurePath(decodeJson<Response<SimpleId>>(c.json)), c.path) << c.json;
  }
  auto ok = decodeJson<Response<SimpleId>>(cases[0].json);
  EXPECT_EQ(ok->data, SimpleId{"9"});
  EXPECT_EQ(ok->meta.status, 200);
}

TEST(Response, DataOfJsonValueAndOfArrays) {
  // JsonValue takes anything present, null included, but the key is required.
  auto null = decodeJson<Response<JsonValue>>(R"({"meta":{"status":200},"data":null})");
  ASSERT_TRUE(null);
  EXPECT_TRUE(null->data.isEmpty());
  EXPECT_EQ(failurePath(decodeJson<Response<JsonValue>>(R"({"meta":{"status":200}})")), "data");

  using Ids = Response<std::vector<SimpleId>>;
  auto ids = decodeJson<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{"id":"b"}]})");
  ASSERT_TRUE(ids);
  EXPECT_EQ(ids->data, (std::vector<SimpleId>{{"a"}, {"b"}}));
  // One bad record fails the whole answer.
  EXPECT_EQ(failurePath(decodeJson<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{}]})")),
            "data[1].id");
  EXPECT_EQ(failurePath(decodeJson<Ids>(R"({"meta":{"status":200},"data":{"id":"a"}})")), "data");
}

}  // namespace
}  // namespace tavrel
