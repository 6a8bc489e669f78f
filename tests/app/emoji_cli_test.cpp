#include <gtest/gtest.h>

#include <sstream>

#include "command.h"

namespace tavrel::cli {
namespace {

struct Run {
  int status;
  std::string out, err;
};

Run emoji(std::vector<std::string> args, const std::string& input) {
  args.insert(args.begin(), "emoji");
  std::istringstream in(input);
  std::ostringstream out, err;
  const int status = runCommandLine(args, {in, out, err});
  return {status, out.str(), err.str()};
}

TEST(EmojiCommand, ConvertsStandardInputBothWays) {
  const std::string text = "Привет \xF0\x9F\x91\x8D\n\xFF\xF0\x9F :zz: # end";
  const std::string escaped = "Привет :thumbsup:\n\xFF\xF0\x9F :zz: :pound_symbol: end";
  auto run = emoji({"escape"}, text);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, escaped);
  EXPECT_EQ(run.err, "");
  run = emoji({"unescape"}, escaped);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, text);
  // Larger than one read chunk, with a name across the chunk border.
  const std::string big = std::string(65530, 'a') + ":smile:" + std::string(70000, 'b');
  run = emoji({"unescape"}, big);
  EXPECT_EQ(run.out, std::string(65530, 'a') + "\xF0\x9F\x98\x84" + std::string(70000, 'b'));
  EXPECT_EQ(emoji({"escape"}, "").out, "");
}

TEST(EmojiCommand, HelpAndBadArguments) {
  const auto help = emoji({"--help"}, "");
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("usage: tavrel emoji escape|unescape"), std::string::npos);
  for (const auto& args : std::vector<std::vector<std::string>>{{}, {"sideways"}, {"escape", "x"}}) {
    const auto run = emoji(args, "#");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("usage"), std::string::npos);
  }
}

}  // namespace
}  // namespace tavrel::cli
