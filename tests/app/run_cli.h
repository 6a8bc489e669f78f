#pragma once
// Runs a `tavrel` command line in memory, for the CLI tests, and gives a test
// a folder of its own for the bundles and state of its runs.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// A folder of the running test's own, removed after it; the environment
// variables set through it are unset then.
class TestFolder {
 public:
  TestFolder() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    path = std::filesystem::temp_directory_path() / ("tavrel_cli_" + std::to_string(::getpid()) + "_" +
                                                     test->test_suite_name() + "_" + test->name());
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~TestFolder() {
    for (const auto& name : set_) ::unsetenv(name.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  void env(const std::string& name, const std::filesystem::path& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
    set_.push_back(name);
  }
  // The subfolder `name` as a bundle whose Info.plist holds `entries`, named
  // by the environment variable `variable`.
  void bundle(const std::string& variable, const std::string& name, const std::string& entries) {
    std::filesystem::create_directories(path / name);
    std::ofstream(path / name / "Info.plist") << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                              << "<plist version=\"1.0\"><dict>" << entries << "</dict></plist>\n";
    env(variable, path / name);
  }

  std::filesystem::path path;

 private:
  std::vector<std::string> set_;
};

}  // namespace tavrel::cli
