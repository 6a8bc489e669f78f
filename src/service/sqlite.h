#pragma once
// A thin layer over SQLite: a connection and prepared statements with
// positional binding. Errors throw SqlError; the store turns them into
// refusals or start errors.

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tavrel::service {

class SqlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Statement {
 public:
  Statement(sqlite3* db, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, std::string_view value);
  Statement& bind(int index, const char* value) { return bind(index, std::string_view(value)); }
  Statement& bind(int index, const std::string& value) { return bind(index, std::string_view(value)); }
  Statement& bindNull(int index);

  // Binds the arguments to ?1, ?2, ... in order.
  template <class... A>
  Statement& with(const A&... args) {
    int index = 1;
    (bind(index++, args), ...);
    return *this;
  }

  // Steps once; true while a row is there.
  bool step();
  // Steps to the end (for statements without rows).
  void run();

  std::int64_t integer(int column) const;
  std::string text(int column) const;
  bool isNull(int column) const;

 private:
  sqlite3* db_;
  sqlite3_stmt* stmt_ = nullptr;
};

class Database {
 public:
  // Opens (creating) `path`, or memory alone for ":memory:". Throws SqlError.
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void exec(std::string_view sql);
  Statement prepare(std::string_view sql) { return Statement(db_, sql); }
  std::int64_t lastInsertId() const { return sqlite3_last_insert_rowid(db_); }
  int changes() const { return sqlite3_changes(db_); }

  // Runs `body` inside one transaction, rolled back if it throws.
  template <class F>
  auto transaction(F&& body) {
    exec("BEGIN IMMEDIATE");
    try {
      if constexpr (std::is_void_v<decltype(body())>) {
        body();
        exec("COMMIT");
      } else {
        auto result = body();
        exec("COMMIT");
        return result;
      }
    } catch (...) {
      sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
      throw;
    }
  }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace tavrel::service
