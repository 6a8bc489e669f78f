#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <string>
#include <tuple>

#include "tavrel/core/collection.h"
#include "tavrel/core/encoding_url.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/core/text.h"
#include "tavrel/core/url.h"

namespace tavrel {
namespace {

TEST(PercentEncoding, EncodesOutsideTheSetAndDecodesStrictly) {
  EXPECT_EQ(percentEncode("a b/é", charset::urlPathAllowed()), "a%20b/%C3%A9");
  EXPECT_EQ(percentEncode("100%", charset::alphanumerics()), "100%25");
  // Non-ASCII is encoded even by a set that allows everything ASCII.
  EXPECT_EQ(percentEncode("ж", AsciiSet().inverted()), "%D0%B6");
  std::string all = "жй😀";
  for (int c = 0x20; c < 0x7F; ++c) all.push_back(static_cast<char>(c));
  EXPECT_EQ(removePercentEncoding(percentEncode(all, charset::alphanumerics())), all);

  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"%41%62", "Ab"}, {"%d0%b6", "ж"}, {"%4", std::nullopt}, {"%4g", std::nullopt},
      {"%FF", std::nullopt}, {"%ED%A0%80", std::nullopt},  // not UTF-8, a surrogate
      {"+%2B", "++"}};
  for (const auto& [in, out] : cases) EXPECT_EQ(removePercentEncoding(in), out) << in;
}

TEST(Text, URLEncodeTouchesOnlyDelimitersAndNonAscii) {
  EXPECT_EQ(URLEncode("Az09-_.~/%"), "Az09-_.~/%");
  EXPECT_EQ(URLEncode(":#[]@ !$&'()*+,;="), "%3A%23%5B%5D%40%20%21%24%26%27%28%29%2A%2B%2C%3B%3D");
  EXPECT_EQ(URLEncode("a<b>\"{}|\\^`?"), "a<b>\"{}|\\^`?");
  EXPECT_EQ(URLEncode("привет"), "%D0%BF%D1%80%D0%B8%D0%B2%D0%B5%D1%82");
}

TEST(EncodingURL, SplitsAtTheLastSlash) {
  struct Case { const char *in, *filename, *path, *escaped; std::optional<std::string> url; };
  const Case cases[] = {
      {"x/a/a", "a", "x/a/", "a", "x/a/a"},
      {"my file.png", "my file.png", "", "my%20file.png", "my%20file.png"},
      {"https://h.io/dir/", "", "https://h.io/dir/", "", "https://h.io/dir/"},
      {"https://h.io/f/отчёт #1.pdf", "отчёт #1.pdf", "https://h.io/f/",
       "%D0%BE%D1%82%D1%87%D1%91%D1%82%20%231.pdf", "https://h.io/f/%D0%BE%D1%82%D1%87%D1%91%D1%82%20%231.pdf"},
      {"", "", "", "", std::nullopt},
      {"bad path/a b", "a b", "bad path/", "a%20b", std::nullopt},  // the folder part is not encoded
  };
  for (const auto& c : cases) {
    const EncodingURL e(c.in);
    EXPECT_EQ(std::make_tuple(e.filename(), e.urlPath(), e.escapedFileName()),
              std::make_tuple(std::string(c.filename), std::string(c.path), std::string(c.escaped))) << c.in;
    EXPECT_EQ(e.url() ? std::optional(e.url()->absoluteString()) : std::nullopt, c.url) << c.in;
  }
}

TEST(Url, ParsesComponentsAndRefusesMalformedText) {
  using O = std::optional<std::string>;
  struct Case { const char* text; O scheme, host; std::optional<int> port; std::string path; O query, fragment; };
  const Case cases[] = {
      {"https://user:pw@example.com:8080/a/b%20c?x=1&y=2#top", "https", "example.com", 8080, "/a/b%20c", "x=1&y=2", "top"},
      {"dir/file.txt", {}, {}, {}, "dir/file.txt", {}, {}},
      {"http://[::1]:80/", "http", "[::1]", 80, "/", {}, {}},
      {"mailto:a@b.c", "mailto", {}, {}, "a@b.c", {}, {}},
      {"file:///tmp/x", "file", "", {}, "/tmp/x", {}, {}},
  };
  for (const auto& c : cases) {
    const auto url = Url::parse(c.text);
    ASSERT_TRUE(url) << c.text;
    EXPECT_EQ(std::tie(url->scheme(), url->host(), url->path(), url->query(), url->fragment()),
              std::tie(c.scheme, c.host, c.path, c.query, c.fragment)) << c.text;
    EXPECT_EQ(url->port(), c.port) << c.text;
  }
  for (const char* bad : {"", "a b", "http://x/é", "http://x/%zz", "1http://x", "http://x:99999/", "http://x:1a/",
                          "a#b#c", "http://x/[1]", "http://[::1/"})
    EXPECT_EQ(Url::parse(bad), std::nullopt) << bad;
}

TEST(Url, QueryDictionary) {
  using Map = std::map<std::string, std::string>;
  struct Case { const char* url; std::optional<Map> expected; };
  const Case cases[] = {
      {"https://x.io/p?a=1&b=x+y%21", Map{{"a", "1"}, {"b", "x y!"}}},
      {"https://x.io/p", std::nullopt},
      {"https://x.io/p?", Map{}},
      {"https://x.io/p?a=1&a=2", Map{{"a", "2"}}},
      {"https://x.io/p?k=v=w&flag&e=", Map{{"k", "v"}, {"e", ""}}},
      {"https://x.io/p?bad=%FF&k%20=v", Map{{"bad", ""}, {"k%20", "v"}}},
      {"https://x.io/p?a=1#b=2", Map{{"a", "1"}}},
  };
  for (const auto& c : cases) {
    const auto url = Url::parse(c.url);
    ASSERT_TRUE(url) << c.url;
    EXPECT_EQ(queryDictionary(*url), c.expected) << c.url;
  }
}

TEST(Text, GroupCutsUserPerceivedCharacters) {
  using V = std::vector<std::string>;
  struct Case { const char* text; int size; V expected; };
  const Case cases[] = {
      {"abcde", 2, V{"ab", "cd", "e"}}, {"", 3, V{}}, {"abc", 0, V{}},
      {"привет", 4, V{"прив", "ет"}},
      // e + combining acute, a family emoji joined by ZWJ, a flag.
      {"e\u0301x\U0001F468\u200D\U0001F469\u200D\U0001F467\U0001F1F7\U0001F1FAz", 1,
       V{"e\u0301", "x", "\U0001F468\u200D\U0001F469\u200D\U0001F467", "\U0001F1F7\U0001F1FA", "z"}},
      {"\r\nab", 2, V{"\r\na", "b"}},
  };
  for (const auto& c : cases) EXPECT_EQ(group(c.text, c.size), c.expected) << c.text;
}

TEST(Text, IsValidUrlNeedsTheWholeTextToBeOneLink) {
  struct Case { const char* text; bool valid; };
  const Case cases[] = {
      {"https://example.com", true}, {"HTTPS://EXAMPLE.COM", true}, {"http://localhost:8080/x", true},
      {"http://192.168.0.1/", true}, {"http://[::1]/", true}, {"www.example.com", true}, {"example.com", true},
      {"пример.рф", true}, {"example.com/a/(b)", true}, {"user@example.com", true}, {"mailto:user@example.com", true},
      {"see https://example.com", false}, {"https://example.com.", false}, {"(https://example.com)", false},
      {"https://example.com/a)", false}, {"https://", false}, {"example", false}, {"example.c", false},
      {"example.123", false}, {"-bad.com", false}, {"mailto:nobody", false}, {"", false}, {"\xFF.com", false},
  };
  for (const auto& c : cases) EXPECT_EQ(isValidUrl(c.text), c.valid) << c.text;
}

TEST(Text, StringFromHtml) {
  struct Case { const char* html; std::optional<std::string> text; };
  const Case cases[] = {
      {"Tom &amp; Jerry &lt;3 &#x1F600; &nbsp;!", "Tom & Jerry <3 \U0001F600 \u00A0!"},
      {"<b>bold</b> and <i>it</i>", "bold and it"}, {"<p>one</p><p>two</p>", "one\ntwo\n"}, {"a<br>b", "a\nb"},
      {"  spaced \n\t out  ", "spaced out"},
      {"<html><head><title>T</title><style>p{}</style></head><body>x<script>1<2</script></body></html>", "x"},
      {"<pre>a\n  b</pre>", "a\n  b\n"}, {"unclosed <b>tag", "unclosed tag"}, {"\xC3\x28", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(stringFromHtml(c.html), c.text) << c.html;

  // libxml2 complains about none of this on standard error.
  testing::internal::CaptureStderr();
  (void)stringFromHtml("<a <<< &bogus; </x></y><p");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Text, StrictNumberParses) {
  const std::pair<std::optional<std::string>, std::optional<std::int64_t>> ints[] = {
      {std::nullopt, std::nullopt}, {"", std::nullopt},    {"-12", -12},          {"+7", 7},
      {"+-7", std::nullopt},        {"1 ", std::nullopt},  {"1.0", std::nullopt}, {"0x10", std::nullopt},
      {"9223372036854775807", INT64_MAX}, {"9223372036854775808", std::nullopt},
  };
  for (const auto& [in, out] : ints) EXPECT_EQ(parseInt(in), out) << in.value_or("<absent>");

  const std::pair<std::optional<std::string>, std::optional<double>> doubles[] = {
      {"", std::nullopt},    {"1.5", 1.5},          {"+.5", 0.5},          {"1E-2", 0.01},
      {"5.", 5.0},           {"1e", std::nullopt},  {" 1", std::nullopt},  {"1,5", std::nullopt},
      {"1e999", std::nullopt}, {"inf", INFINITY},
  };
  for (const auto& [in, out] : doubles) EXPECT_EQ(parseDouble(in), out) << in.value_or("<absent>");
  EXPECT_TRUE(std::isnan(*parseDouble("nan")));
}

TEST(Collection, SafeAtAndDifference) {
  const std::vector<int> v{10, 20, 30};
  EXPECT_EQ(safeAt(v, 2), 30);
  for (int out : {3, -1}) EXPECT_EQ(safeAt(v, out), std::nullopt);
  EXPECT_EQ(safeAt(std::array<int, 0>{}, 0), std::nullopt);

  auto sorted = [](std::vector<int> x) {
    std::sort(x.begin(), x.end());
    return x;
  };
  EXPECT_EQ(sorted(difference<int>({1, 2}, {2, 3})), (std::vector<int>{1, 3}));
  EXPECT_EQ(sorted(difference<int>({1, 1, 2}, {})), (std::vector<int>{1, 2}));
  EXPECT_EQ(difference<int>({4, 4}, {4}), std::vector<int>{});
}

}  // namespace
}  // namespace tavrel
