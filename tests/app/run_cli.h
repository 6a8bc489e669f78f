#pragma once
// Runs a `tavrel` command line in memory, for the CLI tests.

#include <sstream>
#include <string>
#include <vector>

#include "command.h"

namespace tavrel::cli {

struct CliRun {
  int status;
  std::string out, err;
};

inline CliRun runCli(const std::vector<std::string>& args, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out, err;
  const int status = runCommandLine(args, {in, out, err});
  return {status, out.str(), err.str()};
}

}  // namespace tavrel::cli
