#include "command.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tavrel::cli {
namespace {

struct Run {
  int status;
  std::string out, err;
};

Run run(std::vector<std::string> args) {
  std::istringstream in;
  std::ostringstream out, err;
  int status = runCommandLine(args, {in, out, err});
  return {status, out.str(), err.str()};
}

TEST(CommandLine, HelpVersionAndUnknownCommands) {
  auto help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("demo"), std::string::npos);

  auto version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("tavrel ", 0), 0u);

  auto none = run({});
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("usage"), std::string::npos);

  auto unknown = run({"frobnicate"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command 'frobnicate'"), std::string::npos);
}

}  // namespace
}  // namespace tavrel::cli
