#include "tavrel/core/json_decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/build_all.h"

namespace tavrel {
namespace {

using Kind = DecodingError::Kind;

struct Author {
  std::string name;
  static Author decode(const JsonNode& node) { return {node.object().decode<std::string>("name")}; }
};

struct Post {
  std::string title;
  std::optional<std::vector<std::string>> tags;
  Author author;
  static Post decode(const JsonNode& node) {
    auto keys = node.object();
    return {keys.decode<std::string>("title"), keys.decodeIfPresent<std::vector<std::string>>("tags"),
            Author::decode(keys.at("author"))};
  }
};

struct Envelope {
  std::vector<Post> data;
  static Envelope decode(const JsonNode& node) { return {node.object().decode<std::vector<Post>>("data")}; }
};

TEST(JsonDecoder, FailuresNameKindAndPath) {
  const std::string ok = R"("author":{"name":"n"})";
  struct Case { std::string input; Kind kind; std::string path; } cases[] = {
      {"{}", Kind::keyNotFound, "data"},
      {R"({"data":[{"title":"a",)" + ok + R"(},{"title":"b","author":{}}]})",
       Kind::keyNotFound, "data[1].author.name"},
      {R"({"data":[{"title":null,)" + ok + "}]}", Kind::valueNotFound, "data[0].title"},
      {R"({"data":[{"title":5,)" + ok + "}]}", Kind::typeMismatch, "data[0].title"},
      {R"({"data":[{"title":"t","tags":[1],)" + ok + "}]}", Kind::typeMismatch, "data[0].tags[0]"},
      {"[1]", Kind::typeMismatch, ""}, {"", Kind::dataCorrupted, ""}, {R"({"data":[)", Kind::dataCorrupted, ""},
      {R"({"data":[]} x)", Kind::dataCorrupted, ""},
      {"{\"data\":[], \"s\":\"\xff\"}", Kind::dataCorrupted, ""},
      {R"({"data":[], "s":"\ud800"})", Kind::dataCorrupted, ""},      // a lone escaped one
      {R"({"data":[01]})", Kind::dataCorrupted, ""},
  };
  for (const auto& c : cases) {
    auto result = decodeJson<Envelope>(c.input);
    ASSERT_FALSE(result) << c.input;
    EXPECT_EQ(result.error().kind(), c.kind) << c.input << " -> " << result.error().what();
    EXPECT_EQ(result.error().path(), c.path) << c.input;
  }
}

TEST(JsonDecoder, MessagesNameKindPathAndWhatWasFound) {
  EXPECT_STREQ(decodeJson<Envelope>(R"({"data":[{"title":"t","author":{}}]})").error().what(),
               "keyNotFound at data[0].author.name: no value for key \"name\"");
  EXPECT_NE(std::string(decodeJson<Envelope>("[").error().what()).find("dataCorrupted at the top level"),
            std::string::npos);
  // Numbers that decode as integers print as integers.
  const std::pair<const char*, const char*> found[] = {
      {"5", "the number 5"}, {"5.0", "the number 5"}, {"-7e2", "the number -700"},
      {"2.5", "the number 2.5"}, {"18446744073709551615", "the number 18446744073709551615"},
      {"1e300", "the number 1e+300"}, {"true", "a boolean"}, {"[]", "an array"}};
  for (const auto& [json, text] : found) {
    EXPECT_EQ(decodeJson<std::string>(json).error().detail(), std::string("expected a string, found ") + text);
  }
  EXPECT_EQ(decodeJson<bool>("null").error().detail(), "expected a boolean, found null");
}

TEST(JsonDecoder, OnlyTheGivenBytesAreTheDocument) {
  // A string with spare capacity is parsed where it is: what lies past its
  // end, here the rest of a longer text it held before, is not read as JSON.
  std::string text = R"({"data":[],"x":1})";
  text.reserve(256);
  text.resize(10);
  EXPECT_EQ(decodeJson<JsonValue>(text).error().kind(), Kind::dataCorrupted);
  text = R"({"data":[]})";
  EXPECT_TRUE(decodeJson<Envelope>(text));
  EXPECT_EQ(decodeJson<JsonValue>(std::string_view(R"([1,2] garbage)", 5))->asString(), "[1,2]");
}

TEST(JsonDecoder, DeepNestingIsRefusedNotACrash) {
  for (std::string open : {"[", "{\"a\":"}) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += open;
    deep += "1";
    for (int i = 0; i < 100000; ++i) deep += open == "[" ? "]" : "}";
    EXPECT_EQ(decodeJson<JsonValue>(deep).error().kind(), Kind::dataCorrupted);
  }
  EXPECT_TRUE(decodeJson<JsonValue>(std::string(1000, '[') + std::string(1000, ']')));
}

// One JSON literal read as each primitive: the value, or the kind of refusal.
TEST(JsonDecoder, NumberAndTypeRules) {
  struct Case {
    const char* json;
    std::optional<std::int64_t> asInt;
    std::optional<double> asDouble;
    std::optional<bool> asBool;
    std::optional<std::string> asString;
  } cases[] = {
      {"-0", 0, 0.0, {}, {}},      {"1.0", 1, 1.0, {}, {}},     {"1e3", 1000, 1000.0, {}, {}},
      {"1.5", {}, 1.5, {}, {}},    {"1e300", {}, 1e300, {}, {}}, {"true", {}, {}, true, {}},
      {R"("1")", {}, {}, {}, "1"}, {"[]", {}, {}, {}, {}},
      {"9223372036854775807", INT64_MAX, 9223372036854775807.0, {}, {}},
      {"-9223372036854775808", INT64_MIN, -9223372036854775808.0, {}, {}},
      {"9223372036854775808", {}, 9223372036854775808.0, {}, {}},
  };
  for (const auto& c : cases) {
    auto i = decodeJson<std::int64_t>(c.json);
    auto value = [](auto r) { return r ? std::optional(r.value()) : std::nullopt; };
    EXPECT_EQ(value(i), c.asInt) << c.json;
    EXPECT_EQ(value(decodeJson<double>(c.json)), c.asDouble) << c.json;
    EXPECT_EQ(value(decodeJson<bool>(c.json)), c.asBool) << c.json;
    EXPECT_EQ(value(decodeJson<std::string>(c.json)), c.asString) << c.json;
    if (!i) { EXPECT_EQ(i.error().kind(), Kind::typeMismatch) << c.json; }
  }
  EXPECT_EQ(decodeJson<std::int64_t>("null").error().kind(), Kind::valueNotFound);
  EXPECT_EQ(decodeJson<int>("2147483648").error().kind(), Kind::dataCorrupted);
  EXPECT_EQ(decodeJson<int>("-2147483648").value(), INT32_MIN);
}

// Each keyed read, returning and into a field that already holds something:
// what it tolerates and what it leaves in the field.
TEST(JsonDecoder, KeyedReadsKeepTheirPromises) {
  const char* json = R"({"s":"текст","i":5,"n":null,"o":{"a":[1,"x"]},"big":1e300,"arr":[{"name":"q"},{}]})";
  struct Probe {
    static Probe decode(const JsonNode& node) {
      auto k = node.object();
      EXPECT_TRUE(k.contains("n"));
      std::string text = "old";
      k.decode("s", text);
      EXPECT_EQ(text, "текст");
      JsonValue tree = JsonValue("old");
      k.decode("o", tree);
      EXPECT_EQ(tree.asString(), R"({"a":[1,"x"]})");
      k.decode("n", tree);  // null is JsonValue's empty case
      EXPECT_TRUE(tree.isEmpty());
      EXPECT_EQ(k.nestedObject("o").nestedArray("a").size(), 2u);

      EXPECT_EQ(k.decodeIfPresent<std::string>("n"), std::nullopt);
      for (const char* key : {"n", "missing"}) {  // null and absence reset
        std::optional<std::string> maybe = "old";
        k.decodeIfPresent(key, maybe);
        EXPECT_EQ(maybe, std::nullopt) << key;
      }

      // Lenient reads report failure and leave primitives untouched.
      EXPECT_EQ(k.decodeLenient<Author>("o"), std::nullopt);  // no "name"
      EXPECT_EQ(k.decodeLenient<std::vector<Author>>("arr"), std::nullopt);
      std::int64_t number = 9;
      for (const char* key : {"s", "big", "n", "missing"}) EXPECT_FALSE(k.decodeLenient(key, number)) << key;
      EXPECT_EQ(number, 9);
      float single = 2.5f;
      EXPECT_FALSE(k.decodeLenient("s", single));
      EXPECT_EQ(single, 2.5f);
      std::vector<std::int64_t> list = {7};
      EXPECT_FALSE(k.decodeLenient("o", list));

      std::vector<std::string> paths;
      for (JsonNode element : k.nestedArray("arr")) paths.push_back(element.path());
      EXPECT_EQ(paths, (std::vector<std::string>{"arr[0]", "arr[1]"}));
      return {};
    }
  };
  EXPECT_TRUE(decodeJson<Probe>(json));
}

// Reads the keys of `order` from an object, each through a fresh lookup, by
// turns in each way a record reads a key; then iterates it: each key once,
// with the value it gives the key last.
struct KeyReads {
  static inline std::vector<std::string> order;
  std::vector<std::optional<std::int64_t>> values;
  std::size_t size = 0, iterated = 0;
  std::map<std::string, std::int64_t> members;
  static KeyReads decode(const JsonNode& node) {
    auto keys = node.object();
    KeyReads out;
    for (std::size_t i = 0; i < order.size(); ++i) {
      const std::string& key = order[i];
      std::optional<std::int64_t> value;
      if (i % 3 == 0) {
        value = keys.decodeIfPresent<std::int64_t>(key);
      } else if (i % 3 == 1) {
        if (auto found = keys.find(key)) value = found->decode<std::int64_t>();
      } else if (keys.contains(key)) {
        keys.decode(key, value.emplace());
      }
      EXPECT_EQ(keys.contains(key), value.has_value()) << key;
      out.values.push_back(value);
    }
    out.size = keys.size();
    for (auto member : keys) {
      ++out.iterated;
      out.members.insert_or_assign(std::string(member.key), member.value.decode<std::int64_t>());
    }
    return out;
  }
};

// Every reader finds every key in any order of reading, and of a repeated key
// the first occurrence: lookups that start where the last one ended (before or
// after the earlier occurrence), iteration, and JsonValue kept and built.
TEST(JsonDecoder, EveryReaderFindsTheFirstOccurrenceInAnyOrder) {
  std::string many = "{";
  std::map<std::string, std::int64_t> manyFirst;
  for (int i = 0; i < 40; ++i) {
    many += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
    manyFirst["k" + std::to_string(i)] = i;
  }
  many += R"("k5":-5,"k20":-20,"k39":-39})";
  struct Case {
    std::string json;
    std::map<std::string, std::int64_t> first;
    std::vector<std::vector<std::string>> orders;
  } cases[] = {
      {R"({"a":1,"bb":2,"c":3,"a":10,"dd":4,"e":5,"bb":20,"ff":6,"abcd5":7,"abcdefghij":8,)"
       R"("abcdefghijklmnopqr":9,"c":30,"ff":60,"a":100})",
       {{"a", 1}, {"bb", 2}, {"c", 3}, {"dd", 4}, {"e", 5}, {"ff", 6}, {"abcd5", 7}, {"abcdefghij", 8},
        {"abcdefghijklmnopqr", 9}},
       {{"ff", "e", "dd", "c", "bb", "a"},
        {"c", "a", "dd", "bb", "ff", "a"},
        {"abcdefghijklmnopqr", "c", "ff", "a", "a", "bb"},
        {"a", "zz", "bb", "", "c", "b", "ffx", "dd", "ff", "missing", "ff", "a"},
        // Keys of the same length that differ in one inner or last byte.
        {"abcX5", "abcd6", "abcd5", "abcdeXghij", "abcdefghiX", "abcdefghij", "abcdefghiXklmnopqr",
         "abcdefghijklmnopqX", "abcdefghijklmnopqr"}}},
      {many, manyFirst, {{"k39", "k5", "k20", "k3"}, {"k4", "k5", "k19", "k20", "k38", "k39", "k0"}}},
      {"{}", {}, {{"x"}}},
  };
  for (const auto& c : cases) {
    for (const auto& order : c.orders) {
      KeyReads::order = order;
      auto result = decodeJson<KeyReads>(c.json);
      ASSERT_TRUE(result) << result.error().what();
      for (std::size_t i = 0; i < order.size(); ++i) {
        auto it = c.first.find(order[i]);
        EXPECT_EQ(result->values[i], it == c.first.end() ? std::nullopt : std::optional(it->second)) << order[i];
      }
      EXPECT_EQ(result->size, c.first.size());
      EXPECT_EQ(result->iterated, c.first.size());
      EXPECT_EQ(result->members, c.first);
    }

    JsonValue kept = decodeJson<JsonValue>(c.json).value();
    JsonValue built = kept;
    testing::buildAll(built);
    for (const JsonValue& tree : {kept, built, decodeJson<JsonValue>(kept.asString().value()).value()}) {
      EXPECT_EQ(tree.getIf<JsonValue::Object>()->size(), c.first.size());
      for (const auto& [key, value] : c.first) EXPECT_EQ(tree.getString(key), std::to_string(value)) << key;
    }
  }
}

// A record whose field holds JSON text of its own, decoded while the outer
// document is still open.
struct Wrapped {
  JsonValue inner;
  static Wrapped decode(const JsonNode& node) {
    auto keys = node.object();
    auto text = keys.decode<std::string>("payload");
    auto inner = decodeJson<JsonValue>(text);
    if (!inner) node.fail(Kind::dataCorrupted, inner.error().what());
    keys.decode<std::string>("after");  // the outer document must still be readable
    return {std::move(inner).value()};
  }
};

TEST(JsonDecoder, NestedDocumentsDoNotDisturbEachOther) {
  auto result = decodeJson<std::vector<Wrapped>>(
      R"([{"payload":"{\"a\":[1,2]}","after":"x"},{"payload":"[true]","after":"y"}])");
  ASSERT_TRUE(result) << result.error().what();
  EXPECT_EQ(result->at(0).inner.asString(), R"({"a":[1,2]})");
  EXPECT_EQ(result->at(1).inner.asString(), "[true]");
  auto bad = decodeJson<std::vector<Wrapped>>(R"([{"payload":"{","after":"x"}])");
  EXPECT_EQ(bad.error().path(), "[0]");
}

struct Node : Model {
  std::string name;
  explicit Node(const JsonNode& from) : Model(from), name(from.object().decode<std::string>("name")) {}
};

TEST(JsonDecoder, SharedRecordsThroughDecodeConstructors) {
  EXPECT_EQ(decodeJson<std::vector<std::shared_ptr<Node>>>(R"([{"name":"a"},{"name":"b"}])")->at(1)->name, "b");
  EXPECT_EQ(decodeJson<std::shared_ptr<Node>>("{}").error().path(), "name");
}

}  // namespace
}  // namespace tavrel
