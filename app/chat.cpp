// `tavrel chat`: a conversation with support in the terminal. It opens the
// visitor's session (the saved one, an API key, or the reference service
// started in this process), shows the conversation, sends what the visitor
// types and shows the answers live.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api_common.h"
#include "chat_session.h"
#include "chat_setup.h"
#include "chat_terminal.h"
#include "listen_host.h"
#include "live_socket.h"
#include "tavrel/api/user_service.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/service/server.h"
#include "version.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

const CommandSpec kChat{
    "chat [--embedded] [--key KEY] [--conversation ID | --new]",
    "",
    {"--key", "--user-auth-key", "--user-auth-key-file", "--conversation", "--network", "--db"},
    {},
    0,
    0};

constexpr std::string_view kHelp =
    "usage: tavrel chat [--embedded] [--key KEY] [--conversation ID | --new] [options]\n"
    "\n"
    "A conversation with support. Shows the newest conversation (or starts one\n"
    "with your first message), sends each line you type, and shows the answers and\n"
    "typing of support as they come. :shortname: in what you type becomes its\n"
    "emoji (:smile:). In a terminal, lines are edited with history; /help lists the\n"
    "commands (/more for earlier messages, /list, /open ID, /new, /quit).\n"
    "\n"
    "Without a terminal on standard input, each line is a message (or a command)\n"
    "and each event is a line on standard output. The end of input ends the chat\n"
    "once every message sent has an answer, or after 10 s.\n"
    "\n"
    "The service:\n"
    "  --embedded          starts the reference service in this process, on a free\n"
    "                      port of 127.0.0.1 with its bot, and talks to its demo\n"
    "                      app. The default when none of --key, --token,\n"
    "                      --token-file, TAVREL_TOKEN, TAVREL_MAIN_BUNDLE or a saved\n"
    "                      session is given. Nothing of it is saved.\n"
    "  --db FILE           the embedded service's database (default: memory only)\n"
    "  --key KEY           opens a new visitor session with the application's API\n"
    "                      key, and saves it as `tavrel connect` does\n"
    "  otherwise           the saved session (see `tavrel connect --help`)\n"
    "  --user-id ID        a known user: proves ID with the HMAC-SHA-256 of it under\n"
    "                      the application's identity secret, from\n"
    "  --user-auth-key-file FILE  (its first line), or --user-auth-key KEY (seen in\n"
    "                      the process list); the embedded service's own otherwise\n"
    "\n"
    "The conversation:\n"
    "  --conversation ID   opens conversation ID\n"
    "  --new               the first message starts a new conversation\n"
    "\n"
    "  --network linux     the network status follows this machine (default)\n"
    "  --network manual    only /offline and /online change it\n"
    "  --state DIR, --token-file FILE, --timeout SECONDS, --verbose: as for\n"
    "                      every call (see `tavrel connect --help`)\n"
    "\n"
    "Ctrl-Z closes the live connection and stops; `fg` connects again and shows\n"
    "what came meanwhile. Ctrl-C, SIGTERM, Ctrl-D and /quit end the chat.\n"
    "\n"
    "Exit statuses: 0 done; 1 the service refused (at the start, or a message);\n"
    "2 a request failed below HTTP, or the embedded service did not start;\n"
    "64 usage error; 78 no apiUrl or wssUrl, or an unusable session.\n";

// Runs the chat until it ends; the exit status.
int runSession(ChatSession& chat, Io io, bool terminal) {
  auto& queue = rx::MainQueue::shared();
  std::optional<int> early;
  {
    SignalPipe signals({SIGINT, SIGTERM, SIGTSTP, SIGCONT});
    std::unique_ptr<EditScreen> edit;
    PlainScreen plain(io.out, io.err);
    if (terminal) {
      edit = std::make_unique<EditScreen>([&chat](std::optional<std::string> line) {
        line ? chat.onLine(*line) : chat.onEnd();
      });
      chat.setScreen(edit.get());
    } else {
      chat.setScreen(&plain);
    }
    if (auto status = chat.open()) return *status;
    if (!chat.connect()) {
      plain.note("no real-time address can be formed from wssUrl and the session");
      return kBadConfig;
    }
    auto onSignal = [&queue, &chat, &edit](int signal) {
      queue.post([&chat, &edit, signal] {
        chat.onSignal(signal, [&edit] {
          if (edit) edit->suspend();
          ::raise(SIGSTOP);
          if (edit) edit->resume();
        });
      });
    };
    // A terminal: the editor reads descriptor 0 on the main thread, one
    // readiness at a time, while the watch waits.
    auto closing = std::make_shared<std::atomic<bool>>(false);
    std::unique_ptr<InputWatch> input;
    if (terminal) {
      input = std::make_unique<InputWatch>(
          InputWatch::Readable{[&queue, &edit, closing] {
            auto done = std::make_shared<std::promise<void>>();
            auto handled = done->get_future();
            queue.post([&edit, done] {
              edit->readable();
              done->set_value();
            });
            while (!closing->load() &&
                   handled.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready) {
            }
          }},
          signals.fd(), onSignal);
    } else {
      input = std::make_unique<InputWatch>(
          io.in, signals.fd(),
          [&queue, &chat](std::string line) { queue.post([&chat, line] { chat.onLine(line); }); },
          onSignal, [&queue, &chat] { queue.post([&chat] { chat.onEnd(); }); });
    }
    while (!chat.finished()) {
      queue.runUntil([&chat] { return chat.finished(); }, std::chrono::milliseconds(200));
    }
    closing->store(true);
    input.reset();
    queue.drainPending();
    chat.close();
  }
  return chat.status().value_or(kSuccess);
}

int runChat(std::span<const std::string> args, Io io) {
  std::vector<std::string> rest;
  bool embeddedFlag = false, startNew = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--") {
      rest.insert(rest.end(), args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
      break;
    }
    if (args[i] == "--help" || args[i] == "-h") {
      io.out << kHelp;
      return kSuccess;
    }
    if (args[i] == "--embedded") {
      embeddedFlag = true;
    } else if (args[i] == "--new") {
      startNew = true;
    } else {
      rest.push_back(args[i]);
    }
  }
  if (startNew && given(rest, "--conversation")) {
    return usageError(io.err, "tavrel chat", "--new and --conversation exclude each other");
  }
  if (embeddedFlag && given(rest, "--key")) {
    return usageError(io.err, "tavrel chat", "--embedded talks to its own service: no --key");
  }
  std::unique_ptr<Embedded> embedded;
  if (embeddedFlag || !serviceConfigured(rest)) {
    auto started = Embedded::start(valueOf(rest, "--db").value_or(":memory:"));
    if (auto* problem = std::get_if<std::string>(&started)) {
      io.err << "tavrel chat: the embedded service did not start: " << *problem << '\n';
      return kFailed;
    }
    embedded = std::move(std::get<0>(started));
  }
  return runCall("chat", kChat, rest, io, [&](Call& call) {
    ChatOptions options;
    options.conversation = call.option("--conversation");
    options.startNew = startNew;
    options.interactive = &io.in == &std::cin && ::isatty(0) && ::isatty(1);
    if (options.conversation && !ConversationService::isValidDialogId(*options.conversation)) {
      return call.usage("--conversation takes the id of a conversation, not '" +
                        *options.conversation + "'");
    }
    const auto network = call.option("--network").value_or("linux");
    if (network != "linux" && network != "manual") {
      return call.usage("--network is linux or manual, not '" + network + "'");
    }
    if (call.option("--db") && !embedded) return call.usage("--db is for --embedded only");
    auto session = openSession(call, embedded.get());
    if (auto* status = std::get_if<int>(&session)) return *status;
    useInstalledLibBundle();
    if (auto problem = wssUrlProblem(); !problem.empty()) return call.fail(problem, kBadConfig);
    std::shared_ptr<ManualConnectivityBackend> manual;
    if (network == "manual") {
      manual = ManualConnectivityBackend::installAsDefault();
      manual->setStatus(ConnectivityStatus::connected);
    }
    rx::MainQueue::shared().makeCurrentThread();
    TavrelLib::shared();
    ChatSession chat(call, std::get<0>(std::move(session)), manual, options);
    if (embedded && options.interactive) {
      io.out << "You are talking to the support bot of a service started here. To answer\n"
                "as a person, in another terminal:\n  tavrel operator --server "
             << embedded->origin() << " --secret-file " << embedded->secretFile().string()
             << " reply CONVERSATION TEXT\n";
      io.out.flush();
    }
    return runSession(chat, io, options.interactive);
  });
}

}  // namespace

TAVREL_COMMAND("chat", "a conversation with support, live, in the terminal", runChat);

}  // namespace tavrel::cli
