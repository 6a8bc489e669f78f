#include "tavrel/core/json_value.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/build_all.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"

namespace tavrel {
namespace {

JsonValue parse(std::string_view json) {
  auto result = decodeJson<JsonValue>(json);
  EXPECT_TRUE(result) << json << ": " << result.error().what();
  return result ? std::move(result).value() : JsonValue();
}

// Null decodes as a present empty, whose text is "": not an absent value.
TEST(JsonValue, GetStringGivesTheTextOfEachCase) {
  JsonValue v = parse(R"({"i":5,"d":5.5,"f":false,"s":"x","o":{"k":[1,"y"]},"a":[1],"n":null,
                          "two":2.5e-8})");
  EXPECT_TRUE(v.getIf<JsonValue::Object>()->at("n").value().isEmpty());
  EXPECT_EQ(v.getString("n"), "");
  EXPECT_EQ(v.getString("i"), "5");
  EXPECT_EQ(v.getString("d"), "5.5");
  EXPECT_EQ(v.getString("two"), "2.5e-08");
  EXPECT_EQ(v.getString("f"), "false");
  EXPECT_EQ(v.getString("a"), std::nullopt);
  EXPECT_EQ(v.getString("missing"), std::nullopt);
  auto objectText = v.getString("o");
  ASSERT_TRUE(objectText);
  EXPECT_EQ(parse(*objectText), *v.getIf<JsonValue::Object>()->at("o"));
  EXPECT_EQ(JsonValue(std::make_shared<Model>()).asStringValue(), std::nullopt);
  EXPECT_EQ(JsonValue("s").getString("s"), std::nullopt);
}

TEST(JsonValue, GetItemFromArrayBounds) {
  JsonValue v = parse(R"([10,"b"])");
  EXPECT_EQ(v.getItemFromArray(0), JsonValue(10));
  for (std::int64_t out : {std::int64_t{-1}, std::int64_t{2}, INT64_MIN}) EXPECT_EQ(v.getItemFromArray(out), std::nullopt);
  EXPECT_EQ(JsonValue(JsonValue::Object{}).getItemFromArray(0), std::nullopt);
}

TEST(JsonValue, AppendOnlyChangesObjects) {
  JsonValue s("text");
  s.append("k", JsonValue(1));
  EXPECT_EQ(s, JsonValue("text"));

  JsonValue o = parse(R"({"k":1,"x":2})");
  o.append("k", std::nullopt);
  o.append("x", JsonValue("y"));
  const auto& map = *o.getIf<JsonValue::Object>();
  ASSERT_EQ(map.count("k"), 1u);
  EXPECT_FALSE(map.at("k").has_value());
  EXPECT_EQ(o.getString("k"), std::nullopt);
  EXPECT_EQ(o.getString("x"), "y");
  EXPECT_EQ(parse(*o.asString()), parse(R"({"k":null,"x":"y"})"));
  // An absent map value and a present empty are different in memory only.
  EXPECT_NE(o, parse(R"({"k":null,"x":"y"})"));
}

// Repeated keys in decoded objects: see the decoder's first-occurrence test.
TEST(JsonValue, ObjectsAreMapsWithUniqueKeysAndNoOrder) {
  EXPECT_EQ((JsonValue::Object{{"a", JsonValue(1)}, {"a", JsonValue(2)}}),
            (JsonValue::Object{{"a", JsonValue(1)}}));

  // Equality looks at keys and values, never at their order.
  struct Case { const char* a; const char* b; bool equal; } cases[] = {
      {R"({"a":1,"b":[2],"c":{"x":null,"y":"z"}})", R"({"c":{"y":"z","x":null},"b":[2],"a":1})", true},
      {R"({"a":1,"b":2})", R"({"a":1,"c":2})", false}, {R"({"a":1,"b":2})", R"({"b":1,"a":2})", false},
      {R"({"a":1})", R"({"a":1,"b":2})", false}, {R"({"a":null})", R"({"a":"null"})", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse(c.a) == parse(c.b), c.equal) << c.a << " vs " << c.b;
    EXPECT_EQ(parse(c.b) == parse(c.a), c.equal) << c.b << " vs " << c.a;
  }

  // Editing: replacing keeps one entry, a new key adds one, erase removes.
  JsonValue::Object map{{"a", JsonValue(1)}, {"b", JsonValue(2)}};
  EXPECT_FALSE(map.insert_or_assign("a", JsonValue("x")).second);
  EXPECT_TRUE(map.insert_or_assign("c", std::nullopt).second);
  EXPECT_EQ(map.size(), 3u);
  EXPECT_EQ(map.at("a"), JsonValue("x"));
  EXPECT_FALSE(map.at("c").has_value());
  EXPECT_FALSE(map.try_emplace("b", JsonValue(9)).second);
  EXPECT_EQ(map.at("b"), JsonValue(2));
  EXPECT_EQ(map.erase("b"), 1u);
  EXPECT_EQ(map.erase("b"), 0u);
  EXPECT_EQ(map, (JsonValue::Object{{"c", std::nullopt}, {"a", JsonValue("x")}}));
}

struct Card : Model {
  std::string name;
  explicit Card(std::string n) : name(std::move(n)) {}
  void encode(JsonWriter& w) const override {
    w.beginObject();
    w.field("name", name);
    w.endObject();
  }
};

TEST(JsonValue, ModelsEncodeThroughTheirOwnEncoder) {
  EXPECT_EQ(JsonValue(std::make_shared<Model>()).asString(), "{}");
  JsonValue tree(JsonValue::Array{JsonValue(std::make_shared<Card>("Ян")), JsonValue()});
  EXPECT_EQ(tree.asString(), R"([{"name":"Ян"},null])");
  EXPECT_EQ(JsonValue(std::make_shared<Card>("a")), JsonValue(std::make_shared<Card>("a")));
  EXPECT_NE(JsonValue(std::make_shared<Card>("a")), JsonValue(std::make_shared<Model>()));
  EXPECT_EQ(JsonValue(JsonValue::ModelRef()).asString(), "null");
}

using testing::buildAll;

TEST(JsonValueKeptTrees, WriteTheSameTextKeptAndBuilt) {
  struct Case { std::string json; std::string text; } cases[] = {
      // The first of repeated keys wins, with any kind of value after it.
      {R"({"a":1,"b":2,"a":{"x":[1]},"b":[3],"c":"s","a":2.5})", R"({"a":1,"b":2,"c":"s"})"},
      // Whole floats become integers; beyond int64 only a float holds it.
      {R"([1.0,1e3,-0.0,2.5,18446744073709551615,-9223372036854775808])",
       R"([1,1000,0,2.5,1.8446744073709552e+19,-9223372036854775808])"},
      {R"({"o":{"x":{"y":[{"z":"deep"},[],{}]}},"e":{},"t":[true,false,null]})",
       R"({"o":{"x":{"y":[{"z":"deep"},[],{}]}},"e":{},"t":[true,false,null]})"},
      {R"([[],{},[{}],"Привет 🙂",{"e":"\u0000\"\\\n","f":1e-300,"a":[1,2.5,"x",true,null]}])",
       R"([[],{},[{}],"Привет 🙂",{"e":"\u0000\"\\\u000a","f":1e-300,"a":[1,2.5,"x",true,null]}])"},
  };
  for (const auto& c : cases) {
    JsonValue kept = parse(c.json);
    JsonValue built = kept;
    buildAll(built);
    EXPECT_EQ(kept.asString(), c.text) << c.json;
    EXPECT_EQ(built.asString(), c.text) << c.json;
    EXPECT_EQ(kept, built) << c.json;
    EXPECT_EQ(built, kept) << c.json;
  }
}

TEST(JsonValueKeptTrees, PiecesOutliveTheirAnswerAndChangeAlone) {
  // Many trees of one answer share storage; one of them big enough for
  // storage of its own.
  std::string json = "[";
  for (int i = 0; i < 600; ++i) json += R"({"n":)" + std::to_string(i) + R"(,"tags":["a","b"]},)";
  json += R"({"big":")" + std::string(5000, 'x') + R"("}])";
  std::optional<JsonValue> piece, big;
  {
    JsonValue answer = parse(json);
    piece = answer.getItemFromArray(321);
    big = answer.getItemFromArray(600);
  }
  ASSERT_TRUE(piece && big);
  EXPECT_EQ(piece->getString("n"), "321");
  EXPECT_EQ(piece->asString(), R"({"n":321,"tags":["a","b"]})");
  EXPECT_EQ(big->getString("big")->size(), 5000u);

  // A copy that changes leaves the others alone, and the other way round.
  JsonValue copy = *piece;
  copy.append("n", JsonValue("changed"));
  copy.getIf<JsonValue::Object>()->at("tags")->getIf<JsonValue::Array>()->push_back(JsonValue(1));
  EXPECT_EQ(piece->asString(), R"({"n":321,"tags":["a","b"]})");
  EXPECT_EQ(copy.asString(), R"({"n":"changed","tags":["a","b",1]})");
  EXPECT_NE(copy, *piece);

  // A value moved from stays usable.
  JsonValue moved = std::move(copy);
  (void)copy.kind();
  copy = JsonValue(1);
  EXPECT_EQ(copy, JsonValue(1));
  EXPECT_EQ(moved.getString("n"), "changed");
}

TEST(JsonValueKeptTrees, ReadersOnManyThreadsShareOneBuiltTree) {
  const JsonValue tree = parse(R"({"a":{"b":[1,2,{"c":"d"}]},"e":"f"})");
  constexpr int kThreads = 4;
  std::vector<const JsonValue::Object*> seen(kThreads);
  std::vector<std::string> texts(kThreads);
  std::vector<std::thread> readers;
  for (int t = 0; t < kThreads; ++t) {
    readers.emplace_back([&, t] {
      seen[t] = tree.getIf<JsonValue::Object>();
      texts[t] = tree.getString("a").value_or("") + tree.asString().value_or("");
    });
  }
  for (auto& reader : readers) reader.join();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(seen[t], seen[0]);
    EXPECT_EQ(texts[t], R"({"b":[1,2,{"c":"d"}]}{"a":{"b":[1,2,{"c":"d"}]},"e":"f"})");
  }
}

}  // namespace
}  // namespace tavrel
