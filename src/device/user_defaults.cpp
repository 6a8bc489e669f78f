#include "tavrel/device/user_defaults.h"

#include <sqlite3.h>

#include <cstdlib>

#include "tavrel/core/log.h"

namespace tavrel {
namespace fs = std::filesystem;
namespace {

constexpr int kBusyMilliseconds = 5000;

// A prepared statement, finalized when it goes.
struct Statement {
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr); }
  ~Statement() { sqlite3_finalize(stmt); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  void bind(int index, std::string_view text) {
    sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  sqlite3_stmt* stmt = nullptr;
};

}  // namespace

fs::path UserDefaults::stateDirectory() {
  const char* xdg = std::getenv("XDG_STATE_HOME");
  if (xdg && *xdg == '/') return fs::path(xdg) / "tavrel";
  const char* home = std::getenv("HOME");
  return fs::path(home && *home ? home : "/") / ".local" / "state" / "tavrel";
}

UserDefaults& UserDefaults::standard() {
  static UserDefaults defaults(stateDirectory() / "defaults.sqlite");
  return defaults;
}

UserDefaults::UserDefaults(fs::path path) : path_(std::move(path)) {}

UserDefaults::~UserDefaults() { sqlite3_close_v2(db_); }

// Opens the store at first use; mutex_ held.
bool UserDefaults::open() {
  if (db_) return true;
  std::error_code ec;
  if (fs::create_directories(path_.parent_path(), ec)) {
    fs::permissions(path_.parent_path(), fs::perms::owner_all, ec);
  }
  sqlite3* db = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
  if (sqlite3_open_v2(path_.c_str(), &db, flags, nullptr) != SQLITE_OK) {
    debugPrint("UserDefaults: cannot open " + path_.string() + ": " + sqlite3_errmsg(db));
    sqlite3_close_v2(db);
    return false;
  }
  sqlite3_busy_timeout(db, kBusyMilliseconds);
  char* error = nullptr;
  if (sqlite3_exec(db,
                   "PRAGMA journal_mode=WAL;"
                   "CREATE TABLE IF NOT EXISTS urls (key TEXT PRIMARY KEY, url TEXT NOT NULL);",
                   nullptr, nullptr, &error) != SQLITE_OK) {
    debugPrint("UserDefaults: cannot set up " + path_.string() + ": " + (error ? error : "?"));
    sqlite3_free(error);
    sqlite3_close_v2(db);
    return false;
  }
  db_ = db;
  return true;
}

void UserDefaults::set(const Url& url, std::string_view forKey) {
  std::lock_guard lock(mutex_);
  if (!open()) return;
  Statement s(db_, "INSERT INTO urls (key, url) VALUES (?1, ?2) "
                   "ON CONFLICT(key) DO UPDATE SET url = excluded.url");
  s.bind(1, forKey);
  s.bind(2, url.absoluteString());
  if (sqlite3_step(s.stmt) != SQLITE_DONE) {
    debugPrint("UserDefaults: cannot write " + path_.string() + ": " + sqlite3_errmsg(db_));
  }
}

std::optional<Url> UserDefaults::url(std::string_view forKey) const {
  std::lock_guard lock(mutex_);
  if (!const_cast<UserDefaults*>(this)->open()) return std::nullopt;
  Statement s(db_, "SELECT url FROM urls WHERE key = ?1");
  s.bind(1, forKey);
  if (sqlite3_step(s.stmt) != SQLITE_ROW) return std::nullopt;
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(s.stmt, 0));
  return text ? Url::parse(text) : std::nullopt;
}

void UserDefaults::removeObject(std::string_view forKey) {
  std::lock_guard lock(mutex_);
  if (!open()) return;
  Statement s(db_, "DELETE FROM urls WHERE key = ?1");
  s.bind(1, forKey);
  sqlite3_step(s.stmt);
}

}  // namespace tavrel
