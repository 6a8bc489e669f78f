// `tavrel demo`: a short tour of what the library can do so far.
#include <ostream>

#include "command.h"

namespace tavrel::cli {
namespace {

int runDemo(std::span<const std::string> args, Io io) {
  if (!args.empty() && args[0] == "--help") {
    io.out << "usage: tavrel demo\n\nShows, step by step, what the library does.\n";
    return 0;
  }
  io.out << "TavrelLib demonstration\n";
  return 0;
}

}  // namespace

TAVREL_COMMAND("demo", "a short tour of what the library does", runDemo);

}  // namespace tavrel::cli
