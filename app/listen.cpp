// `tavrel listen`: keeps the real-time connection of the session open and
// prints every frame, while a script drives it through lines on standard
// input and the shell through signals. The CLI is the host here: it drains
// the main queue on its own thread and posts the application notifications
// and network statuses that a phone's system would.
#include <unistd.h>

#include <csignal>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "api_common.h"
#include "listen_control.h"
#include "listen_host.h"
#include "live_socket.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::cli {
namespace {

const CommandSpec kListen{"listen --channels NAME[,NAME...] [--network linux|manual]",
                          "",
                          {"--channels", "--network"},
                          {"--channels"},
                          0,
                          0,
                          {},
                          /*needsApiUrl=*/false};

constexpr std::string_view kHelp =
    "usage: tavrel listen --channels NAME[,NAME...] [--network linux|manual] [options]\n"
    "\n"
    "Opens the real-time connection of the session for the channels named and\n"
    "prints the text of every frame on standard output, one frame per line, as\n"
    "it arrives (line breaks inside a frame are printed as spaces). Channels:\n"
    "conversation, conversation_reply, conversation_typing, conversation_assigned,\n"
    "conversation_read, run_script, users_removed, user_ban, ping.\n"
    "\n"
    "Control lines on standard input, one per line:\n"
    "  background     the application leaves the foreground: the connection closes\n"
    "  foreground     it comes back: the connection opens again, resuming\n"
    "  offline        the network status goes offline: the connection closes\n"
    "  online         it comes back online: the connection opens again, resuming\n"
    "  stop APPID     closes the connection of application APPID\n"
    "  start          opens the connection of the session again, resuming\n"
    "  quit           closes the connection and ends (status 0)\n"
    "The end of standard input does not end the command.\n"
    "\n"
    "Signals: Ctrl-Z (SIGTSTP) closes the connection as leaving the foreground\n"
    "does, then stops; `fg` (SIGCONT) opens it again. Ctrl-C (SIGINT) and SIGTERM\n"
    "close the connection with code 1000 and end with status 0.\n"
    "\n"
    "Options:\n"
    "  --channels NAMES    the channels, comma-separated, in the order sent\n"
    "  --network linux     the network status follows this machine's default route\n"
    "                      (default)\n"
    "  --network manual    only the `offline` and `online` lines change it, from\n"
    "                      online at the start\n"
    "  --mode app|sdk      the API mode (default sdk)\n"
    "  --token-file FILE   the token: the first line of FILE (else TAVREL_TOKEN, else\n"
    "                      the saved session); --token TOKEN works too, but shows\n"
    "  --app-id ID, --user-id ID   over the saved session's\n"
    "  --state DIR         where the session is kept (see `tavrel connect --help`)\n"
    "  --verbose           the library's debug lines on standard error\n"
    "\n"
    "The address is the \"wssUrl\" in the Info.plist of the library bundle: the\n"
    "directory TAVREL_LIB_BUNDLE names, else the one installed with tavrel.\n"
    "\n"
    "Exit statuses:\n"
    "   0  quit, end of the command by SIGINT or SIGTERM\n"
    "   2  the first connection failed (later failures are reported on standard\n"
    "      error, and the next foreground, online or start connects again)\n"
    "  64  usage error\n"
    "  78  no session, no library bundle, or no usable wssUrl in it\n";

// The host's receiver of frames: each one a line on standard output.
class FramePrinter final : public RtsServiceProtocol {
 public:
  explicit FramePrinter(std::ostream& out) : out_(out) {}
  void onRtsMessage(const std::string& text) override {
    std::string line = text;
    for (char& c : line) {
      if (c == '\n' || c == '\r') c = ' ';
    }
    out_ << line << '\n';
    out_.flush();
  }

 private:
  std::ostream& out_;
};

// One run of the command, on the main thread.
class Listener {
 public:
  Listener(Call& call, Io io, std::shared_ptr<NetworkSettings> settings,
           std::vector<Channel> channels, std::shared_ptr<ManualConnectivityBackend> network)
      : call_(call),
        io_(io),
        live_(std::move(settings), std::move(channels), std::make_shared<FramePrinter>(io.out),
              std::move(network), [this](std::string_view line) { call_.note(line); }) {
    live_.onLost = [this](bool beforeFirst) {
      if (beforeFirst && !status_) status_ = kFailed;
    };
  }

  int run() {
    auto& queue = rx::MainQueue::shared();
    queue.makeCurrentThread();
    {
      // Signals from now on wait in the pipe until the watch reads them.
      SignalPipe signals({SIGINT, SIGTERM, SIGTSTP, SIGCONT});
      TavrelLib::shared();
      if (!live_.start()) {
        return call_.fail("no real-time address can be formed from wssUrl and the session",
                          kBadConfig);
      }
      InputWatch input(
          io_.in, signals.fd(),
          [&queue, this](std::string line) { queue.post([this, line] { onLine(line); }); },
          [&queue, this](int signal) { queue.post([this, signal] { onSignal(signal); }); });
      while (!status_) {
        queue.runUntil([this] { return status_.has_value(); }, std::chrono::hours(1));
      }
    }
    // Posted before the watch ended: run them with the command finished.
    queue.drainPending();
    live_.stopAll();
    return *status_;
  }

 private:
  void onLine(const std::string& text) {
    if (status_) return;
    const auto parsed = parseControlLine(text);
    if (!parsed.mistake.empty()) return call_.note(parsed.mistake);
    if (!parsed.line) return;
    using Kind = ControlLine::Kind;
    switch (parsed.line->kind) {
      case Kind::background:
        return live_.background();
      case Kind::foreground:
        return live_.foreground();
      case Kind::offline:
      case Kind::online:
        if (!live_.hasManualNetwork()) {
          return call_.note("the network status follows this machine; "
                            "`offline` and `online` need --network manual");
        }
        return live_.setOnline(parsed.line->kind == Kind::online);
      case Kind::stop:
        return live_.stop(parsed.line->appId);
      case Kind::start:
        live_.start();
        return;
      case Kind::quit:
        status_ = kSuccess;
        return;
    }
  }

  void onSignal(int signal) {
    if (status_) return;
    if (signal == SIGTSTP) {
      // Close as leaving the foreground does, then stop as the shell asked.
      live_.suspend();
      ::raise(SIGSTOP);
    } else if (signal == SIGCONT) {
      live_.foreground();
    } else {
      status_ = kSuccess;
    }
  }

  Call& call_;
  Io io_;
  std::optional<int> status_;  // set when the command is to end
  LiveSocket live_;
};

int runListen(std::span<const std::string> args, Io io) {
  for (const auto& arg : args) {
    if (arg == "--") break;
    if (arg == "--help" || arg == "-h") {
      io.out << kHelp;
      return kSuccess;
    }
  }
  return runCall("listen", kListen, args, io, [io](Call& call) {
    const auto channels = parseChannels(call.option("--channels").value_or(""));
    if (!channels.mistake.empty()) return call.usage(channels.mistake);
    const auto network = call.option("--network").value_or("linux");
    if (network != "linux" && network != "manual") {
      return call.usage("--network is linux or manual, not '" + network + "'");
    }
    auto settings = call.settings();
    if (!settings) {
      return call.fail(
          "no session: run `tavrel connect --key KEY` first, or give --app-id and --user-id",
          kBadConfig);
    }
    useInstalledLibBundle();
    if (auto problem = wssUrlProblem(); !problem.empty()) return call.fail(problem, kBadConfig);
    // The backend is chosen before the library first looks at the network.
    std::shared_ptr<ManualConnectivityBackend> manual;
    if (network == "manual") {
      // Online until a line says otherwise, so that `offline` takes effect.
      manual = ManualConnectivityBackend::installAsDefault();
      manual->setStatus(ConnectivityStatus::connected);
    }
    Listener listener(call, io, std::move(settings), channels.channels, std::move(manual));
    return listener.run();
  });
}

}  // namespace

TAVREL_COMMAND("listen", "prints the live events of the session, driven by control lines",
               runListen);

}  // namespace tavrel::cli
