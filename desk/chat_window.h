#pragma once
// `tavrel-desk` without --render: the chat window. Its command line is the
// chat's (see kDeskHelp); the exit status is the CLI's.

namespace tavrel::desk {

int runChatWindow(int argc, char** argv);

}  // namespace tavrel::desk
