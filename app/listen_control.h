#pragma once
// The words of `tavrel listen`: its channel list and the control lines that
// a script writes on its standard input. Pure functions, so that every
// mistake has its own clear message.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavrel/model/rts.h"

namespace tavrel::cli {

// One control line.
struct ControlLine {
  enum class Kind {
    background,  // the application resigned active
    foreground,  // the application became active
    offline,     // the network status is offline (with --network manual)
    online,      // the network status is online (with --network manual)
    stop,        // stop the socket of `appId`
    start,       // start (or connect again) the socket of the session
    quit,        // disconnect and end
  };
  Kind kind;
  std::string appId;  // for stop
};

// What a line says: a command, nothing (a blank line), or the mistake.
struct ControlParse {
  std::optional<ControlLine> line;
  std::string mistake;  // empty unless the line is wrong
};

// Reads one line of standard input, without its line end. Spaces and tabs
// around words are ignored.
ControlParse parseControlLine(std::string_view text);

// The channels of a comma-separated list of wire names, in the order given,
// or the mistake: an unknown or empty name, a name given twice, no name.
struct ChannelsParse {
  std::vector<Channel> channels;
  std::string mistake;
};
ChannelsParse parseChannels(std::string_view list);

// "background, foreground, offline, online, stop APPID, start, quit".
std::string_view controlLineNames();

}  // namespace tavrel::cli
