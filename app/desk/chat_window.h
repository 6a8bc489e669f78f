#pragma once
// `tavrel-desk` without --render: the chat window. Its command line is the
// chat's (see kDeskHelp); the exit status is the CLI's.

#include <iosfwd>

namespace tavrel::desk {

// Runs the window until it closes; messages go to `err` (help included).
int runChatWindow(int argc, char** argv, std::ostream& err);

}  // namespace tavrel::desk
