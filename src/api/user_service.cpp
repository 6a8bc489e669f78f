#include "tavrel/api/user_service.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <random>

#include "tavrel/core/log.h"
#include "tavrel/http/network_logger_plugin.h"

namespace tavrel {
namespace {

using Session = UserService::Session;

// A random (version 4) UUID in its standard upper-case text, without "-".
std::string newSessionId() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
    std::random_device device;
    for (auto& b : bytes) b = static_cast<unsigned char>(device());
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  return hexEncodedString(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
      HexEncodingOptions::upperCase);
}

// The User and the Messenger of a connect answer, both from the whole body.
rx::Observable<Result<Session>> loadConnectResponse(const rx::Single<HttpResponse>& answer) {
  return answer.asObservable().map([](const HttpResponse& response) -> Result<Session> {
    auto user = decodeJson<User>(response.data);
    if (!user) {
      return UIRepresentableError::custom(
          "connect(withKey: withVersion:) Ошибка десериализации модели User");
    }
    auto messenger = decodeJson<Messenger>(response.data);
    if (!messenger) {
      return UIRepresentableError::custom(
          "connect(withKey: withVersion:) Ошибка десериализации модели Messenger");
    }
    return Session(std::move(user).value(), std::move(messenger).value());
  });
}

// The user named by an auth answer with its top-level token, or absent.
rx::Observable<Result<std::optional<Session>>> loadAuthResponse(
    const rx::Single<HttpResponse>& answer, Messenger messenger) {
  using Out = Result<std::optional<Session>>;
  return answer.asObservable().map([messenger](const HttpResponse& response) -> Out {
    auto tree = decodeJson<JsonValue>(response.data);
    if (!tree) {
      return UIRepresentableError::custom(
          "auth(withUserId: withUserAuthKey:) Ошибка десериализации модели User");
    }
    auto token = tree->getString("auth_token");
    if (!token) return std::optional<Session>();
    auto userText = tree->getString("user");
    if (!userText) return std::optional<Session>();
    auto user = decodeJson<User>(*userText);
    if (!user) return std::optional<Session>();
    user->token = *token;
    // The token itself never goes to the console.
    debugPrint("auth_token: ***");
    debugPrint(NetworkLoggerPlugin::maskSecrets(*userText));
    return std::optional<Session>(Session(std::move(user).value(), messenger));
  });
}

}  // namespace

std::string hexEncodedString(std::string_view bytes, HexEncodingOptions options) {
  const char* format = options.contains(HexEncodingOptions::upperCase) ? "%02hhX" : "%02hhx";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (char byte : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, format, static_cast<unsigned char>(byte));
    out.append(pair, 2);
  }
  return out;
}

std::string hmacSHA256(std::string_view key, std::string_view message) {
  static const unsigned char kNothing = 0;
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  const auto* keyBytes =
      key.empty() ? &kNothing : reinterpret_cast<const unsigned char*>(key.data());
  const auto* messageBytes =
      message.empty() ? &kNothing : reinterpret_cast<const unsigned char*>(message.data());
  if (!HMAC(EVP_sha256(), keyBytes, static_cast<int>(key.size()), messageBytes, message.size(),
            digest.data(), &length)) {
    return {};
  }
  return std::string(reinterpret_cast<const char*>(digest.data()), length);
}

DeviceInfo DeviceInfo::current() {
  struct utsname system {};
  if (uname(&system) != 0) return DeviceInfo{"unknown", "unknown"};
  return DeviceInfo{system.nodename, std::string(system.sysname) + " " + system.release};
}

UserService::UserService(std::shared_ptr<NetworkSettings> networkSettings, HttpTransport* transport,
                         DeviceInfo device)
    : TavrelService(std::move(networkSettings), transport),
      sessionId_(newSessionId()),
      device_(std::move(device)) {}

rx::Observable<Result<UserService::Session>> UserService::connect(std::string key,
                                                                  std::string version) const {
  UserTarget::Connect request;
  request.sessionId = sessionId_;
  request.apiKey = std::move(key);
  request.startSession = true;
  request.includeAutoEvents = false;
  request.includeJsScripts = false;
  request.includePushDomains = false;
  request.browser = "iOS sdk " + version;
  request.os = "iOS " + device_.systemVersion;
  request.device = device_.name;
  request.deviceType = "phone";
  return loadConnectResponse(provider().rx().request(UserTarget::connect(std::move(request))));
}

rx::Observable<Result<std::optional<UserService::Session>>> UserService::auth(
    std::string newUserId, Messenger messenger, std::string userAuthKey) const {
  std::string hash = hexEncodedString(hmacSHA256(userAuthKey, newUserId));
  auto answer = provider().rx().request(UserTarget::auth(std::move(newUserId), std::move(hash)));
  auto logged = answer.asObservable().catchError([](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& e) {
      debugPrint(e.what());
    } catch (...) {
      debugPrint("auth: unknown error");
    }
    return rx::error<HttpResponse>(error);
  });
  return loadAuthResponse(logged.asSingle(), std::move(messenger));
}

rx::Observable<Result<Response<JsonValue>>> UserService::setPresence() const {
  return provider().rx().request<JsonValue>(UserTarget::setPresence());
}

}  // namespace tavrel
