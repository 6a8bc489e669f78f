#include <gtest/gtest.h>

#include "app/run_cli.h"

namespace tavrel::cli {
namespace {

CliRun emoji(std::vector<std::string> args, const std::string& input) {
  args.insert(args.begin(), "emoji");
  return runCli(args, input);
}

// The conversions are the emoji module's; here, standard input to output,
// the lines and bytes that are no text kept.
TEST(EmojiCommand, ConvertsStandardInputBothWays) {
  const std::string text = "Привет \xF0\x9F\x91\x8D\n\xFF :zz:";
  const std::string escaped = "Привет :thumbsup:\n\xFF :zz:";
  auto run = emoji({"escape"}, text);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, escaped);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(emoji({"unescape"}, escaped).out, text);
  // Larger than one read chunk, with a name across the chunk border.
  const std::string big = std::string(65530, 'a') + ":smile:" + std::string(70000, 'b');
  EXPECT_EQ(emoji({"unescape"}, big).out, std::string(65530, 'a') + "\xF0\x9F\x98\x84" + std::string(70000, 'b'));
}

TEST(EmojiCommand, HelpAndBadArguments) {
  EXPECT_NE(emoji({"--help"}, "").out.find("usage: tavrel emoji escape|unescape"), std::string::npos);
  for (const auto& args : std::vector<std::vector<std::string>>{{}, {"sideways"}, {"escape", "x"}}) {
    const auto run = emoji(args, "#");
    EXPECT_EQ(run.status, 64);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.ends_with("; see `tavrel emoji --help`\n")) << run.err;
  }
}

// The top level: help with the exit statuses, version, and usage mistakes.
TEST(CommandLine, HelpVersionAndUnknownCommands) {
  const auto help = runCli({"--help"}).out;
  for (const char* line : {"  demo ", "  64  usage error", "  78  configuration error"}) {
    EXPECT_NE(help.find(line), std::string::npos) << line;
  }
  auto version = runCli({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("tavrel ", 0), 0u);
  for (auto [args, err] : {std::pair<std::vector<std::string>, std::string>{
                               {}, "tavrel: missing command; see `tavrel --help`\n"},
                           {{"frobnicate"}, "tavrel: unknown command 'frobnicate'; see `tavrel --help`\n"},
                           {{"kb"}, "tavrel kb: missing what to read: settings, categories, "
                                    "articles, article or search; see `tavrel kb --help`\n"}}) {
    auto run = runCli(args);
    EXPECT_EQ(run.status, 64);
    EXPECT_EQ(run.err, err);
  }
}

}  // namespace
}  // namespace tavrel::cli
