// `tavrel emoji escape|unescape`: converts standard input between emoji and
// colon-delimited shortnames and writes the result on standard output.
#include <istream>
#include <ostream>
#include <string>

#include "command.h"
#include "tavrel/emoji/conversion.h"

namespace tavrel::cli {
namespace {

constexpr const char* kUsage =
    "usage: tavrel emoji escape|unescape\n"
    "\n"
    "Reads UTF-8 text on standard input and writes it on standard output:\n"
    "  escape    each emoji becomes its shortname between colons, as :smile:\n"
    "            (the bare \"#\" and the digits are emoji too)\n"
    "  unescape  each known :shortname: becomes its emoji\n"
    "Every other byte, valid UTF-8 or not, is written unchanged.\n";

int runEmoji(std::span<const std::string> args, Io io) {
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
    io.out << kUsage;
    return 0;
  }
  if (args.size() != 1 || (args[0] != "escape" && args[0] != "unescape")) {
    return usageError(io.err, "tavrel emoji",
                      args.empty() ? std::string("missing direction: escape or unescape")
                                   : "unexpected argument '" + args.back() + "'");
  }
  const std::string input = readAll(io.in);
  if (io.in.bad()) {
    io.err << "tavrel emoji: cannot read standard input\n";
    return 1;
  }
  const std::string output =
      args[0] == "escape" ? emojiEscapedString(input) : emojiUnescapedString(input);
  io.out.write(output.data(), static_cast<std::streamsize>(output.size()));
  io.out.flush();
  if (!io.out) {
    io.err << "tavrel emoji: cannot write standard output\n";
    return 1;
  }
  return 0;
}

}  // namespace

TAVREL_COMMAND("emoji", "converts emoji to :shortnames: and back (stdin to stdout)", runEmoji);

}  // namespace tavrel::cli
