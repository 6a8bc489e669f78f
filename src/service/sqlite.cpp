#include "service/sqlite.h"

namespace tavrel::service {

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
  if (sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &stmt_, nullptr) != SQLITE_OK) {
    throw SqlError(std::string(sqlite3_errmsg(db)) + " in: " + std::string(sql));
  }
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

Statement& Statement::bind(int index, std::int64_t value) {
  sqlite3_bind_int64(stmt_, index, value);
  return *this;
}

Statement& Statement::bind(int index, std::string_view value) {
  sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::bindNull(int index) {
  sqlite3_bind_null(stmt_, index);
  return *this;
}

bool Statement::step() {
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  throw SqlError(sqlite3_errmsg(db_));
}

void Statement::run() {
  while (step()) {
  }
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(stmt_, column); }

std::string Statement::text(int column) const {
  const auto* bytes = sqlite3_column_text(stmt_, column);
  const int size = sqlite3_column_bytes(stmt_, column);
  return bytes ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size))
               : std::string();
}

bool Statement::isNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }

Database::Database(const std::string& path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
    sqlite3_close(db_);
    db_ = nullptr;
    throw SqlError(why);
  }
  sqlite3_busy_timeout(db_, 5000);
}

Database::~Database() { sqlite3_close(db_); }

void Database::exec(std::string_view sql) {
  char* message = nullptr;
  const std::string text(sql);
  if (sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::string why = message ? message : sqlite3_errmsg(db_);
    sqlite3_free(message);
    throw SqlError(why);
  }
}

}  // namespace tavrel::service
