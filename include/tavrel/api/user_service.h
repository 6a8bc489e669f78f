#pragma once
// The visitor's session: UserTarget describes the three endpoints, and
// UserService announces the device (connect), proves a known user id with a
// keyed hash (auth) and marks the visitor online (setPresence). The service
// keeps nothing it learns: the host builds NetworkSettings from the User.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "tavrel/api/tavrel_service.h"
#include "tavrel/api/tavrel_target.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/user.h"
#include "tavrel/rx/disposable.h"

namespace tavrel {

// The endpoints of the session. All three are POST with a form body; the
// query holds only what the provider adds.
class UserTarget : public TavrelTarget {
 public:
  // "connect": announces this device with the application's API key.
  struct Connect {
    std::string sessionId;
    std::string apiKey;
    bool startSession = true;
    bool includeAutoEvents = false;
    bool includeJsScripts = false;
    bool includePushDomains = false;
    std::string browser;
    std::string os;
    std::string device;
    std::string deviceType;
  };
  // "auth/userappauth": a known user id with its HMAC.
  struct Auth {
    std::string userId;
    std::string hash;
  };
  // "users/{user_id}/setpresence": the visitor is online.
  struct SetPresence {};

  using Case = std::variant<Connect, Auth, SetPresence>;

  UserTarget(Case value) : case_(std::move(value)) {}  // NOLINT: a case is a target
  static UserTarget connect(Connect value) { return UserTarget(std::move(value)); }
  static UserTarget auth(std::string userId, std::string hash) {
    return UserTarget(Auth{std::move(userId), std::move(hash)});
  }
  static UserTarget setPresence() { return UserTarget(SetPresence{}); }

  const Case& value() const noexcept { return case_; }

  std::string path() const override;
  Method method() const override { return Method::post; }
  // requestCompositeParameters: the case's parameters as a form body
  // (URLEncoding httpBody), no URL parameters of its own.
  Task task() const override;

  // The form fields of the case, as they go into the body.
  Parameters bodyParameters() const;

 private:
  Case case_;
};

// Options of hexEncodedString.
struct HexEncodingOptions {
  int rawValue = 0;

  static const HexEncodingOptions upperCase;  // digits A to F in upper case

  constexpr bool contains(HexEncodingOptions other) const noexcept {
    return (rawValue & other.rawValue) == other.rawValue;
  }
  friend constexpr bool operator==(HexEncodingOptions, HexEncodingOptions) = default;
};
inline constexpr HexEncodingOptions HexEncodingOptions::upperCase{1};

// Every byte as two hexadecimal digits, without separator; "" for no bytes.
std::string hexEncodedString(std::string_view bytes, HexEncodingOptions options = {});

// The 32 bytes of HMAC-SHA-256 of message under key.
std::string hmacSHA256(std::string_view key, std::string_view message);

// What connect tells the service about the device.
struct DeviceInfo {
  std::string name;           // sent as "device"
  std::string systemVersion;  // sent in "os" as "iOS " + systemVersion

  // This machine: the host name, and the system's name and release.
  static DeviceInfo current();
};

class UserService : public TavrelService<UserTarget> {
 public:
  using Session = std::pair<User, Messenger>;

  // networkSettings may be null: connect and auth need none. Makes a new
  // sessionId: a random UUID's text without "-", 32 characters.
  explicit UserService(std::shared_ptr<NetworkSettings> networkSettings = nullptr,
                       HttpTransport* transport = nullptr,
                       DeviceInfo device = DeviceInfo::current());

  // The random id of this object, the same for all of its connect calls.
  const std::string& sessionId() const noexcept { return sessionId_; }
  // The device that connect describes.
  const DeviceInfo& device() const noexcept { return device_; }

  // Announces the device with the API key; version goes into "browser" as
  // "iOS sdk " + version. One element: the User and Messenger decoded from
  // the body whatever the status, or a custom error naming the record that
  // did not decode. Fails only below HTTP.
  rx::Observable<Result<Session>> connect(std::string key, std::string version) const;

  // Proves newUserId with HMAC-SHA-256 under userAuthKey. One element: the
  // user of the answer with its top-level "auth_token", paired with
  // messenger; absent when the answer names no user; a custom error when the
  // body is no JSON. Fails only below HTTP.
  rx::Observable<Result<std::optional<Session>>> auth(std::string newUserId, Messenger messenger,
                                                      std::string userAuthKey) const;

  // Marks the visitor online; needs settings to resolve "{user_id}".
  rx::Observable<Result<Response<JsonValue>>> setPresence() const;

  // Subscriptions owned by this object.
  rx::DisposeBag disposeBag;

 private:
  std::string sessionId_;
  DeviceInfo device_;
};

}  // namespace tavrel
