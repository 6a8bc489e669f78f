#pragma once
// UserDefaults: the application's small persistent settings, here URLs kept
// under string keys. The store is an SQLite database, by default
// "defaults.sqlite" in the state directory ($XDG_STATE_HOME/tavrel, else
// ~/.local/state/tavrel). Every write is committed at once; several threads
// and several processes may read and write the same store (write-ahead log,
// and a wait of up to five seconds for another writer). A store that cannot
// be opened or written loses nothing else: reads then find nothing and the
// failure goes to the debug sink.

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/url.h"

struct sqlite3;

namespace tavrel {

class UserDefaults {
 public:
  // The store in the state directory, opened at first use.
  static UserDefaults& standard();
  // The state directory: $XDG_STATE_HOME/tavrel when that is absolute, else
  // ~/.local/state/tavrel.
  static std::filesystem::path stateDirectory();

  // A store in the file `path`, whose folder is made (mode 0700) if missing.
  explicit UserDefaults(std::filesystem::path path);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  // Keeps url under key, replacing what was there.
  void set(const Url& url, std::string_view forKey);
  // The URL kept under key, if any.
  std::optional<Url> url(std::string_view forKey) const;
  // Forgets key.
  void removeObject(std::string_view forKey);

 private:
  bool open();

  std::filesystem::path path_;
  mutable std::mutex mutex_;
  sqlite3* db_ = nullptr;
};

}  // namespace tavrel
