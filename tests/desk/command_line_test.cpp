// tavrel-desk's command line: each mistake stops before a window opens,
// with the CLI's statuses and one line that names it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "chat_window.h"

namespace tavrel::desk {
namespace {

struct CommandLineCase {
  const char* name;
  std::vector<std::string> args;
  const char* bundle;  // TAVREL_MAIN_BUNDLE, or null
  int status;
  const char* says;
};

class DeskCommandLine : public testing::TestWithParam<CommandLineCase> {};

TEST_P(DeskCommandLine, StopsWithTheStatusAndReason) {
  const auto& c = GetParam();
  const auto state = std::filesystem::temp_directory_path() / ("tavrel-desk-test-" + std::to_string(::getpid()));
  std::vector<std::string> args{"tavrel-desk"};
  args.insert(args.end(), c.args.begin(), c.args.end());
  args.insert(args.end(), {"--state", state.string()});
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  if (c.bundle) setenv("TAVREL_MAIN_BUNDLE", c.bundle, 1);
  std::ostringstream err;
  const int status = runChatWindow(int(argv.size()), argv.data(), err);
  unsetenv("TAVREL_MAIN_BUNDLE");
  std::filesystem::remove_all(state);
  EXPECT_EQ(status, c.status) << err.str();
  EXPECT_NE(err.str().find(c.says), std::string::npos) << err.str();
  EXPECT_EQ(err.str().find('\n'), err.str().size() - 1) << "one line: " << err.str();
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, DeskCommandLine,
    testing::Values(
        CommandLineCase{"UnknownNetwork", {"--network", "wifi"}, nullptr, 64, "--network is linux or manual"},
        CommandLineCase{"EmbeddedWithKey", {"--embedded", "--key", "k"}, nullptr, 64, "no --key"},
        CommandLineCase{"DbWithoutEmbedded", {"--key", "k", "--db", "x.db"}, nullptr, 64, "--db is for --embedded"},
        CommandLineCase{"UnknownOption", {"--key", "k", "--colour", "red"}, nullptr, 64, "unknown option '--colour'"},
        CommandLineCase{"NoBundle", {"--key", "k"}, "/nonexistent/tavrel", 78, "which is no directory"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace tavrel::desk
