#include "tavrel/core/json_decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavrel {
namespace {

using Kind = DecodingError::Kind;

struct Author {
  std::string name;
  std::optional<std::int64_t> id;
  static Author decode(const JsonNode& node) {
    auto keys = node.object();
    return {keys.decode<std::string>("name"), keys.decodeLenient<std::int64_t>("id")};
  }
};

struct Post {
  std::string title;
  int score = 0;
  std::optional<std::vector<std::string>> tags;
  Author author;
  JsonValue extra;
  static Post decode(const JsonNode& node) {
    auto keys = node.object();
    Post p;
    p.title = keys.decode<std::string>("title");
    p.score = keys.decodeLenient<int>("score").value_or(-1);
    p.tags = keys.decodeIfPresent<std::vector<std::string>>("tags");
    p.author = Author::decode(keys.at("author"));
    p.extra = keys.decode<JsonValue>("extra");
    return p;
  }
};

struct Envelope {
  std::vector<Post> data;
  static Envelope decode(const JsonNode& node) {
    return {node.object().decode<std::vector<Post>>("data")};
  }
};

TEST(JsonDecoder, DecodesNestedRecordsWithEachKindOfRead) {
  auto result = decodeJson<Envelope>(R"({"data":[
      {"title":"a","score":"high","author":{"name":"Анна","id":7},"extra":null},
      {"title":"b","score":3,"tags":["x","y"],"author":{"name":"b","id":"7"},"extra":{"k":[1]}}]})");
  ASSERT_TRUE(result) << result.error().what();
  const auto& data = result->data;
  ASSERT_EQ(data.size(), 2u);
  EXPECT_EQ(data[0].score, -1);  // a string swallowed by the lenient read
  EXPECT_FALSE(data[0].tags);
  EXPECT_EQ(data[0].author.id, 7);
  EXPECT_TRUE(data[0].extra.isEmpty());  // null is JsonValue's empty case
  EXPECT_EQ(data[1].tags, (std::vector<std::string>{"x", "y"}));
  EXPECT_FALSE(data[1].author.id);
  EXPECT_EQ(data[1].extra.getString("k"), std::nullopt);  // arrays have no text
}

TEST(JsonDecoder, FailuresNameKindAndPath) {
  const std::string ok = R"("author":{"name":"n"},"extra":1)";
  struct Case {
    std::string input;
    Kind kind;
    std::string path;
  } cases[] = {
      {"{}", Kind::keyNotFound, "data"},
      {R"({"data":{}})", Kind::typeMismatch, "data"},
      {R"({"data":null})", Kind::valueNotFound, "data"},
      {R"({"data":[{"title":"a",)" + ok + R"(},{"title":"b","author":{},"extra":1}]})",
       Kind::keyNotFound, "data[1].author.name"},
      {R"({"data":[{"title":null,)" + ok + "}]}", Kind::valueNotFound, "data[0].title"},
      {R"({"data":[{"title":5,)" + ok + "}]}", Kind::typeMismatch, "data[0].title"},
      {R"({"data":[{"title":"t","tags":[1],)" + ok + "}]}", Kind::typeMismatch, "data[0].tags[0]"},
      {"[1]", Kind::typeMismatch, ""}, {"", Kind::dataCorrupted, ""}, {R"({"data":[)", Kind::dataCorrupted, ""},
      {R"({"data":[]} x)", Kind::dataCorrupted, ""},
      {"{\"data\":[], \"s\":\"\xff\"}", Kind::dataCorrupted, ""},
      {"{\"data\":[], \"\xed\xa0\x80\":1}", Kind::dataCorrupted, ""},  // a UTF-16 surrogate
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

TEST(JsonDecoder, MessageNamesKindAndPath) {
  auto result = decodeJson<Envelope>(R"({"data":[{"title":"t","author":{}}]})");
  ASSERT_FALSE(result);
  EXPECT_STREQ(result.error().what(),
               "keyNotFound at data[0].author.name: no value for key \"name\"");
  auto top = decodeJson<Envelope>("[");
  EXPECT_NE(std::string(top.error().what()).find("dataCorrupted at the top level"), std::string::npos);
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
    EXPECT_EQ(decodeJson<JsonValue>(deep).error().kind(), Kind::dataCorrupted);
    deep += "1";
    for (int i = 0; i < 100000; ++i) deep += open == "[" ? "]" : "}";
    EXPECT_EQ(decodeJson<JsonValue>(deep).error().kind(), Kind::dataCorrupted);
  }
  std::string fine(1000, '[');
  fine += std::string(1000, ']');
  EXPECT_TRUE(decodeJson<JsonValue>(fine));
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
    if (!i) {
      EXPECT_EQ(i.error().kind(), Kind::typeMismatch) << c.json;
    }
  }
  EXPECT_EQ(decodeJson<std::int64_t>("null").error().kind(), Kind::valueNotFound);
  EXPECT_EQ(decodeJson<int>("2147483648").error().kind(), Kind::dataCorrupted);
  EXPECT_EQ(decodeJson<int>("-2147483648").value(), INT32_MIN);
}

TEST(JsonDecoder, KeyedReadsTolerateWhatTheyPromise) {
  const char* json = R"({"n":null,"s":"x","i":5,"o":{"a":1},"arr":[{"name":"q"},{}]})";
  struct Probe {
    static Probe decode(const JsonNode& node) {
      auto k = node.object();
      EXPECT_TRUE(k.contains("n"));
      EXPECT_EQ(k.size(), 5u);
      EXPECT_EQ(k.decodeIfPresent<std::string>("n"), std::nullopt);
      try {
        k.decodeIfPresent<std::string>("i");
        ADD_FAILURE() << "a wrong type must throw";
      } catch (const DecodingError& e) {
        EXPECT_EQ(e.kind(), Kind::typeMismatch);
        EXPECT_EQ(e.path(), "i");
      }
      EXPECT_EQ(k.decodeLenient<std::int64_t>("s"), std::nullopt);
      EXPECT_EQ(k.decodeLenient<Author>("o"), std::nullopt);  // no "name"
      EXPECT_EQ(k.decodeLenient<std::vector<Author>>("arr"), std::nullopt);
      EXPECT_EQ(k.decode<JsonValue>("n"), JsonValue());
      EXPECT_EQ(k.nestedObject("o").decode<int>("a"), 1);

      std::vector<std::string> paths;
      for (JsonNode element : k.nestedArray("arr")) paths.push_back(element.path());
      EXPECT_EQ(paths, (std::vector<std::string>{"arr[0]", "arr[1]"}));
      std::vector<std::string> keys;
      for (auto member : k) keys.emplace_back(member.key);
      EXPECT_EQ(keys, (std::vector<std::string>{"n", "s", "i", "o", "arr"}));
      return {};
    }
  };
  EXPECT_TRUE(decodeJson<Probe>(json));
}

TEST(JsonDecoder, ReadsIntoFieldsKeepTheSameRulesAndLeaveFieldsAsPromised) {
  // A record whose fields already hold something: what each read into it
  // leaves there, and that failures still throw with their paths.
  const char* json = R"({"s":"текст","i":5,"n":null,"o":{"a":[1,"x"]},"big":1e300})";
  struct Probe {
    static Probe decode(const JsonNode& node) {
      auto k = node.object();
      std::string text = "old";
      k.decode("s", text);
      EXPECT_EQ(text, "текст");
      std::int64_t number = -1;
      k.decode("i", number);
      EXPECT_EQ(number, 5);
      JsonValue tree = JsonValue("old");
      k.decode("o", tree);
      EXPECT_EQ(tree.asString(), R"({"a":[1,"x"]})");
      k.decode("n", tree);  // null is JsonValue's empty case
      EXPECT_TRUE(tree.isEmpty());

      std::optional<std::string> maybe = "old";
      k.decodeIfPresent("n", maybe);
      EXPECT_EQ(maybe, std::nullopt);  // null resets
      maybe = "old";
      k.decodeIfPresent("missing", maybe);
      EXPECT_EQ(maybe, std::nullopt);  // absence resets
      k.decodeIfPresent("s", maybe);
      EXPECT_EQ(maybe, "текст");
      std::optional<JsonValue> maybeTree;
      k.decodeIfPresent("o", maybeTree);
      EXPECT_TRUE(maybeTree && maybeTree->kind() == JsonValue::Kind::object);

      // Lenient reads report failure and leave primitives untouched.
      text = "kept";
      EXPECT_FALSE(k.decodeLenient("i", text));
      EXPECT_FALSE(k.decodeLenient("missing", text));
      EXPECT_EQ(text, "kept");
      number = 9;
      EXPECT_FALSE(k.decodeLenient("s", number));
      EXPECT_FALSE(k.decodeLenient("big", number));
      EXPECT_FALSE(k.decodeLenient("n", number));
      EXPECT_EQ(number, 9);
      float single = 2.5f;
      EXPECT_FALSE(k.decodeLenient("s", single));
      EXPECT_EQ(single, 2.5f);
      std::vector<std::int64_t> list = {7};
      EXPECT_FALSE(k.decodeLenient("o", list));
      EXPECT_TRUE(k.decodeLenient("i", number));
      EXPECT_EQ(number, 5);

      const struct {
        const char* key;
        Kind kind;
        const char* path;
      } failures[] = {
          {"missing", Kind::keyNotFound, "missing"},
          {"n", Kind::valueNotFound, "n"},
          {"i", Kind::typeMismatch, "i"},
      };
      for (const auto& f : failures) {
        try {
          k.decode(f.key, text);
          ADD_FAILURE() << f.key << " must throw";
        } catch (const DecodingError& e) {
          EXPECT_EQ(e.kind(), f.kind) << f.key;
          EXPECT_EQ(e.path(), f.path) << f.key;
        }
      }
      try {
        std::optional<std::int64_t> wrong;
        k.decodeIfPresent("s", wrong);
        ADD_FAILURE() << "a wrong type must throw";
      } catch (const DecodingError& e) {
        EXPECT_EQ(e.kind(), Kind::typeMismatch);
      }
      return {};
    }
  };
  auto result = decodeJson<Probe>(json);
  EXPECT_TRUE(result) << result.error().what();
}

// Reads the keys of `order` from an object, each through a fresh lookup.
struct KeyReads {
  static inline std::vector<std::string> order;
  std::vector<std::optional<std::int64_t>> values;
  static KeyReads decode(const JsonNode& node) {
    auto keys = node.object();
    KeyReads out;
    for (const auto& key : order) {
      auto value = keys.decodeIfPresent<std::int64_t>(key);
      EXPECT_EQ(keys.contains(key), value.has_value()) << key;
      out.values.push_back(value);
    }
    return out;
  }
};

TEST(JsonDecoder, LookupsFindEveryKeyInAnyOrder) {
  // Each lookup starts where the last one found its key: every order of
  // reading must still see every key, and only those.
  const char* json =
      R"({"a":1,"bb":2,"c":3,"dd":4,"e":5,"ff":6,"abcd5":7,"abcdefghij":8,"abcdefghijklmnopqr":9})";
  const std::map<std::string, std::int64_t> present = {
      {"a", 1}, {"bb", 2}, {"c", 3}, {"dd", 4}, {"e", 5}, {"ff", 6},
      {"abcd5", 7}, {"abcdefghij", 8}, {"abcdefghijklmnopqr", 9}};
  const std::vector<std::vector<std::string>> orders = {
      {"ff", "e", "dd", "c", "bb", "a"},
      {"a", "a", "bb", "bb", "ff", "ff", "a"},
      {"a", "zz", "bb", "", "c", "b", "ffx", "dd"},
      {"ff", "missing", "ff", "a"},
      // Keys of the same length that differ in one inner or last byte.
      {"abcX5", "abcd6", "abcd5", "abcdeXghij", "abcdefghiX", "abcdefghij", "abcdefghiXklmnopqr",
       "abcdefghijklmnopqX", "abcdefghijklmnopqr"},
  };
  for (const auto& order : orders) {
    KeyReads::order = order;
    auto result = decodeJson<KeyReads>(json);
    ASSERT_TRUE(result);
    for (std::size_t i = 0; i < order.size(); ++i) {
      auto it = present.find(order[i]);
      EXPECT_EQ(result->values[i], it == present.end() ? std::nullopt : std::optional(it->second)) << order[i];
    }
  }
  KeyReads::order = {"x"};
  EXPECT_EQ(decodeJson<KeyReads>("{}")->values[0], std::nullopt);
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
  auto result = decodeJson<std::vector<std::shared_ptr<Node>>>(R"([{"name":"a"},{"name":"b"}])");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->at(1)->name, "b");
  EXPECT_EQ(decodeJson<std::shared_ptr<Node>>("{}").error().path(), "name");
}

}  // namespace
}  // namespace tavrel
