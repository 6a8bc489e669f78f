// The bundle registry, InfoPlist and localize.

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>

#include "core/bundle_files.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"

namespace tavrel {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kMainSlot = "";  // the registry's key for the main bundle

std::optional<std::string> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  return std::move(buffer).str();
}

// "pt_BR" and "PT-br" both become "pt-br".
std::string normalizeLanguage(std::string_view language) {
  std::string out;
  for (char c : language) out.push_back(c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  return out;
}

// One bundle directory, read once: its property list and the list of its
// translation tables; the tables themselves are read on first use.
class LoadedBundle {
 public:
  explicit LoadedBundle(fs::path directory) : directory_(std::move(directory)) {
    if (auto data = readFile(directory_ / "Info.plist")) {
      info_ = detail::readPlistDictionary(*data);
      if (!info_) problem_ = "Info.plist is not a property list: " + (directory_ / "Info.plist").string();
    }
    if (info_) {
      if (auto it = info_->find("CFBundleDevelopmentRegion"); it != info_->end() && it->second)
        developmentRegion_ = *it->second;
    }
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(directory_, ec)) {
      const auto& path = entry.path();
      if (path.extension() == ".lproj" && fs::is_regular_file(path / "Localizable.strings", ec))
        localizations_.push_back(path.stem().string());
    }
    std::sort(localizations_.begin(), localizations_.end());
  }

  const fs::path& directory() const { return directory_; }
  // What went wrong reading the bundle, for the debug console; "" if nothing.
  const std::string& problem() const { return problem_; }
  const std::optional<detail::PlistDictionary>& info() const { return info_; }

  // The translation of `key` for the first preferred language this bundle
  // has, or the key itself.
  std::string translate(std::string_view key, const std::vector<std::string>& preferred) const {
    const auto language = chooseLanguage(preferred);
    if (!language) return std::string(key);
    const auto table = tableFor(*language);
    if (table) {
      if (auto it = table->find(std::string(key)); it != table->end()) return it->second;
    }
    return std::string(key);
  }

 private:
  std::optional<std::string> findLocalization(std::string_view language) const {
    const std::string wanted = normalizeLanguage(language);
    for (const auto& name : localizations_)
      if (normalizeLanguage(name) == wanted) return name;
    return std::nullopt;
  }

  std::optional<std::string> chooseLanguage(const std::vector<std::string>& preferred) const {
    for (const auto& language : preferred) {
      if (auto found = findLocalization(language)) return found;
      // "en-US" falls back to "en".
      const auto cut = language.find_first_of("-_");
      if (cut != std::string::npos)
        if (auto found = findLocalization(language.substr(0, cut))) return found;
    }
    for (std::string_view fallback : {std::string_view(developmentRegion_), std::string_view("Base"),
                                      std::string_view("ru")})
      if (!fallback.empty())
        if (auto found = findLocalization(fallback)) return found;
    return std::nullopt;
  }

  // Reads a table once; one that does not parse counts as empty. The debug
  // line is written outside the lock, so a sink may call back into us.
  std::shared_ptr<const detail::StringsTable> tableFor(const std::string& localization) const {
    std::string problem;
    std::shared_ptr<const detail::StringsTable> result;
    {
      std::lock_guard lock(tablesMutex_);
      auto& slot = tables_[localization];
      if (!slot) {
        const auto path = directory_ / (localization + ".lproj") / "Localizable.strings";
        std::optional<detail::StringsTable> table;
        if (auto data = readFile(path)) table = detail::parseStringsTable(*data);
        if (!table) problem = "Localizable.strings could not be read: " + path.string();
        slot = std::make_shared<const detail::StringsTable>(table ? std::move(*table) : detail::StringsTable{});
      }
      result = slot;
    }
    if (!problem.empty()) debugPrint(problem);
    return result;
  }

  fs::path directory_;
  std::optional<detail::PlistDictionary> info_;
  std::string developmentRegion_;
  std::string problem_;
  std::vector<std::string> localizations_;
  mutable std::mutex tablesMutex_;
  mutable std::map<std::string, std::shared_ptr<const detail::StringsTable>> tables_;
};

class Registry {
 public:
  static Registry& instance() {
    static Registry registry;
    return registry;
  }

  void setDirectory(std::string_view slot, const fs::path& directory) {
    std::lock_guard lock(mutex_);
    auto& entry = slots_[std::string(slot)];
    entry.registered = directory.empty() ? std::nullopt : std::optional<fs::path>(directory);
    entry.loaded.reset();
  }

  // The bundle of a slot: registered, or named by the environment, and an
  // existing directory. Read once per directory.
  std::shared_ptr<const LoadedBundle> bundle(std::string_view slot, const char* environmentVariable) {
    std::shared_ptr<const LoadedBundle> fresh;
    {
      std::lock_guard lock(mutex_);
      auto& entry = slots_[std::string(slot)];
      std::optional<fs::path> directory = entry.registered;
      if (!directory) {
        const char* named = std::getenv(environmentVariable);
        if (named && *named) directory = fs::path(named);
      }
      if (!directory) return nullptr;
      // A directory read once stays the bundle until the registration or the
      // variable changes.
      if (entry.loaded && entry.loaded->directory() == *directory) return entry.loaded;
      std::error_code ec;
      if (!fs::is_directory(*directory, ec)) return nullptr;
      fresh = entry.loaded = std::make_shared<const LoadedBundle>(*directory);
    }
    // Outside the lock: a debug sink may call back into the registry.
    if (!fresh->problem().empty()) debugPrint(fresh->problem());
    return fresh;
  }

  void setPreferredLanguages(std::vector<std::string> languages) {
    std::lock_guard lock(mutex_);
    preferred_ = std::move(languages);
  }

  std::vector<std::string> preferredLanguages() {
    {
      std::lock_guard lock(mutex_);
      if (!preferred_.empty()) return preferred_;
    }
    return languagesFromEnvironment();
  }

 private:
  struct Slot {
    std::optional<fs::path> registered;
    std::shared_ptr<const LoadedBundle> loaded;
  };

  // LANGUAGE is a list "ru:en"; the others hold one locale "ru_RU.UTF-8".
  // The first variable that is set wins, as for gettext; "C" and "POSIX" say
  // nothing about a language.
  static std::vector<std::string> languagesFromEnvironment() {
    std::vector<std::string> result;
    auto add = [&](std::string_view locale) {
      locale = locale.substr(0, locale.find_first_of(".@"));
      if (locale.empty() || locale == "C" || locale == "POSIX") return;
      result.emplace_back(locale);
    };
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
      const char* value = std::getenv(name);
      if (!value || !*value) continue;
      std::string_view list(value);
      if (std::string_view(name) == "LANGUAGE") {
        while (!list.empty()) {
          const auto colon = list.find(':');
          add(list.substr(0, colon));
          if (colon == std::string_view::npos) break;
          list.remove_prefix(colon + 1);
        }
      } else {
        add(list);
      }
      if (!result.empty()) break;
    }
    return result;
  }

  std::mutex mutex_;
  std::map<std::string, Slot, std::less<>> slots_;
  std::vector<std::string> preferred_;
};

std::shared_ptr<const LoadedBundle> bundleFor(AppType appType) {
  switch (appType) {
    case AppType::sdk:
      return Registry::instance().bundle(Bundle::sdkIdentifier, "TAVREL_SDK_BUNDLE");
    case AppType::lib:
      return Registry::instance().bundle(Bundle::libIdentifier, "TAVREL_LIB_BUNDLE");
    case AppType::app:
      break;
  }
  return Registry::instance().bundle(kMainSlot, "TAVREL_MAIN_BUNDLE");
}

constexpr std::string_view kKeyNames[InfoPlist::keyCount] = {
    "apiUrl", "wssUrl", "filesUrl", "login", "password", "panelAccountUrl", "panelUrl", "panelRegister",
    "storeProductITunesIdentifier", "closeViewWidth", "googleServiceInfo", "delayListControllerTableViewCount",
    "imageMessageSizeLim", "yandexExpireTimeout", "facebookExpireTimeout", "ratingFirstStartTime",
    "ratingRejectedTime", "userAuthKey", "tavrelApiKey", "appName", "deepLinkUrl", "timeoutRefresh",
    "providerName"};
static_assert(static_cast<std::size_t>(InfoPlist::Keys::providerName) + 1 == InfoPlist::keyCount);

}  // namespace

void Bundle::registerMain(const fs::path& directory) { Registry::instance().setDirectory(kMainSlot, directory); }

void Bundle::registerBundle(std::string_view identifier, const fs::path& directory) {
  // The empty identifier is the main bundle's slot; nobody else may take it.
  if (identifier.empty()) return;
  Registry::instance().setDirectory(identifier, directory);
}

std::optional<fs::path> Bundle::directory(AppType appType) {
  auto bundle = bundleFor(appType);
  if (!bundle) return std::nullopt;
  return bundle->directory();
}

void Bundle::setPreferredLanguages(std::vector<std::string> languages) {
  Registry::instance().setPreferredLanguages(std::move(languages));
}

std::vector<std::string> Bundle::preferredLanguages() { return Registry::instance().preferredLanguages(); }

std::string_view InfoPlist::rawValue(Keys key) noexcept {
  const auto index = static_cast<std::size_t>(key);
  return index < keyCount ? kKeyNames[index] : std::string_view();
}

std::optional<InfoPlist::Keys> InfoPlist::key(std::string_view raw) noexcept {
  for (std::size_t i = 0; i < keyCount; ++i)
    if (kKeyNames[i] == raw) return static_cast<Keys>(i);
  return std::nullopt;
}

InfoPlist& InfoPlist::shared() {
  static InfoPlist instance;
  return instance;
}

std::optional<std::string> InfoPlist::getValue(Keys key, AppType appType) const {
  const auto bundle = bundleFor(appType);
  if (!bundle) return std::string();
  if (!bundle->info()) return std::nullopt;
  const auto it = bundle->info()->find(std::string(rawValue(key)));
  if (it == bundle->info()->end() || !it->second) return std::nullopt;
  std::string value = *it->second;
  std::erase(value, '\\');
  return value;
}

std::string localize(std::string_view text, AppType appType) {
  const auto bundle = bundleFor(appType);
  if (!bundle) return "";
  return bundle->translate(text, Bundle::preferredLanguages());
}

}  // namespace tavrel
