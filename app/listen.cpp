// `tavrel listen`: keeps the real-time connection of the session open and
// prints every frame, while a script drives it through lines on standard
// input and the shell through signals. The CLI is the host here: it drains
// the main queue on its own thread and posts the application notifications
// and network statuses that a phone's system would.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "api_common.h"
#include "listen_control.h"
#include "listen_host.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/url.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/notification_center.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/rts/rts_manager.h"
#include "tavrel/rts/tavrel_socket.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

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

// The library bundle installed with the executable, unless TAVREL_LIB_BUNDLE
// names one: "lib_bundle" beside it, or "../share/tavrel/lib_bundle".
void useInstalledLibBundle() {
  const char* named = std::getenv("TAVREL_LIB_BUNDLE");
  if ((named && *named) || Bundle::directory(AppType::lib)) return;
  std::error_code ec;
  const fs::path executable = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return;
  for (const fs::path& candidate :
       {executable.parent_path() / "lib_bundle",
        executable.parent_path() / ".." / "share" / "tavrel" / "lib_bundle"}) {
    if (fs::is_directory(candidate, ec)) {
      Bundle::registerBundle(Bundle::libIdentifier, candidate.lexically_normal());
      return;
    }
  }
}

// The reason the library bundle gives no ws or wss base, or "".
std::string wssUrlProblem() {
  const auto directory = Bundle::directory(AppType::lib);
  if (!directory) {
    const char* named = std::getenv("TAVREL_LIB_BUNDLE");
    if (named && *named) {
      return "TAVREL_LIB_BUNDLE names " + std::string(named) + ", which is no directory";
    }
    return "no library bundle: set TAVREL_LIB_BUNDLE to a directory whose Info.plist has "
           "wssUrl";
  }
  const auto value = InfoPlist::shared().getValue(InfoPlist::Keys::wssUrl, AppType::lib);
  const fs::path plist = *directory / "Info.plist";
  if (!value || value->empty()) return plist.string() + " has no wssUrl text";
  const auto url = Url::parse(*value);
  if (!url || !url->host() || url->host()->empty() ||
      (url->scheme() != "ws" && url->scheme() != "wss")) {
    return "the wssUrl '" + *value + "' in " + plist.string() + " is no ws or wss address";
  }
  return "";
}

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
        settings_(std::move(settings)),
        channels_(std::move(channels)),
        network_(std::move(network)),
        printer_(std::make_shared<FramePrinter>(io.out)) {}

  int run() {
    auto& queue = rx::MainQueue::shared();
    queue.makeCurrentThread();
    {
      // Signals from now on wait in the pipe until the watch reads them.
      SignalPipe signals({SIGINT, SIGTERM, SIGTSTP, SIGCONT});
      TavrelLib::shared();
      if (!start()) {
        return call_.fail("no real-time address can be formed from wssUrl and the session",
                          kBadConfig);
      }
      noteConnecting();
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
    manager_.stopRtsAll();
    waitClosed();
    return *status_;
  }

 private:
  // Starts (or connects again) the session's socket; false when none exists.
  bool start() {
    auto socket = manager_.startRts(settings_, channels_, printer_);
    if (!socket) return false;
    if (socket != socket_) {
      socket_ = socket;
      socket->response()
          .subscribe([this](const WebSocketEvent& event) { onEvent(event); })
          .disposed(bag_);
    }
    return true;
  }

  void onEvent(const WebSocketEvent& event) {
    const bool wasOpening = std::exchange(opening_, false);
    if (std::holds_alternative<WebSocketEvent::Connected>(event.payload)) {
      connected_ = everConnected_ = true;
    } else if (auto* error = std::get_if<WebSocketEvent::Error>(&event.payload)) {
      connected_ = false;
      if (!std::exchange(closing_, false)) call_.note(error->error.message);
      if (!everConnected_ && !status_) status_ = kFailed;
    } else if (auto* closed = std::get_if<WebSocketEvent::Disconnected>(&event.payload)) {
      connected_ = false;
      if (!closing_) {
        call_.note("the server closed the connection (" + std::to_string(closed->code) +
                   (closed->reason.empty() ? "" : " " + closed->reason) + ")");
      }
      closing_ = false;
    } else if (std::holds_alternative<WebSocketEvent::Cancelled>(event.payload)) {
      connected_ = false;
    } else {
      opening_ = wasOpening;  // a frame says nothing about the connection
    }
  }

  void onLine(const std::string& text) {
    if (status_) return;
    const auto parsed = parseControlLine(text);
    if (!parsed.mistake.empty()) return call_.note(parsed.mistake);
    if (!parsed.line) return;
    using Kind = ControlLine::Kind;
    auto& center = NotificationCenter::defaultCenter();
    switch (parsed.line->kind) {
      case Kind::background:
        closing_ = connected_;
        return center.post(UIApplicationWillResignActiveNotification);
      case Kind::foreground:
        center.post(UIApplicationDidBecomeActiveNotification);
        return noteConnecting();
      case Kind::offline:
      case Kind::online:
        if (!network_) return call_.note("the network status follows this machine; "
                                         "`offline` and `online` need --network manual");
        closing_ = connected_ && parsed.line->kind == Kind::offline;
        network_->setStatus(parsed.line->kind == Kind::online ? ConnectivityStatus::connected
                                                              : ConnectivityStatus::notConnected);
        return noteConnecting();
      case Kind::stop:
        closing_ = connected_ && parsed.line->appId == settings_->appId;
        return manager_.stopRts(parsed.line->appId);
      case Kind::start:
        start();
        return noteConnecting();
      case Kind::quit:
        status_ = kSuccess;
        return;
    }
  }

  void onSignal(int signal) {
    if (status_) return;
    if (signal == SIGTSTP) {
      // Leave the foreground first, so that the server sees the close, then
      // stop as the shell asked.
      closing_ = connected_;
      NotificationCenter::defaultCenter().post(UIApplicationWillResignActiveNotification);
      waitClosed();
      ::raise(SIGSTOP);
    } else if (signal == SIGCONT) {
      NotificationCenter::defaultCenter().post(UIApplicationDidBecomeActiveNotification);
      noteConnecting();
    } else {
      status_ = kSuccess;
    }
  }

  // After something that may have connected: whether a connection is opening.
  void noteConnecting() {
    if (socket_ && socket_->externalDisposeBag && !connected_) opening_ = true;
  }

  // After a disconnect: waits, a little, for a connection that was opening to
  // settle and for the far side to answer the close.
  void waitClosed() {
    closing_ = connected_ || opening_;
    rx::MainQueue::shared().runUntil([this] { return !connected_ && !opening_; },
                                     std::chrono::seconds(2));
  }

  Call& call_;
  Io io_;
  std::shared_ptr<NetworkSettings> settings_;
  std::vector<Channel> channels_;
  std::shared_ptr<ManualConnectivityBackend> network_;
  std::shared_ptr<FramePrinter> printer_;
  std::optional<int> status_;  // set when the command is to end
  bool connected_ = false;
  bool everConnected_ = false;
  bool opening_ = false;  // asked to connect, neither connected nor failed yet
  bool closing_ = false;  // a close of ours is under way: no note for it
  std::shared_ptr<TavrelSocket> socket_;
  RtsManager manager_;
  rx::DisposeBag bag_;  // declared last, so it ends first: no event after
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
