#include "api_common.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "tavrel/api/network_errors_builder.h"
#include "tavrel/core/log.h"

namespace tavrel::cli {
namespace fs = std::filesystem;

namespace {

// The options every call takes that have a value.
constexpr std::string_view kCommonOptions[] = {"--mode",    "--token", "--app-id",
                                               "--user-id", "--state", "--timeout"};

constexpr std::string_view kCommonHelp =
    "Every call also takes:\n"
    "  --mode app|sdk      the API mode: the whole application, or one visitor (default sdk)\n"
    "  --token TOKEN       the visitor's token      \\\n"
    "  --app-id ID         the application's id      > over the saved session\n"
    "  --user-id ID        the visitor's id         /\n"
    "  --state DIR         where the session is kept (default $XDG_STATE_HOME/tavrel,\n"
    "                      else ~/.local/state/tavrel)\n"
    "  --timeout SECONDS   time allowed for the request (default 60)\n"
    "  --verbose           the request log on standard error, tokens masked\n"
    "Without a saved session and without --token, --app-id and --user-id, the\n"
    "request goes out without credentials. The server is the \"apiUrl\" of the main\n"
    "bundle, whose directory TAVREL_MAIN_BUNDLE names.\n"
    "\n"
    "Exit status: 0 and the answer as JSON {\"meta\": ..., \"data\": ...}; 1 and\n"
    "{\"error\": {\"kind\": ..., \"text\": ...}} when the service or the decoder\n"
    "refused; 2 and one line on standard error when the request failed or the\n"
    "command line is wrong.\n";

bool contains(const std::vector<std::string_view>& list, std::string_view item) {
  for (auto each : list) {
    if (each == item) return true;
  }
  return false;
}

bool isCommonOption(std::string_view name) {
  for (auto each : kCommonOptions) {
    if (each == name) return true;
  }
  return false;
}

// Seconds as a positive decimal number, at most a day.
std::optional<std::chrono::milliseconds> parseSeconds(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const double seconds = std::strtod(text.c_str(), &end);
  if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(seconds) || seconds <= 0 ||
      seconds > 86400) {
    return std::nullopt;
  }
  return std::chrono::milliseconds(std::max<long long>(1, std::llround(seconds * 1000)));
}

std::string_view kindName(UIRepresentableError::Kind kind) {
  switch (kind) {
    case UIRepresentableError::Kind::custom:
      return "custom";
    case UIRepresentableError::Kind::debug:
      return "debug";
    case UIRepresentableError::Kind::noInternet:
      return "noInternet";
    case UIRepresentableError::Kind::empty:
      break;
  }
  return "empty";
}

// Writes all of text to a new file readable by the owner only.
void writePrivateFile(const fs::path& path, const std::string& text) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0)
    throw std::runtime_error("cannot create " + path.string() + ": " + std::strerror(errno));
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = errno;
      ::close(fd);
      throw std::runtime_error("cannot write " + path.string() + ": " + std::strerror(error));
    }
    done += static_cast<std::size_t>(n);
  }
  if (::fsync(fd) != 0 || ::close(fd) != 0) {
    throw std::runtime_error("cannot write " + path.string() + ": " + std::strerror(errno));
  }
}

}  // namespace

// --- The saved session -------------------------------------------------------

SavedSession SavedSession::decode(const JsonNode& node) {
  auto keys = node.object();
  SavedSession session;
  session.token = keys.decodeIfPresent<std::string>("token");
  session.appId = keys.decode<std::string>("app_id");
  session.userId = keys.decode<std::string>("user_id");
  session.messenger = keys.decodeIfPresent<Messenger>("messenger");
  return session;
}

void SavedSession::encode(JsonWriter& writer) const {
  writer.beginObject();
  writer.field("token", token);
  writer.field("app_id", appId);
  writer.field("user_id", userId);
  writer.key("messenger");
  writeAny(writer, messenger);
  writer.endObject();
}

fs::path sessionFile(const fs::path& stateDirectory) { return stateDirectory / "session.json"; }

std::optional<fs::path> defaultStateDirectory() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state && *state) return fs::path(state) / "tavrel";
  const char* home = std::getenv("HOME");
  if (home && *home) return fs::path(home) / ".local" / "state" / "tavrel";
  return std::nullopt;
}

std::optional<SavedSession> loadSession(const fs::path& stateDirectory) {
  const fs::path file = sessionFile(stateDirectory);
  std::error_code ec;
  if (!fs::exists(file, ec)) return std::nullopt;
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in || !text) throw std::runtime_error("cannot read the session in " + file.string());
  auto session = decodeJson<SavedSession>(text.str());
  if (!session) {
    throw std::runtime_error("the session in " + file.string() +
                             " does not decode: " + session.error().what());
  }
  return std::move(session).value();
}

void saveSession(const fs::path& stateDirectory, const SavedSession& session) {
  auto text = encodeJson(session);
  if (!text)
    throw std::runtime_error(std::string("cannot write the session: ") + text.error().what());
  std::error_code ec;
  if (!fs::exists(stateDirectory, ec)) {
    fs::create_directories(stateDirectory, ec);
    if (ec) {
      throw std::runtime_error("cannot create " + stateDirectory.string() + ": " + ec.message());
    }
    fs::permissions(stateDirectory, fs::perms::owner_all, ec);
  }
  const fs::path file = sessionFile(stateDirectory);
  const fs::path fresh = file.string() + ".new";
  writePrivateFile(fresh, text.value() + "\n");
  fs::rename(fresh, file, ec);
  if (ec) {
    fs::remove(fresh, ec);
    throw std::runtime_error("cannot replace " + file.string() + ": " + ec.message());
  }
}

// --- One call -----------------------------------------------------------------

Call::Call(std::string name, Io io, std::vector<std::string> arguments,
           std::map<std::string, std::string, std::less<>> options)
    : name_(std::move(name)),
      io_(io),
      arguments_(std::move(arguments)),
      options_(std::move(options)),
      errLock_(std::make_shared<std::mutex>()) {
  // The library's debug lines (the request log among them) go to standard
  // error with --verbose, and nowhere without: standard output is the JSON.
  if (options_.count("--verbose")) {
    setDebugSink([lock = errLock_, &err = io_.err](std::string_view line) {
      std::lock_guard guard(*lock);
      err << line << '\n';
    });
  } else {
    setDebugSink([](std::string_view) {});
  }
}

Call::~Call() {
  // Joins the I/O thread: after this no debug line can arrive.
  transport_.reset();
  setDebugSink({});
}

std::optional<std::string> Call::option(std::string_view name) const {
  auto it = options_.find(name);
  if (it == options_.end()) return std::nullopt;
  return it->second;
}

bool Call::save(const SavedSession& session) {
  if (!stateDirectory_) {
    fail("cannot save the session: no --state, XDG_STATE_HOME or HOME");
    return false;
  }
  try {
    saveSession(*stateDirectory_, session);
  } catch (const std::exception& e) {
    fail(std::string("cannot save the session: ") + e.what());
    return false;
  }
  session_ = session;
  return true;
}

std::shared_ptr<NetworkSettings> Call::settings() const {
  auto token = option("--token");
  auto appId = option("--app-id");
  auto userId = option("--user-id");
  if (!session_ && !token && !appId && !userId) return nullptr;
  SavedSession base = session_.value_or(SavedSession{});
  return std::make_shared<NetworkSettings>(mode_, token.value_or(base.token.value_or("")),
                                           appId.value_or(base.appId),
                                           userId.value_or(base.userId));
}

HttpTransport& Call::transport() {
  if (!transport_) {
    TransportOptions options;
    options.requestTimeout = timeout_;
    options.connectTimeout = std::min<std::chrono::milliseconds>(options.connectTimeout, timeout_);
    transport_ = std::make_unique<HttpTransport>(options);
  }
  return *transport_;
}

std::chrono::milliseconds Call::waitLimit() const { return timeout_ + std::chrono::seconds(10); }

int Call::fail(std::string_view message) {
  note(message);
  return 2;
}

void Call::note(std::string_view message) {
  std::lock_guard guard(*errLock_);
  io_.err << name_ << ": " << message << '\n';
}

int Call::printJson(const JsonWriter& writer) {
  if (writer.error()) return printError(UIRepresentableError::debug(writer.error()->what()));
  io_.out << writer.text() << '\n';
  io_.out.flush();
  return 0;
}

int Call::printError(const UIRepresentableError& error) {
  JsonWriter writer;
  writer.beginObject();
  writer.key("error");
  writer.beginObject();
  writer.field("kind", kindName(error.kind()));
  writer.field("text", error.localizedDescription());
  writer.endObject();
  writer.endObject();
  io_.out << writer.text() << '\n';
  io_.out.flush();
  return 1;
}

std::string Call::describeFailure(std::exception_ptr error) {
  if (auto shown = NetworkErrorsBuilder().uiError(error)) {
    if (!shown->localizedDescription().empty()) return shown->localizedDescription();
  }
  try {
    std::rethrow_exception(error);
  } catch (const DecodingError& e) {
    return std::string("the error answer is no JSON envelope: ") + e.what();
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown failure";
  }
}

// --- Parsing ------------------------------------------------------------------

std::string usageText(const CommandSpec& spec) {
  std::string text = "usage: tavrel ";
  text += spec.synopsis;
  text += " [options]\n\n";
  text += spec.description;
  if (!text.ends_with('\n')) text += '\n';
  text += '\n';
  text += kCommonHelp;
  return text;
}

int runCall(std::string_view name, const CommandSpec& spec, std::span<const std::string> args,
            Io io, const std::function<int(Call&)>& body) {
  const std::string prefix = "tavrel " + std::string(name);
  auto usageError = [&](const std::string& message) {
    io.err << prefix << ": " << message << "\n" << usageText(spec);
    return 2;
  };

  std::vector<std::string> arguments;
  std::map<std::string, std::string, std::less<>> options;
  bool onlyArguments = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (onlyArguments || !arg.starts_with("-") || arg == "-") {
      arguments.push_back(arg);
      continue;
    }
    if (arg == "--") {
      onlyArguments = true;
      continue;
    }
    if (arg == "--help" || arg == "-h") {
      io.out << usageText(spec);
      return 0;
    }
    if (arg == "--verbose") {
      options[arg] = "";
      continue;
    }
    const auto eq = arg.find('=');
    const std::string option = arg.substr(0, eq);
    if (!isCommonOption(option) && !contains(spec.options, option)) {
      return usageError("unknown option '" + option + "'");
    }
    if (eq != std::string::npos) {
      options[option] = arg.substr(eq + 1);
    } else if (i + 1 < args.size()) {
      options[option] = args[++i];
    } else {
      return usageError("option '" + option + "' needs a value");
    }
  }
  for (auto option : spec.required) {
    if (!options.count(option)) return usageError("missing " + std::string(option));
  }
  if (arguments.size() < spec.minArguments) return usageError("missing arguments");
  if (arguments.size() > spec.maxArguments) {
    return usageError("unexpected argument '" + arguments[spec.maxArguments] + "'");
  }

  auto mode = NetworkSettings::ConnectionType::sdk;
  if (auto it = options.find("--mode"); it != options.end()) {
    if (it->second == "app") {
      mode = NetworkSettings::ConnectionType::app;
    } else if (it->second != "sdk") {
      return usageError("--mode is app or sdk, not '" + it->second + "'");
    }
  }
  std::chrono::milliseconds timeout{60000};
  if (auto it = options.find("--timeout"); it != options.end()) {
    auto parsed = parseSeconds(it->second);
    if (!parsed) return usageError("--timeout takes a number of seconds, not '" + it->second + "'");
    timeout = *parsed;
  }
  std::optional<fs::path> stateDirectory;
  if (auto it = options.find("--state"); it != options.end()) {
    if (it->second.empty()) return usageError("--state needs a directory");
    stateDirectory = fs::path(it->second);
  } else {
    stateDirectory = defaultStateDirectory();
  }
  // From here on the debug lines go where the call sends them.
  Call call(prefix, io, std::move(arguments), std::move(options));
  call.mode_ = mode;
  call.timeout_ = timeout;
  call.stateDirectory_ = std::move(stateDirectory);
  if (call.stateDirectory_) {
    try {
      call.session_ = loadSession(*call.stateDirectory_);
    } catch (const std::exception& e) {
      return call.fail(e.what());
    }
  }
  return body(call);
}

}  // namespace tavrel::cli
