#include "tavrel/model/message.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "model/record_json.h"

namespace tavrel {
namespace {

using testing::Change;
using testing::messageMembers;
using testing::objectJson;
using Kind = DecodingError::Kind;

std::string message(const std::vector<Change>& changes = {}) {
  return objectJson(messageMembers(), changes);
}

Message make(std::string id, std::int64_t randomId, std::string type) {
  return Message(std::move(id), randomId, "", std::move(type), 0, "", false, "", "", {}, {}, {},
                 {}, {});
}

Message decoded(const std::string& json) {
  auto result = decodeJson<Message>(json);
  if (!result) ADD_FAILURE() << json << " -> " << result.error().what();
  return result ? std::move(result).value() : make("?", 0, "");
}

TEST(Message, DecodesEveryField) {
  Message m = decoded(message());
  EXPECT_EQ(m.body, "Привет! 👋");
  EXPECT_EQ(m.from.getString("name"), "Аня");  // a tree, not a Person
  // Every field comes back out under its own key.
  EXPECT_EQ(decodeJson<JsonValue>(encodeJson(m).value()).value(),
            decodeJson<JsonValue>(message()).value());
}

// "id": a string as it is, a 64-bit integer as its digits, anything else "".
TEST(Message, IdIsAlwaysText) {
  struct Case {
    std::optional<std::string> json;  // nullopt: no "id" at all
    std::string id;
  } cases[] = {
      {R"("17")", "17"}, {"-5", "-5"}, {"9223372036854775807", "9223372036854775807"},
      {"9223372036854775808", ""},  // beyond the 64-bit range
      {"1.5", ""}, {"null", ""}, {std::nullopt, ""}, {R"({"id":"17"})", ""},
  };
  for (const auto& c : cases) {
    std::string json = message({{"id", c.json}});
    EXPECT_EQ(decoded(json).id, c.id) << json;
  }
}

// "random_id" and "read" swallow every failure into 0 and false; no coercion.
TEST(Message, LenientFieldsFallBackToDefaults) {
  struct Case {
    std::optional<std::string> randomId;
    std::int64_t expectedRandomId;
    std::optional<std::string> read;
    bool expectedRead;
  } cases[] = {
      {std::nullopt, 0, std::nullopt, false}, {"null", 0, "null", false},
      {R"("5")", 0, R"("true")", false},      {"1.5", 0, "1", false},
      {"-9", -9, "false", false},
      {"42", 42, "true", true},
  };
  for (const auto& c : cases) {
    std::string json = message({{"random_id", c.randomId}, {"read", c.read}});
    Message m = decoded(json);
    EXPECT_EQ(m.randomId, c.expectedRandomId) << json;
    EXPECT_EQ(m.read, c.expectedRead) << json;
  }
}

// Optional keys tolerate absence and null only; "from" is required but null
// is a value there (the empty tree).
TEST(Message, OptionalKeysAndNullFrom) {
  for (const char* value : {static_cast<const char*>(nullptr), "null"}) {
    auto v = value ? std::optional<std::string>(value) : std::nullopt;
    Message m = decoded(message(
        {{"conversation", v}, {"body_json", v}, {"meta_data", v}, {"attachments", v}}));
    EXPECT_FALSE(m.conversation || m.bodyJson || m.metaData || m.attachments) << value;
  }
  Message scalars = decoded(message({{"body_json", R"("x")"}, {"meta_data", "3"}, {"attachments", "[]"}}));
  EXPECT_EQ(scalars.bodyJson, JsonValue("x"));
  EXPECT_EQ(scalars.metaData, JsonValue(3));
  EXPECT_EQ(scalars.attachments, JsonValue(JsonValue::Array{}));
  EXPECT_TRUE(decoded(message({{"from", "null"}})).from.isEmpty());
  EXPECT_EQ(decoded(message({{"from", R"("bot")"}})).from, JsonValue("bot"));
}

// Each line: changes to a good message and the failure that ends the decode.
TEST(Message, RequiredKeysAndWrongTypesFailTheMessage) {
  struct Case {
    std::vector<Change> changes;
    Kind kind;
    std::string path;
  };
  std::vector<Case> cases;
  for (const char* key : {"body", "type", "created", "direction", "sent_via", "reply_type", "from"}) {
    cases.push_back({{{key, std::nullopt}}, Kind::keyNotFound, key});
  }
  cases.insert(cases.end(), {
      {{{"body", "null"}}, Kind::valueNotFound, "body"},
      {{{"reply_type", "null"}}, Kind::valueNotFound, "reply_type"},
      {{{"created", R"("1700000000")"}}, Kind::typeMismatch, "created"},
      {{{"type", "1"}}, Kind::typeMismatch, "type"},
      {{{"direction", "false"}}, Kind::typeMismatch, "direction"},
      {{{"conversation", "5"}}, Kind::typeMismatch, "conversation"},
      // The first bad key in reading order is the one reported.
      {{{"from", std::nullopt}, {"body", std::nullopt}}, Kind::keyNotFound, "body"},
      {{{"conversation", "5"}, {"from", std::nullopt}}, Kind::keyNotFound, "from"},
  });
  for (const auto& c : cases) {
    std::string json = message(c.changes);
    auto result = decodeJson<Message>(json);
    ASSERT_FALSE(result) << json;
    EXPECT_EQ(result.error().kind(), c.kind) << json << " -> " << result.error().what();
    EXPECT_EQ(result.error().path(), c.path) << json;
  }
  EXPECT_FALSE(decodeJson<Message>("[]"));
}

TEST(Message, OneBadMessageFailsTheList) {
  std::string list = "[" + message() + "," + message({{"id", "2"}}) + "]";
  auto good = decodeJson<std::vector<std::shared_ptr<Message>>>(list);
  ASSERT_TRUE(good);
  EXPECT_EQ(good->at(1)->id, "2");
  list = "[" + message() + "," + message({{"sent_via", std::nullopt}}) + "]";
  auto bad = decodeJson<std::vector<Message>>(list);
  ASSERT_FALSE(bad);
  EXPECT_EQ(bad.error().path(), "[1].sent_via");
}

TEST(Message, EncodesAllKeysInOrder) {
  Message m("17", 0, "Hi \"you\"", "reply", -3, "a2u", false, "web", "text", JsonValue(), {},
            {}, {}, {});
  EXPECT_EQ(encodeJson(m).value(),
            R"({"id":"17","random_id":0,"body":"Hi \"you\"","type":"reply","created":-3,)"
            R"("direction":"a2u","read":false,"sent_via":"web","reply_type":"text","from":null,)"
            R"("conversation":null,"body_json":null,"meta_data":null,"attachments":null})");
}

TEST(Message, EqualityAndHashLookAtIdAlone) {
  Message a = decoded(message());
  Message b = decoded(message({{"body", R"("другое")"}, {"random_id", "1"}, {"type", R"("note")"}}));
  Message c = decoded(message({{"id", R"("m2")"}}));
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != c);
  std::unordered_set<Message> set{a, b, c};
  EXPECT_EQ(set.size(), 2u);
}

// find: the first element with the same id, or with the same non-zero
// randomId and the same type.
TEST(Message, FindMatchesByIdOrByRandomIdAndType) {
  auto list = std::vector<std::shared_ptr<Message>>{
      std::make_shared<Message>(make("1", 0, "reply")),
      std::make_shared<Message>(make("2", 50, "reply")),
      std::make_shared<Message>(make("3", 50, "note")),
      std::make_shared<Message>(make("1", 60, "reply")),
  };
  struct Case {
    Message probe;
    int index;  // -1: nothing
  } cases[] = {
      {make("1", 0, "other"), 0},       // by id, first of two with id "1"
      {make("3", 0, "reply"), 2},       // by id even with another type
      {make("x", 50, "reply"), 1},      // by randomId and type
      {make("x", 50, "note"), 2},       // same randomId, the matching type wins
      {make("x", 50, "other"), -1},     // same randomId, no type
      {make("x", 0, "reply"), -1},      // randomId 0 never matches by rule 2
      {make("x", 60, "reply"), 3},
  };
  std::vector<Message> values;
  for (const auto& m : list) values.push_back(*m);
  for (const auto& c : cases) {
    auto found = find(list, c.probe);
    const Message* foundValue = find(values, c.probe);
    if (c.index < 0) {
      EXPECT_EQ(found, nullptr) << c.probe.id << "/" << c.probe.randomId;
      EXPECT_EQ(foundValue, nullptr) << c.probe.id << "/" << c.probe.randomId;
    } else {
      auto i = static_cast<std::size_t>(c.index);
      EXPECT_EQ(found, list[i]) << c.probe.id << "/" << c.probe.randomId << "/" << c.probe.type;
      EXPECT_EQ(foundValue, &values[i]) << c.probe.id << "/" << c.probe.randomId;
    }
  }
  EXPECT_EQ(find({std::shared_ptr<Message>()}, make("1", 50, "reply")), nullptr);
  EXPECT_FALSE(matches(make("x", 0, "reply"), make("y", 0, "reply")));
  EXPECT_TRUE(matches(make("", 0, "a"), make("", 0, "b")));  // equal empty ids
}

}  // namespace
}  // namespace tavrel
