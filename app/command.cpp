#include "command.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <istream>
#include <ostream>

#include "tavrel/core/info_plist.h"
#include "version.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

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
  out << "\nRun `tavrel <command> --help` for a command's own options.\n"
         "\n"
         "The server is the \"apiUrl\" in the Info.plist of the main bundle: the\n"
         "directory that TAVREL_MAIN_BUNDLE names, else the bundle installed with\n"
         "tavrel. Texts of the library are translated for LANG (English with en_*).\n"
         "The visitor's token comes from --token-file FILE or TAVREL_TOKEN (--token\n"
         "works too, but every user of the machine sees it in the process list).\n"
         "\n"
         "exit status:\n"
         "   0  success\n"
         "   1  the service or a decoder refused (a Result error)\n"
         "   2  the request failed below HTTP, or the answer was no envelope\n"
         "  64  usage error: the command line is wrong\n"
         "  78  configuration error: no bundle, no apiUrl, or an unusable session\n";
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

int usageError(std::ostream& err, std::string_view command, std::string_view message) {
  err << command << ": " << message << "; see `" << command << " --help`\n";
  return kUsage;
}

void useInstalledBundle() {
  const char* named = std::getenv("TAVREL_MAIN_BUNDLE");
  if (named && *named) return;
  std::error_code ec;
  const fs::path executable = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return;
  for (const fs::path& candidate :
       {executable.parent_path() / "bundle",
        executable.parent_path() / ".." / "share" / "tavrel" / "bundle"}) {
    if (fs::is_directory(candidate, ec)) {
      Bundle::registerMain(candidate.lexically_normal());
      return;
    }
  }
}

int runCommandLine(std::span<const std::string> args, Io io) {
  if (args.empty()) return usageError(io.err, "tavrel", "missing command");
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    printHelp(io.out);
    return kSuccess;
  }
  if (args[0] == "--version") {
    io.out << "tavrel " << kVersion << '\n';
    return kSuccess;
  }
  for (const auto& c : registry()) {
    if (c.name == args[0]) {
      try {
        return c.run(args.subspan(1), io);
      } catch (const std::exception& e) {
        io.err << "tavrel " << c.name << ": " << e.what() << '\n';
        return kFailed;
      }
    }
  }
  return usageError(io.err, "tavrel", "unknown command '" + args[0] + "'");
}

}  // namespace tavrel::cli
