// tavrel serve: the reference service on this machine, until Ctrl-C or SIGTERM.

#include <pthread.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <iostream>

#include "api_common.h"
#include "command.h"
#include "tavrel/service/apps.h"
#include "tavrel/service/server.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "usage: tavrel serve [--listen ADDRESS:PORT] [--db FILE] [--no-bot] [--bot-delay MS]\n"
    "       tavrel serve [--db FILE] --new-app NAME\n"
    "\n"
    "Runs the service the library talks to: the HTTP API under /api/v1/ and the\n"
    "real-time WebSocket under /rts, on one port, until Ctrl-C or SIGTERM. A\n"
    "client's apiUrl is then http://ADDRESS:PORT/api/v1/ and its wssUrl\n"
    "ws://ADDRESS:PORT/rts.\n"
    "\n"
    "  --listen ADDRESS:PORT  where to listen (default 127.0.0.1:8080; port 0 takes a free one)\n"
    "  --db FILE          the SQLite database (default $XDG_STATE_HOME/tavrel/service.db);\n"
    "                     :memory: keeps nothing after the end\n"
    "  --no-bot           no built-in operator: only `tavrel operator` answers\n"
    "  --bot-delay MS     how long the bot types before it answers (default 800)\n"
    "  --new-app NAME     adds an application to the database, prints its key and secret, exits\n"
    "\n"
    "A new database gets a demo application, whose two lines are printed:\n"
    "  api key: KEY            what `tavrel connect --key` and the library's connect take\n"
    "  identity secret: SECRET the key of a known user's hash, and of `tavrel operator`\n"
    "Exit status 78 when the database cannot be used, 2 when the address cannot be taken.\n";

void printApp(std::ostream& out, const service::AppCredentials& app) {
  out << "api key: " << app.apiKey << "\n"
      << "identity secret: " << app.identitySecret << "\n"
      << std::flush;
}

int serve(std::span<const std::string> args, Io io) {
  service::ServerOptions options;
  std::optional<std::string> db;
  std::optional<std::string> newApp;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    auto value = [&]() -> std::optional<std::string> {
      if (i + 1 >= args.size()) return std::nullopt;
      return args[++i];
    };
    std::optional<std::string> v;
    if (arg == "--help" || arg == "-h") {
      io.out << kHelp;
      return kSuccess;
    } else if (arg == "--no-bot") {
      options.bot = false;
    } else if (arg == "--listen" || arg == "--db" || arg == "--new-app" || arg == "--bot-delay") {
      if (!(v = value())) return usageError(io.err, "tavrel serve", arg + " needs a value");
      if (arg == "--listen") options.listen = *v;
      if (arg == "--db") db = *v;
      if (arg == "--new-app") newApp = *v;
      if (arg == "--bot-delay") {
        try {
          options.botTypingDelay = std::chrono::milliseconds(std::stoul(*v));
        } catch (const std::exception&) {
          return usageError(io.err, "tavrel serve", "--bot-delay takes milliseconds: " + *v);
        }
      }
    } else {
      return usageError(io.err, "tavrel serve", "unknown argument " + arg);
    }
  }
  if (!db) {
    auto dir = defaultStateDirectory();
    if (!dir) {
      io.err << "tavrel serve: no state directory ($XDG_STATE_HOME and $HOME are unset); give --db FILE\n";
      return kBadConfig;
    }
    std::error_code ec;
    fs::create_directories(*dir, ec);
    ::chmod(dir->c_str(), 0700);
    db = (*dir / "service.db").string();
  }
  options.db = *db;

  if (newApp) {
    auto added = service::addApp(*db, *newApp);
    if (auto* error = std::get_if<service::StartError>(&added)) {
      io.err << "tavrel serve: " << error->message << "\n";
      return kBadConfig;
    }
    printApp(io.out, std::get<service::AppCredentials>(added));
    return kSuccess;
  }

  // The signals are taken here, by sigwait, and by no other thread: the
  // server's thread starts with them blocked.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  sigset_t previous;
  pthread_sigmask(SIG_BLOCK, &stopSignals, &previous);

  service::AppCredentials created;
  auto started = service::Server::start(options, &created);
  if (auto* error = std::get_if<service::StartError>(&started)) {
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    io.err << "tavrel serve: " << error->message << "\n";
    return error->message.rfind("cannot open database", 0) == 0 ? kBadConfig : kFailed;
  }
  auto& server = std::get<std::unique_ptr<service::Server>>(started);
  if (!created.apiKey.empty()) printApp(io.out, created);
  io.out << "api: " << server->apiUrl() << "\nrts: " << server->wssUrl() << "\n" << std::flush;
  io.err << "tavrel serve: database " << *db << (options.bot ? ", bot on" : ", bot off")
         << "; Ctrl-C stops\n";
  int signal = 0;
  sigwait(&stopSignals, &signal);
  server->stop();
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  io.err << "tavrel serve: stopped\n";
  return kSuccess;
}

}  // namespace

TAVREL_COMMAND("serve", "runs the reference service (HTTP API and real time) on this machine", serve);

}  // namespace tavrel::cli
