#pragma once
// The library's one debug output. Lines go to standard output unless the host
// installs a sink of its own; there are no levels and no log file.

#include <functional>
#include <string_view>

namespace tavrel {

// Receives one line, without its trailing newline. May be called from any
// thread the library runs code on; a sink must be safe for that.
using DebugSink = std::function<void(std::string_view line)>;

// Replaces the sink; an empty function restores standard output. Thread-safe.
void setDebugSink(DebugSink sink);

// Writes one line through the current sink. Thread-safe; a sink that throws
// loses its line, the exception does not reach the caller.
void debugPrint(std::string_view line);

}  // namespace tavrel
