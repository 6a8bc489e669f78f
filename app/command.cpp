#include "command.h"

#include <algorithm>
#include <istream>
#include <ostream>

#include "version.h"

namespace tavrel::cli {
namespace {

std::vector<Command>& registry() {
  static std::vector<Command> all;
  return all;
}

void printHelp(std::ostream& out) {
  out << "usage: tavrel [--help] [--version] <command> [<args>]\n\n"
         "A command-line client of the TavrelLib live-chat library.\n\n"
         "commands:\n";
  for (const auto& c : commands()) {
    out << "  " << c.name;
    for (size_t i = c.name.size(); i < 16; ++i) out << ' ';
    out << c.summary << '\n';
  }
  out << "\nRun `tavrel <command> --help` for a command's own options.\n";
}

}  // namespace

std::string readAll(std::istream& in) {
  std::string all;
  char chunk[1 << 16];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    all.append(chunk, static_cast<std::size_t>(in.gcount()));
  }
  return all;
}

Registrar::Registrar(Command command) { registry().push_back(command); }

std::vector<Command> commands() {
  auto all = registry();
  std::sort(all.begin(), all.end(),
            [](const Command& a, const Command& b) { return a.name < b.name; });
  return all;
}

int runCommandLine(std::span<const std::string> args, Io io) {
  if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    printHelp(args.empty() ? io.err : io.out);
    return args.empty() ? 2 : 0;
  }
  if (args[0] == "--version") {
    io.out << "tavrel " << kVersion << '\n';
    return 0;
  }
  for (const auto& c : registry()) {
    if (c.name == args[0]) {
      try {
        return c.run(args.subspan(1), io);
      } catch (const std::exception& e) {
        io.err << "tavrel " << c.name << ": " << e.what() << '\n';
        return 2;
      }
    }
  }
  io.err << "tavrel: unknown command '" << args[0] << "'\n";
  printHelp(io.err);
  return 2;
}

}  // namespace tavrel::cli
