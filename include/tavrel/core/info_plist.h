#pragma once
// Configuration and translations read from bundles.
//
// A bundle is a directory holding "Info.plist" (an XML or binary property
// list) and "<language>.lproj/Localizable.strings" translation tables. The
// host registers the main bundle and the bundles "io.tavrelhub.TavrelLib" and
// "io.tavrelhub.TavrelSDK" through `Bundle`, or names their directories in the
// environment variables TAVREL_MAIN_BUNDLE, TAVREL_LIB_BUNDLE and
// TAVREL_SDK_BUNDLE. Registration wins over the environment. A bundle that is
// neither registered nor named does not exist.

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel {

// Which bundle configuration and translations come from.
enum class AppType {
  app,  // the main bundle of the running application
  sdk,  // the bundle "io.tavrelhub.TavrelSDK"
  lib,  // the bundle "io.tavrelhub.TavrelLib"
};

// The process-wide bundle registry and language choice. All functions are
// thread-safe; a change takes effect for the next read.
class Bundle {
 public:
  static constexpr std::string_view libIdentifier = "io.tavrelhub.TavrelLib";
  static constexpr std::string_view sdkIdentifier = "io.tavrelhub.TavrelSDK";

  // Makes `directory` the main bundle; an empty path removes the registration.
  static void registerMain(const std::filesystem::path& directory);
  // Makes `directory` the bundle with `identifier`; an empty path removes it.
  static void registerBundle(std::string_view identifier, const std::filesystem::path& directory);

  // The directory of the bundle an application type chooses, if it exists.
  static std::optional<std::filesystem::path> directory(AppType appType);

  // Languages in order of preference, as "ru", "en-US", "pt_BR" or "zh-Hans".
  // An empty list restores the default, taken from LANGUAGE, LC_ALL,
  // LC_MESSAGES and LANG.
  static void setPreferredLanguages(std::vector<std::string> languages);
  static std::vector<std::string> preferredLanguages();

  Bundle() = delete;
};

// Named settings in the property list of a bundle.
class InfoPlist {
 public:
  // The settings keys; each one's raw value is its own name.
  enum class Keys {
    apiUrl, wssUrl, filesUrl, login, password, panelAccountUrl, panelUrl, panelRegister,
    storeProductITunesIdentifier, closeViewWidth, googleServiceInfo, delayListControllerTableViewCount,
    imageMessageSizeLim, yandexExpireTimeout, facebookExpireTimeout, ratingFirstStartTime,
    ratingRejectedTime, userAuthKey, tavrelApiKey, appName, deepLinkUrl, timeoutRefresh, providerName,
  };
  static constexpr std::size_t keyCount = 23;

  // The raw value of a key: its own name.
  static std::string_view rawValue(Keys key) noexcept;
  // The key with a raw value, if any.
  static std::optional<Keys> key(std::string_view rawValue) noexcept;

  // The one instance, made on first use.
  static InfoPlist& shared();

  virtual ~InfoPlist() = default;
  InfoPlist(const InfoPlist&) = delete;
  InfoPlist& operator=(const InfoPlist&) = delete;

  // The text stored under `key`, with every backslash removed. "" when the
  // bundle does not exist; nothing when the bundle has no property list or
  // the value is missing or not text.
  virtual std::optional<std::string> getValue(Keys key, AppType appType = AppType::app) const;

 protected:
  InfoPlist() = default;
};

// The translation of `text` in the bundle of `appType`; the text itself when
// the table has no entry for it, "" when the bundle does not exist.
std::string localize(std::string_view text, AppType appType = AppType::app);

}  // namespace tavrel
