#include "api_common.h"

#include <fcntl.h>
#include <sys/stat.h>
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
#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"
#include "tavrel/core/url.h"

namespace tavrel::cli {
namespace fs = std::filesystem;

namespace {

// The options every call takes that have a value.
constexpr std::string_view kCommonOptions[] = {"--mode",    "--token", "--token-file", "--app-id",
                                               "--user-id", "--state", "--timeout"};

constexpr std::string_view kCommonHelp =
    "Every call also takes:\n"
    "  --mode app|sdk      the API mode: the whole application, or one visitor (default sdk)\n"
    "  --token-file FILE   the visitor's token: the first line of FILE\n"
    "  --token TOKEN       the same on the command line, where every user of the\n"
    "                      machine sees it in the process list\n"
    "  --app-id ID         the application's id\n"
    "  --user-id ID        the visitor's id\n"
    "  --state DIR         where the session is kept, mode 0700 (default $XDG_STATE_HOME/tavrel,\n"
    "                      else ~/.local/state/tavrel)\n"
    "  --timeout SECONDS   time allowed for the request, above 0 and at most 86400 (default 60)\n"
    "  --verbose           the request log on standard error, tokens masked\n"
    "The token, --app-id and --user-id go over the saved session; without\n"
    "--token or --token-file the token is TAVREL_TOKEN, if set. Ids take ASCII\n"
    "letters, digits, \"-\" and \"_\" only. Without a saved session, a token,\n"
    "--app-id and --user-id, the request goes out without credentials. The server\n"
    "is the \"apiUrl\" of the main bundle (see `tavrel --help`).\n"
    "\n"
    "Prints the answer as JSON {\"meta\": ..., \"data\": ...}, or, when the service\n"
    "or the decoder refused, {\"error\": {\"kind\": ..., \"text\": ...}} and what\n"
    "happened on standard error. Exit statuses: see `tavrel --help`.\n";

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

// An id that the service gave: ASCII letters, digits, "-" and "_". Anything
// else could change the path of the request that carries it.
bool isServiceId(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!letter && !(c >= '0' && c <= '9') && c != '-' && c != '_') return false;
  }
  return true;
}

std::string idMistake(std::string_view name, std::string_view value) {
  return std::string(name) + " '" + std::string(value) +
         "' is no id of the service: ids take ASCII letters, digits, \"-\" and \"_\" only";
}

// The first line of a token file, without its line end.
std::string readTokenFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::string line;
  if (!in || !std::getline(in, line)) {
    throw std::runtime_error("cannot read --token-file " + path.string() + ": " +
                             (in ? "it is empty" : std::strerror(errno)));
  }
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty()) {
    throw std::runtime_error("--token-file " + path.string() + " has an empty first line");
  }
  return line;
}

// The token: --token, else the first line of --token-file, else TAVREL_TOKEN.
// Throws std::runtime_error for both options or a file that gives none.
std::optional<std::string> chosenToken(
    const std::map<std::string, std::string, std::less<>>& options) {
  const auto given = options.find("--token");
  const auto file = options.find("--token-file");
  if (given != options.end() && file != options.end()) {
    throw std::runtime_error("--token and --token-file both give the token: take one");
  }
  if (given != options.end()) return given->second;
  if (file != options.end()) return readTokenFile(file->second);
  const char* fromEnvironment = std::getenv("TAVREL_TOKEN");
  if (fromEnvironment && *fromEnvironment) return std::string(fromEnvironment);
  return std::nullopt;
}

// The server of the main bundle's apiUrl. Throws std::runtime_error with the
// reason when there is no bundle, no apiUrl, or one that is no http(s) URL.
Server configuredServer() {
  const auto directory = Bundle::directory(AppType::app);
  if (!directory) {
    const char* named = std::getenv("TAVREL_MAIN_BUNDLE");
    if (named && *named) {
      throw std::runtime_error("TAVREL_MAIN_BUNDLE names " + std::string(named) +
                               ", which is no directory");
    }
    throw std::runtime_error(
        "no main bundle: set TAVREL_MAIN_BUNDLE to a directory whose Info.plist has apiUrl");
  }
  const fs::path plist = *directory / "Info.plist";
  const auto value = InfoPlist::shared().getValue(InfoPlist::Keys::apiUrl);
  if (!value || value->empty()) {
    std::error_code ec;
    throw std::runtime_error(fs::exists(plist, ec)
                                 ? plist.string() + " has no apiUrl text"
                                 : "the main bundle " + directory->string() + " has no Info.plist");
  }
  const auto url = Url::parse(*value);
  if (!url || !url->host() || url->host()->empty() ||
      (url->scheme() != "http" && url->scheme() != "https")) {
    throw std::runtime_error("the apiUrl '" + *value + "' in " + plist.string() +
                             " is no http or https address");
  }
  return Server{*url->host(), url->port().value_or(url->scheme() == "https" ? 443 : 80)};
}

// Refuses a session that another user could have read or written.
void checkPrivate(const fs::path& path, bool directory) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return;  // reading it will say why
  const unsigned mode = info.st_mode & 07777;
  char octal[8];
  std::snprintf(octal, sizeof octal, "%04o", mode);
  std::string why;
  if (info.st_uid != ::geteuid()) {
    why = "it belongs to another user";
  } else if (directory && (mode & 022) != 0) {
    why = "its mode is " + std::string(octal) + ", so other users can replace the session in it";
  } else if (!directory && (mode & 066) != 0) {
    why = "its mode is " + std::string(octal) + ", so other users can read or change the token";
  }
  if (!why.empty()) {
    throw std::runtime_error("refusing the session: " + path.string() + ": " + why +
                             (directory ? "; chmod 700 it" : "; chmod 600 it"));
  }
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
  checkPrivate(stateDirectory, true);
  checkPrivate(file, false);
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
    // The parents as usual, the directory itself for the owner alone.
    if (stateDirectory.has_parent_path()) fs::create_directories(stateDirectory.parent_path(), ec);
    if (::mkdir(stateDirectory.c_str(), 0700) != 0 && errno != EEXIST) {
      throw std::runtime_error("cannot create " + stateDirectory.string() + ": " +
                               std::strerror(errno));
    }
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
      watch_(std::make_shared<AnswerWatch>()),
      errLock_(std::make_shared<std::mutex>()) {
  // The library's debug lines (the request log among them) go to standard
  // error with --verbose, and nowhere without: standard output is the JSON.
  // The answer they tell of is kept to explain a refusal.
  const bool verbose = options_.count("--verbose") > 0;
  setDebugSink([verbose, watch = watch_, lock = errLock_, &err = io_.err](std::string_view line) {
    watch->onLogLine(line);
    if (!verbose) return;
    std::lock_guard guard(*lock);
    err << line << '\n';
  });
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
    fail("cannot save the session: no --state, XDG_STATE_HOME or HOME", kBadConfig);
    return false;
  }
  try {
    saveSession(*stateDirectory_, session);
  } catch (const std::exception& e) {
    fail(std::string("cannot save the session: ") + e.what(), kBadConfig);
    return false;
  }
  session_ = session;
  return true;
}

std::shared_ptr<NetworkSettings> Call::settings() const {
  const auto& token = token_;
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
    // One limit for connecting and for the whole: what "timed out after" says.
    options.connectTimeout = timeout_;
    transport_ = std::make_unique<HttpTransport>(options);
  }
  return *transport_;
}

std::chrono::milliseconds Call::waitLimit() const { return timeout_ + std::chrono::seconds(10); }

int Call::fail(std::string_view message, int status) {
  note(message);
  return status;
}

int Call::usage(std::string_view message) {
  std::lock_guard guard(*errLock_);
  return usageError(io_.err, name_, message);
}

int Call::failure(std::exception_ptr error) {
  return fail(explainFailure(error, watch_->last(), server_, timeout_) + " [" +
              describeFailure(error) + "]");
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
  // A subcommand's messages begin "tavrel NAME"; another executable's
  // ("tavrel-desk") with its own name.
  const std::string prefix =
      name.starts_with("tavrel-") ? std::string(name) : "tavrel " + std::string(name);
  auto mistake = [&](const std::string& message) { return usageError(io.err, prefix, message); };

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
      return kSuccess;
    }
    if (arg == "--verbose") {
      options[arg] = "";
      continue;
    }
    const auto eq = arg.find('=');
    const std::string option = arg.substr(0, eq);
    if (!isCommonOption(option) && !contains(spec.options, option)) {
      return mistake("unknown option '" + option + "'");
    }
    if (eq != std::string::npos) {
      options[option] = arg.substr(eq + 1);
    } else if (i + 1 < args.size()) {
      options[option] = args[++i];
    } else {
      return mistake("option '" + option + "' needs a value");
    }
  }
  for (auto option : spec.required) {
    if (!options.count(option)) return mistake("missing " + std::string(option));
  }
  if (arguments.size() < spec.minArguments) {
    std::string names(spec.synopsis.substr(0, spec.synopsis.find(" [")));
    return mistake("missing arguments: tavrel " + names);
  }
  if (arguments.size() > spec.maxArguments) {
    return mistake("unexpected argument '" + arguments[spec.maxArguments] + "'");
  }
  for (std::size_t i = 0; i < spec.ids.size() && i < arguments.size(); ++i) {
    if (!isServiceId(arguments[i])) return mistake(idMistake(spec.ids[i], arguments[i]));
  }
  for (std::string_view option : {"--app-id", "--user-id"}) {
    auto it = options.find(option);
    if (it != options.end() && !isServiceId(it->second)) {
      return mistake(idMistake(option, it->second));
    }
  }

  auto mode = NetworkSettings::ConnectionType::sdk;
  if (auto it = options.find("--mode"); it != options.end()) {
    if (it->second == "app") {
      mode = NetworkSettings::ConnectionType::app;
    } else if (it->second != "sdk") {
      return mistake("--mode is app or sdk, not '" + it->second + "'");
    }
  }
  std::chrono::milliseconds timeout{60000};
  if (auto it = options.find("--timeout"); it != options.end()) {
    auto parsed = parseSeconds(it->second);
    if (!parsed) {
      return mistake("--timeout takes a number of seconds above 0 and at most 86400, not '" +
                     it->second + "'");
    }
    timeout = *parsed;
  }
  std::optional<std::string> token;
  try {
    token = chosenToken(options);
  } catch (const std::exception& e) {
    return mistake(e.what());
  }
  std::optional<fs::path> stateDirectory;
  if (auto it = options.find("--state"); it != options.end()) {
    if (it->second.empty()) return mistake("--state needs a directory");
    stateDirectory = fs::path(it->second);
  } else {
    stateDirectory = defaultStateDirectory();
  }
  Server server;
  try {
    if (spec.needsApiUrl) server = configuredServer();
  } catch (const std::exception& e) {
    io.err << prefix << ": " << e.what() << '\n';
    return kBadConfig;
  }

  // From here on the debug lines go where the call sends them.
  Call call(prefix, io, std::move(arguments), std::move(options));
  call.mode_ = mode;
  call.timeout_ = timeout;
  call.token_ = std::move(token);
  call.server_ = std::move(server);
  call.stateDirectory_ = std::move(stateDirectory);
  if (call.stateDirectory_) {
    try {
      call.session_ = loadSession(*call.stateDirectory_);
    } catch (const std::exception& e) {
      return call.fail(e.what(), kBadConfig);
    }
  }
  return body(call);
}

}  // namespace tavrel::cli
