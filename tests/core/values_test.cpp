#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "core/system_data.h"
#include "tavrel/core/log.h"
#include "tavrel/core/log_error.h"
#include "tavrel/core/resources.h"
#include "tavrel/core/result.h"
#include "tavrel/core/ui_error.h"

namespace tavrel {
namespace {

using Error = UIRepresentableError;

TEST(Result, TranslateKeepsSuccessOrError) {
  Result<int> ok = 21;
  Result<int> failed = Error::custom("bad");
  EXPECT_EQ(ok.translate([](int v) { return std::to_string(v * 2); }).success(), "42");
  bool called = false;
  auto passed = failed.translate([&](int v) {
    called = true;
    return v;
  });
  EXPECT_FALSE(called);
  EXPECT_EQ(passed.error(), Error::custom("bad"));
  EXPECT_FALSE(failed == Result<int>(Error::debug("bad")));

  // A move-only payload moves through translate and success.
  Result<std::unique_ptr<int>> owned = std::make_unique<int>(5);
  EXPECT_EQ(std::move(owned).translate([](std::unique_ptr<int> p) { return *p + 1; }).success(), 6);

  // Only a true success succeeds.
  EXPECT_TRUE(Result<bool>(true).requestSucceed());
  EXPECT_FALSE(Result<bool>(false).requestSucceed());
  EXPECT_FALSE(Result<bool>(Error::empty()).requestSucceed());
}

TEST(UIRepresentableError, CasesDescriptionsAndEquality) {
  EXPECT_FALSE(Error::custom("").isEmpty());
  EXPECT_TRUE(Error::empty().isEmpty());
  EXPECT_EQ(Error::debug("for developers").localizedDescription(), "for developers");

  // It travels as an exception and keeps its case.
  try {
    throw Error::debug("thrown");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "thrown");
    ASSERT_NE(dynamic_cast<const Error*>(&e), nullptr);
    EXPECT_TRUE(dynamic_cast<const Error&>(e).isDebug());
  }
  EXPECT_STREQ(Error::noInternet().what(), "Нет интернет соединения");
}

TEST(Color, HexConstructors) {
  EXPECT_EQ(Color::fromHex(0xFF0000), Color::red());
  EXPECT_EQ(Color::fromHex(0x1000000), std::nullopt);
  EXPECT_EQ(Color::fromHex(0x000000, 1.5), std::nullopt);
  struct Case { const char* text; std::optional<Color> expected; };
  const Case cases[] = {
      {"#999999", Color{0.6, 0.6, 0.6, 1}}, {"999999", Color{0.6, 0.6, 0.6, 1}}, {"#f00", Color::red()},
      {"ff000000", Color{1, 0, 0, 0}},      {"#12345", std::nullopt},             {"zzzzzz", std::nullopt},
      {"-12345", std::nullopt},             {"#+12345", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(Color::fromHex(std::string_view(c.text)), c.expected) << c.text;
}

TEST(DebugSink, HostSinkReceivesLinesAndThrowingSinkIsContained) {
  std::vector<std::string> lines;
  setDebugSink([&](std::string_view l) { lines.emplace_back(l); });
  debugPrint("one");
  debugPrint("");
  EXPECT_EQ(lines, (std::vector<std::string>{"one", ""}));
  setDebugSink([](std::string_view) { throw 1; });
  EXPECT_NO_THROW(debugPrint("lost"));
  setDebugSink(nullptr);
}

TEST(LogError, HeaderCarriesTimeFileFunctionAndLine) {
  const LogError error("boom", "/src/App/Foo.ext", "bar(x:)", 12);
  const std::regex shape(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} Foo\.\(x:\) line:12 - boom)");
  EXPECT_TRUE(std::regex_match(error.message(), shape)) << error.message();

  // Defaults come from the call site.
  const int line = __LINE__ + 1;
  const LogError here("x");
  EXPECT_NE(here.message().find("values_test.(") , std::string::npos) << here.message();
  EXPECT_NE(here.message().find(" line:" + std::to_string(line) + " - x"), std::string::npos);
}

TEST(LogError, SystemDataPieces) {
  struct Case { const char* in; const char* file; const char* function; };
  const Case cases[] = {
      {"", "", ""}, {"Foo.ext", "Foo", "Foo.ext"}, {"/a/b.c/Foo.test.cpp", "Foo", "/a/b.c/Foo.test.cpp"},
      {"dir/", "dir", "dir/"}, {"f(a)(b)", "f(a)(b)", "(a)(b)"},
      {"void ns::run(int) const", "void ns::run(int) const", "(int) const"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SystemData::fileName(c.in), c.file) << c.in;
    EXPECT_EQ(SystemData::functionNameByStrippingParameters(c.in), c.function) << c.in;
  }

  // 2001-02-03 04:05:06.789 local time.
  std::tm tm{};
  tm.tm_year = 101, tm.tm_mon = 1, tm.tm_mday = 3, tm.tm_hour = 4, tm.tm_min = 5, tm.tm_sec = 6, tm.tm_isdst = -1;
  const auto when = std::chrono::system_clock::from_time_t(std::mktime(&tm)) + std::chrono::milliseconds(789);
  EXPECT_EQ(SystemData::logDateFormatter()(when), "2001-02-03 04:05:06.789");
}

}  // namespace
}  // namespace tavrel
