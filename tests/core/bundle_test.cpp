#include <gtest/gtest.h>
#include <plist/plist.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <vector>

#include "core/bundle_files.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"
#include "tavrel/core/resources.h"
#include "tavrel/core/ui_error.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;
using Keys = InfoPlist::Keys;

enum class PlistFormat { xml, binary };

// A bundle directory under the test's own temporary folder.
class TempBundle {
 public:
  explicit TempBundle(const std::string& name) {
    dir_ = fs::temp_directory_path() / ("tavrel_bundle_" + std::to_string(::getpid()) + "_" + name);
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  ~TempBundle() {
    std::error_code ec;
    fs::remove_all(dir_, ec);
  }
  const fs::path& dir() const { return dir_; }

  // Info.plist holding text values and one number ("closeViewWidth").
  void writeInfo(const std::map<std::string, std::string>& values, PlistFormat format) const {
    plist_t dict = plist_new_dict();
    for (const auto& [k, v] : values) plist_dict_set_item(dict, k.c_str(), plist_new_string(v.c_str()));
    plist_dict_set_item(dict, "closeViewWidth", plist_new_uint(300));
    char* data = nullptr;
    uint32_t length = 0;
    if (format == PlistFormat::xml)
      plist_to_xml(dict, &data, &length);
    else
      plist_to_bin(dict, &data, &length);
    write("Info.plist", std::string(data, length));
    std::free(data);
    plist_free(dict);
  }

  void write(const fs::path& relative, const std::string& bytes) const {
    fs::create_directories((dir_ / relative).parent_path());
    std::ofstream(dir_ / relative, std::ios::binary) << bytes;
  }

 private:
  fs::path dir_;
};

// Leaves the registry, the environment and the languages as it found them.
class BundleTest : public testing::Test {
 protected:
  void TearDown() override {
    Bundle::registerMain({});
    Bundle::registerBundle(Bundle::sdkIdentifier, {});
    Bundle::registerBundle(Bundle::libIdentifier, {});
    for (const char* name : {"TAVREL_MAIN_BUNDLE", "TAVREL_SDK_BUNDLE", "TAVREL_LIB_BUNDLE"}) unsetenv(name);
    Bundle::setPreferredLanguages({});
  }
};

TEST_F(BundleTest, MissingBundleGivesEmptyTextNotAbsence) {
  for (AppType type : {AppType::app, AppType::sdk, AppType::lib}) {
    EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, type), "");
    EXPECT_EQ(localize("Привет", type), "");
    EXPECT_EQ(Bundle::directory(type), std::nullopt);
  }
  // A registered path that is no directory is no bundle either.
  Bundle::registerMain("/nonexistent/tavrel");
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl), "");
}

TEST_F(BundleTest, GetValueFromXmlAndBinaryPropertyLists) {
  for (PlistFormat format : {PlistFormat::xml, PlistFormat::binary}) {
    TempBundle bundle("info");
    bundle.writeInfo({{"apiUrl", "https:\\/\\/api.example.com\\/api\\/v1\\/"}, {"wssUrl", "wss://rt.example.com"}},
                     format);
    Bundle::registerMain(bundle.dir());
    const auto& info = InfoPlist::shared();
    EXPECT_EQ(info.getValue(Keys::apiUrl), "https://api.example.com/api/v1/");
    EXPECT_EQ(info.getValue(Keys::wssUrl, AppType::app), "wss://rt.example.com");
    EXPECT_EQ(info.getValue(Keys::login), std::nullopt);           // missing
    EXPECT_EQ(info.getValue(Keys::closeViewWidth), std::nullopt);  // a number
  }
  // Keys are looked up by their names, case and all.
  EXPECT_EQ(InfoPlist::key("storeProductITunesIdentifier"), Keys::storeProductITunesIdentifier);
  EXPECT_EQ(InfoPlist::key("ApiUrl"), std::nullopt);

  // A bundle without Info.plist, and one whose Info.plist is garbage, have none.
  TempBundle bare("bare");
  Bundle::registerMain(bare.dir());
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl), std::nullopt);
  bare.write("Info.plist", "not a plist");
  Bundle::registerMain(bare.dir());
  std::vector<std::string> lines;
  setDebugSink([&](std::string_view line) {
    lines.emplace_back(line);
    (void)localize("x");  // a sink may use the bundles: no lock is held
  });
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl), std::nullopt);
  setDebugSink(nullptr);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with("Info.plist is not a property list: ")) << lines[0];
}

TEST_F(BundleTest, EnvironmentNamesBundlesAndRegistrationWins) {
  TempBundle sdk("sdk"), lib("lib"), other("other");
  sdk.writeInfo({{"apiUrl", "sdk"}}, PlistFormat::binary);
  lib.writeInfo({{"apiUrl", "lib"}}, PlistFormat::xml);
  other.writeInfo({{"apiUrl", "other"}}, PlistFormat::xml);
  setenv("TAVREL_SDK_BUNDLE", sdk.dir().c_str(), 1);
  setenv("TAVREL_LIB_BUNDLE", lib.dir().c_str(), 1);
  setenv("TAVREL_MAIN_BUNDLE", "", 1);  // empty names nothing
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::sdk), "sdk");
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::lib), "lib");
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::app), "");
  EXPECT_EQ(Bundle::directory(AppType::sdk), sdk.dir());

  Bundle::registerBundle(Bundle::sdkIdentifier, other.dir());
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::sdk), "other");
  Bundle::registerBundle(Bundle::sdkIdentifier, {});
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::sdk), "sdk");
  // A changed variable is seen at the next read.
  setenv("TAVREL_SDK_BUNDLE", lib.dir().c_str(), 1);
  EXPECT_EQ(InfoPlist::shared().getValue(Keys::apiUrl, AppType::sdk), "lib");
}

TEST_F(BundleTest, LocalizeChoosesLanguageAndFallsBackToTheText) {
  TempBundle bundle("l10n");
  bundle.writeInfo({{"CFBundleDevelopmentRegion", "ru"}}, PlistFormat::xml);
  bundle.write("en.lproj/Localizable.strings",
               "/* Greeting */\n\"Привет\" = \"Hello\";\n// line comment\n"
               "\"Кавычки\" = \"say \\\"hi\\\"\\n\\tnow \\U00e9\\UD83D\\UDE00 \\101\";\n"
               "unquoted_key = \"bare\";\n\"Сам\";\n");
  bundle.write("pt_BR.lproj/Localizable.strings", "\"Привет\" = \"Olá\";");
  // UTF-16 big-endian with a byte-order mark.
  std::string utf16be = "\xFE\xFF";
  for (char16_t u : std::u16string(u"\"Привет\" = \"Hallo\";"))
    utf16be += {static_cast<char>(u >> 8), static_cast<char>(u & 0xFF)};
  bundle.write("de.lproj/Localizable.strings", utf16be);
  bundle.write("ru.lproj/Localizable.strings", "\"Привет\" = \"Здравствуй\";");
  Bundle::registerMain(bundle.dir());

  struct Case {
    std::vector<std::string> languages;
    const char* key;
    const char* expected;
  };
  const Case cases[] = {
      {{"en-US"}, "Привет", "Hello"},  // region falls back to the language
      {{"EN_gb"}, "Кавычки", "say \"hi\"\n\tnow é😀 A"},
      {{"en"}, "unquoted_key", "bare"}, {{"en"}, "Сам", "Сам"}, {{"en"}, "Нет перевода", "Нет перевода"},
      {{"pt-BR"}, "Привет", "Olá"},
      {{"fr", "de"}, "Привет", "Hallo"},
      {{"fr"}, "Привет", "Здравствуй"},  // the development language
  };
  for (const auto& c : cases) {
    Bundle::setPreferredLanguages(c.languages);
    EXPECT_EQ(localize(c.key), c.expected) << c.languages.front() << " " << c.key;
  }
}

TEST_F(BundleTest, LanguagesComeFromTheEnvironmentByDefault) {
  for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(name);
  EXPECT_EQ(Bundle::preferredLanguages(), std::vector<std::string>{});
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(Bundle::preferredLanguages(), std::vector<std::string>{"de_DE"});
  setenv("LC_ALL", "C", 1);  // says nothing: the next variable speaks
  EXPECT_EQ(Bundle::preferredLanguages(), std::vector<std::string>{"de_DE"});
  setenv("LANGUAGE", "ru:en_US@euro", 1);
  EXPECT_EQ(Bundle::preferredLanguages(), (std::vector<std::string>{"ru", "en_US"}));
  Bundle::setPreferredLanguages({"fr"});
  EXPECT_EQ(Bundle::preferredLanguages(), std::vector<std::string>{"fr"});
  for (const char* name : {"LANGUAGE", "LC_ALL", "LANG"}) unsetenv(name);
}

TEST(StringsTable, MalformedTablesAreRefusedWhole) {
  for (const char* bad : {"\"a\" = \"b\"", "\"a\" = ;", "\"a\" \"b\";", "/* open", "\"a\" = \"b;",
                          "\"a\" = \"\\UD83D\";", "\"a\" = \"\\U12\";", "\xFF\xFE\"", "\"\xC3\x28\" = \"x\";"}) {
    EXPECT_EQ(detail::parseStringsTable(bad), std::nullopt) << bad;
  }
  EXPECT_EQ(detail::parseStringsTable(""), detail::StringsTable{});
  EXPECT_EQ(detail::parseStringsTable("\xEF\xBB\xBF\"k\"=\"v\";"), (detail::StringsTable{{"k", "v"}}));
  // Little-endian UTF-16 with a surrogate pair.
  const std::string le("\xFF\xFE\"\0k\0\"\0=\0\"\0\x3D\xD8\x00\xDE\"\0;\0", 20);
  EXPECT_EQ(detail::parseStringsTable(le), (detail::StringsTable{{"k", "\U0001F600"}}));
}

// Reads from many threads while the registry changes: no torn values.
TEST_F(BundleTest, ConcurrentReadsDuringRegistration) {
  TempBundle a("a"), b("b");
  a.writeInfo({{"apiUrl", "A"}}, PlistFormat::xml);
  b.writeInfo({{"apiUrl", "B"}}, PlistFormat::binary);
  a.write("ru.lproj/Localizable.strings", "\"k\" = \"a\";");
  b.write("ru.lproj/Localizable.strings", "\"k\" = \"b\";");
  Bundle::setPreferredLanguages({"ru"});
  Bundle::registerMain(a.dir());
  std::atomic<bool> bad{false};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t)
    readers.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const auto v = InfoPlist::shared().getValue(Keys::apiUrl);
        const auto k = localize("k");
        if (v != "A" && v != "B") bad = true;
        if (k != "a" && k != "b") bad = true;
      }
    });
  for (int i = 0; i < 50; ++i) Bundle::registerMain(i % 2 ? a.dir() : b.dir());
  for (auto& r : readers) r.join();
  EXPECT_FALSE(bad);
}

// The fixed texts are translated once, at first use, with the main bundle of
// that moment. The run starts a fresh process to have a real first use.
TEST_F(BundleTest, ResourceStringsAreTranslatedAtFirstUse) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        TempBundle bundle("first_use");
        bundle.write("en.lproj/Localizable.strings", "\"Нет интернет соединения\" = \"No connection\";");
        Bundle::registerMain(bundle.dir());
        Bundle::setPreferredLanguages({"en"});
        const bool first = UIRepresentableError::noInternet().localizedDescription() == "No connection";
        Bundle::setPreferredLanguages({"ru"});  // too late: the value stays
        Bundle::registerMain({});
        std::exit(first && R::string::noInternet() == "No connection" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tavrel
