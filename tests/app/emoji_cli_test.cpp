#include <gtest/gtest.h>

#include "app/run_cli.h"

namespace tavrel::cli {
namespace {

CliRun emoji(std::vector<std::string> args, const std::string& input) {
  args.insert(args.begin(), "emoji");
  return runCli(args, input);
}

TEST(EmojiCommand, ConvertsStandardInputBothWays) {
  const std::string text = "Привет \xF0\x9F\x91\x8D\n\xFF\xF0\x9F :zz: # end";
  const std::string escaped = "Привет :thumbsup:\n\xFF\xF0\x9F :zz: :pound_symbol: end";
  auto run = emoji({"escape"}, text);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, escaped);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(emoji({"unescape"}, escaped).out, text);
  // Larger than one read chunk, with a name across the chunk border.
  const std::string big = std::string(65530, 'a') + ":smile:" + std::string(70000, 'b');
  run = emoji({"unescape"}, big);
  EXPECT_EQ(run.out, std::string(65530, 'a') + "\xF0\x9F\x98\x84" + std::string(70000, 'b'));
}

TEST(EmojiCommand, HelpAndBadArguments) {
  EXPECT_NE(emoji({"--help"}, "").out.find("usage: tavrel emoji escape|unescape"), std::string::npos);
  for (const auto& args : std::vector<std::vector<std::string>>{{}, {"sideways"}, {"escape", "x"}}) {
    const auto run = emoji(args, "#");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("usage"), std::string::npos);
  }
}

// The top level: help, version and unknown commands.
TEST(CommandLine, HelpVersionAndUnknownCommands) {
  EXPECT_NE(runCli({"--help"}).out.find("demo"), std::string::npos);
  auto version = runCli({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("tavrel ", 0), 0u);
  auto none = runCli({});
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("usage"), std::string::npos);
  auto unknown = runCli({"frobnicate"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command 'frobnicate'"), std::string::npos);
}

}  // namespace
}  // namespace tavrel::cli
