#include "tavrel/core/json_writer.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

namespace tavrel {
namespace {

// The scan goes a word at a time: each kind of byte, at every offset around
// the word edges, as a value and as a key.
TEST(JsonWriter, EscapesAtEveryPositionAndChecksUtf8) {
  struct Case { std::string in, out; } cases[] = {
      {"", ""},
      {"\"", R"(\")"},
      {"\\", R"(\\)"},
      {"\n\t\r", R"(\u000a\u0009\u000d)"},
      {std::string(1, '\0'), R"(\u0000)"},
      {"\x1f\x7f", "\\u001f\x7f"},
      {"ж🙂 /", "ж🙂 /"},
      {"\"\"\\", R"(\"\"\\)"},
  };
  for (const auto& c : cases) {
    for (std::size_t at = 0; at <= 17; ++at) {
      const std::string a(at, 'a'), b(17 - at, 'b');
      const std::string quoted = "\"" + a + c.out + b + "\"";
      EXPECT_EQ(encodeJson(a + c.in + b).value(), quoted) << at;
      JsonWriter w;
      w.beginObject();
      w.field(a + c.in + b, 1);
      w.endObject();
      EXPECT_EQ(w.text(), "{" + quoted + ":1}") << at;
    }
  }
  // Invalid UTF-8 anywhere in a long text fails, and leaves nothing behind.
  for (const std::string bad : {"\xff", "\xc3", "\xe2\x82", "\xed\xa0\x80", "\xc3\"\x80"}) {
    for (std::size_t at : {0u, 7u, 8u, 9u, 20u}) {
      std::string text = std::string(at, 'a') + bad + "\n" + std::string(5, 'b');
      EXPECT_FALSE(encodeJson(text)) << at;
      JsonWriter w;
      w.beginArray();
      w.value(1);
      w.value(text);
      EXPECT_TRUE(w.failed());
      EXPECT_EQ(w.text(), "[1") << at;
    }
  }
}

TEST(JsonWriter, DoublesInShortestFormThatReadsBack) {
  struct Case { double in; const char* out; } cases[] = {
      {2.0, "2.0"},       {1e300, "1e+300"},  {-0.0, "-0.0"}, {100000, "100000.0"}, {1.5e-7, "1.5e-07"},
      {5e-324, "5e-324"}, {1.7976931348623157e308, "1.7976931348623157e+308"},
      {0.30000000000000004, "0.30000000000000004"}, {1e-4, "0.0001"}, {1e-5, "1e-05"},
      {9007199254740991.0, "9007199254740991.0"}, {9007199254740992.0, "9.007199254740992e+15"},
  };
  for (const auto& c : cases) {
    std::string text = encodeJson(c.in).value();
    EXPECT_EQ(text, c.out);
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    EXPECT_EQ(back, c.in) << text;
    EXPECT_EQ(std::signbit(back), std::signbit(c.in)) << text;
  }
  EXPECT_EQ(encodeJson(std::int64_t{-9223372036854775807 - 1}).value(), "-9223372036854775808");
}

TEST(JsonWriter, RefusesWhatJsonCannotHold) {
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                     -std::numeric_limits<double>::infinity()}) {
    auto result = encodeJson(std::vector<double>{1.0, bad});
    ASSERT_FALSE(result);
    EXPECT_NE(std::string(result.error().what()).find("non-finite"), std::string::npos);
  }
  JsonWriter w;
  w.beginObject();
  w.key("\xc3");
  EXPECT_TRUE(w.failed());
  // A tree that cannot be written has no text; its number still has one.
  JsonValue v(JsonValue::Object{{"x", JsonValue(std::numeric_limits<double>::infinity())}});
  EXPECT_EQ(v.asString(), std::nullopt);
  EXPECT_EQ(v.getString("x"), "inf");
}

struct Inner {
  int n;
  void encode(JsonWriter& w) const {
    w.beginObject();
    w.field("n", n);
    w.endObject();
  }
};

struct Outer {
  std::optional<std::string> id;
  std::vector<Inner> items;
  std::shared_ptr<Inner> first;
  std::optional<JsonValue> extra;
  bool flag = true;
  void encode(JsonWriter& w) const {
    w.beginObject();
    w.field("zeta", id);  // keys keep the order they are written in
    w.field("items", items);
    w.field("first", first);
    w.field("extra", extra);
    w.field("alpha", flag);
    w.endObject();
  }
};

TEST(JsonWriter, RecordsKeepKeyOrderAndWriteAbsentAsNull) {
  Outer o;
  EXPECT_EQ(encodeJson(o).value(),
            R"({"zeta":null,"items":[],"first":null,"extra":null,"alpha":true})");
  o.id = "7";
  o.items = {{1}, {2}};
  o.first = std::make_shared<Inner>(Inner{3});
  o.extra = JsonValue(JsonValue::Array{JsonValue(), JsonValue(0.5)});
  EXPECT_EQ(encodeJson(o).value(),
            R"({"zeta":"7","items":[{"n":1},{"n":2}],"first":{"n":3},"extra":[null,0.5],"alpha":true})");
  EXPECT_EQ(encodeJson(std::vector<std::vector<int>>{{}, {1}, {}}).value(), "[[],[1],[]]");
  EXPECT_EQ(encodeJson(nullptr).value(), "null");
}

}  // namespace
}  // namespace tavrel
