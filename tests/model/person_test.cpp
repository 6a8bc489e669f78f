#include "tavrel/model/person.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "model/record_json.h"

namespace tavrel {
namespace {

using testing::Change;
using testing::objectJson;
using testing::personMembers;
using Kind = DecodingError::Kind;

std::string person(const std::vector<Change>& changes = {}) {
  return objectJson(personMembers(), changes);
}

// Each line: changes to a good person, then the id it decodes with, or the
// failure it ends in. Only "id" swallows failures, and never coerces.
TEST(Person, DecodeRulesKeyByKey) {
  struct Case {
    std::vector<Change> changes;
    std::optional<std::string> id;  // when it decodes
    std::optional<Kind> failure;
    std::string path;
  } cases[] = {
      {{}, "a7", {}, ""}, {{{"id", R"("")"}}, "", {}, ""},
      {{{"id", "42"}}, std::nullopt, {}, ""}, {{{"id", "null"}}, std::nullopt, {}, ""},
      {{{"id", std::nullopt}}, std::nullopt, {}, ""},
      {{{"type", std::nullopt}}, {}, Kind::keyNotFound, "type"},
      {{{"name", std::nullopt}}, {}, Kind::keyNotFound, "name"},
      {{{"avatar", std::nullopt}}, {}, Kind::keyNotFound, "avatar"},
      {{{"avatar", "null"}}, {}, Kind::valueNotFound, "avatar"},
      {{{"name", "5"}}, {}, Kind::typeMismatch, "name"},
      // Keys are read in order: the first bad one is the one reported.
      {{{"avatar", std::nullopt}, {"type", "1"}}, {}, Kind::typeMismatch, "type"},
  };
  for (const auto& c : cases) {
    std::string json = person(c.changes);
    auto result = decodeJson<Person>(json);
    if (c.failure) {
      ASSERT_FALSE(result) << json;
      EXPECT_EQ(result.error().kind(), *c.failure) << json << " -> " << result.error().what();
      EXPECT_EQ(result.error().path(), c.path) << json;
      continue;
    }
    ASSERT_TRUE(result) << json << " -> " << result.error().what();
    EXPECT_EQ(result->id, c.id) << json;
    EXPECT_EQ(result->type, "admin") << json;
    EXPECT_EQ(result->name, "Мария") << json;
    EXPECT_EQ(result->avatar, "https://cdn.example/a7.png") << json;
  }
  EXPECT_FALSE(decodeJson<Person>("[]"));
}

TEST(Person, EncodesKeysInOrderWithNullForAbsentId) {
  EXPECT_EQ(encodeJson(Person(std::nullopt, "admin", "Мария", "x.png")).value(),
            R"({"id":null,"type":"admin","name":"Мария","avatar":"x.png"})");
}

TEST(Person, AdminReadsAndWritesExactlyThePersonForm) {
  for (const std::string& json : {person(), person({{"id", "7"}}), person({{"name", "1"}}),
                                  person({{"avatar", std::nullopt}})}) {
    auto asPerson = decodeJson<Person>(json);
    auto asAdmin = decodeJson<Admin>(json);
    ASSERT_EQ(asPerson.ok(), asAdmin.ok()) << json;
    if (!asPerson) {
      EXPECT_EQ(asAdmin.error().kind(), asPerson.error().kind()) << json;
      EXPECT_EQ(asAdmin.error().path(), asPerson.error().path()) << json;
      continue;
    }
    EXPECT_EQ(encodeJson(asAdmin.value()).value(), encodeJson(asPerson.value()).value());
  }
  Admin admin("a7", "admin", "Мария", "x.png");
  const Person& base = admin;
  EXPECT_EQ(encodeJson(base).value(), encodeJson(Person("a7", "admin", "Мария", "x.png")).value());
}

TEST(Person, EncodesThroughTheModelCaseOfJsonValue) {
  auto admin = std::make_shared<Admin>(std::nullopt, "admin", "Мария", "x.png");
  const std::string expected = R"({"id":null,"type":"admin","name":"Мария","avatar":"x.png"})";
  EXPECT_EQ(JsonValue(std::shared_ptr<Model>(admin)).asString(), expected);
  JsonValue tree(JsonValue::Array{JsonValue(std::shared_ptr<Model>(admin))});
  EXPECT_EQ(tree.asString(), "[" + expected + "]");
}

}  // namespace
}  // namespace tavrel
