#pragma once
// Subcommands of the `tavrel` executable. Each lives in its own file and
// registers itself with TAVREL_COMMAND; main() only dispatches.

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel::cli {

// Exit statuses, the same for every subcommand (the table of `tavrel --help`).
enum ExitStatus : int {
  kSuccess = 0,
  kRefused = 1,     // the service or a decoder refused: a Result error
  kFailed = 2,      // the request failed below HTTP, or its answer was no envelope
  kUsage = 64,      // the command line is wrong
  kBadConfig = 78,  // the bundle or the saved session is missing or unusable
};

// What a subcommand gets: its arguments (without the program and command
// names) and the three standard streams, so tests can run it in memory.
struct Io {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
};

using CommandFn = int (*)(std::span<const std::string> args, Io io);

struct Command {
  std::string_view name;     // first word on the command line
  std::string_view summary;  // one line for `tavrel --help`
  CommandFn run;             // returns the exit status
};

// The whole of a stream, for commands that read standard input.
std::string readAll(std::istream& in);

// All registered commands, sorted by name.
std::vector<Command> commands();

// Runs a whole command line (argv without the program name).
int runCommandLine(std::span<const std::string> args, Io io);

// A usage mistake of `command` ("tavrel reply"): one line naming what is
// wrong and where the help is, on standard error; returns kUsage.
int usageError(std::ostream& err, std::string_view command, std::string_view message);

// Makes the bundle installed with the executable the main bundle, unless
// TAVREL_MAIN_BUNDLE names one: beside it in "bundle", or in
// "../share/tavrel/bundle". Nothing when neither exists.
void useInstalledBundle();

struct Registrar {
  explicit Registrar(Command command);
};

}  // namespace tavrel::cli

#define TAVREL_CLI_CONCAT2(a, b) a##b
#define TAVREL_CLI_CONCAT(a, b) TAVREL_CLI_CONCAT2(a, b)
#define TAVREL_COMMAND(name, summary, fn)                                             \
  static const ::tavrel::cli::Registrar TAVREL_CLI_CONCAT(tavrelCommand_, __LINE__) { \
    ::tavrel::cli::Command { name, summary, fn }                                      \
  }
