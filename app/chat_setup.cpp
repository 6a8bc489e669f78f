#include "chat_setup.h"

#include <stdlib.h>

#include <cstdlib>
#include <fstream>

#include "tavrel/api/user_service.h"
#include "tavrel/core/info_plist.h"
#include "version.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

void writePlist(const fs::path& directory, const std::string& entries) {
  fs::create_directories(directory);
  std::ofstream(directory / "Info.plist")
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" << entries
      << "</dict></plist>\n";
}

// The first line of a file, for --user-auth-key-file.
std::optional<std::string> firstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line) || line.empty()) return std::nullopt;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

SavedSession toSaved(const UserService::Session& session) {
  const auto& [user, messenger] = session;
  return SavedSession{user.token, user.appId, user.id, messenger};
}

}  // namespace

bool given(std::span<const std::string> args, std::string_view option) {
  for (const auto& arg : args) {
    if (arg == "--") return false;
    if (arg == option || arg.starts_with(std::string(option) + "=")) return true;
  }
  return false;
}

std::optional<std::string> valueOf(std::span<const std::string> args, std::string_view option) {
  for (std::size_t i = 0; i < args.size() && args[i] != "--"; ++i) {
    if (args[i] == option && i + 1 < args.size()) return args[i + 1];
    if (args[i].starts_with(std::string(option) + "=")) return args[i].substr(option.size() + 1);
  }
  return std::nullopt;
}

bool serviceConfigured(std::span<const std::string> args) {
  for (auto option : {"--key", "--token", "--token-file"}) {
    if (given(args, option)) return true;
  }
  for (auto name : {"TAVREL_TOKEN", "TAVREL_MAIN_BUNDLE"}) {
    const char* value = std::getenv(name);
    if (value && *value) return true;
  }
  auto state = valueOf(args, "--state");
  auto directory = state ? std::optional<fs::path>(*state) : defaultStateDirectory();
  std::error_code ec;
  return directory && fs::exists(sessionFile(*directory), ec);
}

std::variant<std::unique_ptr<Embedded>, std::string> Embedded::start(const std::string& db) {
  service::ServerOptions options;
  options.listen = "127.0.0.1:0";
  options.db = db;
  auto started = service::Server::start(options);
  if (auto* error = std::get_if<service::StartError>(&started)) return error->message;
  auto embedded = std::unique_ptr<Embedded>(new Embedded);
  embedded->server_ = std::move(std::get<0>(started));
  char pattern[] = "/tmp/tavrel-chat-XXXXXX";
  if (!::mkdtemp(pattern)) return std::string("cannot make a temporary directory");
  embedded->directory_ = pattern;
  const fs::path main = embedded->directory_ / "main";
  writePlist(main, "<key>apiUrl</key><string>" + embedded->server_->apiUrl() + "</string>");
  // The installed bundle's translations, so that LANG still chooses.
  std::error_code ec;
  if (auto installed = Bundle::directory(AppType::app)) {
    for (const auto& entry : fs::directory_iterator(*installed, ec)) {
      if (entry.path().extension() == ".lproj") {
        fs::copy(entry.path(), main / entry.path().filename(), fs::copy_options::recursive, ec);
      }
    }
  }
  writePlist(embedded->directory_ / "lib",
             "<key>wssUrl</key><string>" + embedded->server_->wssUrl() + "</string>");
  Bundle::registerMain(main);
  Bundle::registerBundle(Bundle::libIdentifier, embedded->directory_ / "lib");
  // For `tavrel operator` in another terminal; the directory is ours alone.
  std::ofstream(embedded->secretFile()) << embedded->server_->demoApp().identitySecret << '\n';
  return embedded;
}

Embedded::~Embedded() {
  Bundle::registerMain({});
  Bundle::registerBundle(Bundle::libIdentifier, {});
  if (server_) server_->stop();
  std::error_code ec;
  if (!directory_.empty()) fs::remove_all(directory_, ec);
}

std::string Embedded::origin() const {
  return "http://127.0.0.1:" + std::to_string(server_->port());
}

std::variant<std::shared_ptr<NetworkSettings>, int> openSession(Call& call,
                                                               const Embedded* embedded) {
  UserService users(nullptr, &call.transport());
  std::optional<SavedSession> session = call.session();
  const auto key = embedded ? std::optional(embedded->server().demoApp().apiKey)
                            : call.option("--key");
  if (key) {
    auto connected = call.await(users.connect(*key, kVersion));
    if (auto* status = std::get_if<int>(&connected)) return *status;
    session = toSaved(std::get<UserService::Session>(connected));
  }
  if (auto userId = call.option("--user-id")) {
    std::optional<std::string> secret = call.option("--user-auth-key");
    if (auto file = call.option("--user-auth-key-file")) {
      secret = firstLine(*file);
      if (!secret) return call.usage("cannot read a first line from --user-auth-key-file " + *file);
    }
    if (!secret && embedded) secret = embedded->server().demoApp().identitySecret;
    if (!secret) return call.usage("--user-id needs --user-auth-key-file or --user-auth-key");
    if (!session || !session->messenger) {
      return call.usage("no saved messenger to prove --user-id with: give --key");
    }
    auto proved = call.await(users.auth(*userId, *session->messenger, *secret));
    if (auto* status = std::get_if<int>(&proved)) return *status;
    auto& known = std::get<std::optional<UserService::Session>>(proved);
    if (!known) return call.fail("the service did not accept user id " + *userId, kRefused);
    session = toSaved(*known);
  }
  if (!session) {
    return call.fail("no session: give --key KEY, run `tavrel connect`, or use --embedded",
                     kBadConfig);
  }
  if (!embedded && (key || call.option("--user-id")) && !call.save(*session)) return kBadConfig;
  // The token options go over the session, as for every call.
  auto settings = call.settings();
  if (key || call.option("--user-id") || !settings) {
    settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk,
                                                 session->token.value_or(""), session->appId,
                                                 session->userId);
  }
  return settings;
}

}  // namespace tavrel::cli
