#include "service/store.h"

#include <chrono>

#include "service/crypto.h"

namespace tavrel::service {
namespace {

constexpr const char* kSchema = R"SQL(
CREATE TABLE IF NOT EXISTS apps(id INTEGER PRIMARY KEY, name TEXT NOT NULL,
  api_key TEXT NOT NULL UNIQUE, secret TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS users(id INTEGER PRIMARY KEY, app_id INTEGER NOT NULL,
  external_id TEXT NOT NULL DEFAULT '', created INTEGER NOT NULL, presence TEXT NOT NULL DEFAULT '');
CREATE UNIQUE INDEX IF NOT EXISTS users_known ON users(app_id, external_id) WHERE external_id != '';
CREATE TABLE IF NOT EXISTS tokens(hash TEXT PRIMARY KEY, user_id INTEGER NOT NULL, created INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS conversations(id INTEGER PRIMARY KEY, app_id INTEGER NOT NULL,
  user_id INTEGER NOT NULL, created INTEGER NOT NULL, last_part INTEGER NOT NULL DEFAULT 0,
  assigned INTEGER NOT NULL DEFAULT 0, closed INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS conversations_app ON conversations(app_id, last_part);
CREATE INDEX IF NOT EXISTS conversations_user ON conversations(user_id, last_part);
CREATE TABLE IF NOT EXISTS parts(id INTEGER PRIMARY KEY, conversation_id INTEGER NOT NULL,
  random_id TEXT NOT NULL, body TEXT NOT NULL, type TEXT NOT NULL, created INTEGER NOT NULL,
  from_user INTEGER NOT NULL, read INTEGER NOT NULL DEFAULT 0, meta_data TEXT);
CREATE INDEX IF NOT EXISTS parts_conversation ON parts(conversation_id, id);
CREATE UNIQUE INDEX IF NOT EXISTS parts_random ON parts(conversation_id, from_user, random_id)
  WHERE random_id NOT IN ('', '0');
CREATE TABLE IF NOT EXISTS events(id INTEGER PRIMARY KEY, user_id INTEGER NOT NULL,
  name TEXT NOT NULL, params TEXT NOT NULL, created INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS props(user_id INTEGER NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL,
  PRIMARY KEY(user_id, key));
CREATE TABLE IF NOT EXISTS kb_categories(id INTEGER PRIMARY KEY, app_id INTEGER NOT NULL,
  name TEXT NOT NULL, icon TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS kb_articles(id INTEGER PRIMARY KEY, app_id INTEGER NOT NULL,
  category_id INTEGER NOT NULL, name TEXT NOT NULL, short_description TEXT NOT NULL,
  content TEXT NOT NULL);
)SQL";

constexpr const char* kPartColumns =
    "p.id, p.conversation_id, p.random_id, p.body, p.type, p.created, p.from_user, p.read, "
    "p.meta_data, c.user_id";

PartRow readPart(const Statement& row, int at) {
  PartRow part;
  part.id = row.integer(at);
  part.conversationId = row.integer(at + 1);
  part.randomId = row.text(at + 2);
  part.body = row.text(at + 3);
  part.type = row.text(at + 4);
  part.created = row.integer(at + 5);
  part.fromUser = row.integer(at + 6) != 0;
  part.read = row.integer(at + 7) != 0;
  if (!row.isNull(at + 8)) part.metaData = row.text(at + 8);
  part.userId = row.integer(at + 9);
  return part;
}

AppRow readApp(const Statement& row) {
  return AppRow{row.integer(0), row.text(1), row.text(2), row.text(3)};
}

const std::string kConversationSelect =
    std::string("SELECT c.id, c.app_id, c.user_id, c.created, c.assigned, c.closed, "
                "(SELECT COUNT(*) FROM parts WHERE conversation_id = c.id), "
                "(SELECT COUNT(*) FROM parts WHERE conversation_id = c.id AND from_user = 0 AND read = 0), "
                "(SELECT COUNT(*) FROM parts WHERE conversation_id = c.id AND from_user = 1 AND id > "
                "  IFNULL((SELECT MAX(id) FROM parts WHERE conversation_id = c.id AND from_user = 0), 0)), "
                "EXISTS(SELECT 1 FROM parts WHERE conversation_id = c.id AND from_user = 0), ") +
    kPartColumns + " FROM conversations c JOIN parts p ON p.id = c.last_part ";

}  // namespace

std::int64_t nowSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

Store::Store(const std::string& path) : db_(path) { migrate(); }

void Store::migrate() {
  std::lock_guard lock(mutex_);
  // WAL lets `tavrel operator` and backups read while the server writes;
  // a file that cannot take it (memory) keeps its own mode.
  db_.exec("PRAGMA journal_mode=WAL");
  db_.exec("PRAGMA synchronous=NORMAL");
  db_.exec("PRAGMA foreign_keys=ON");
  db_.transaction([&] { db_.exec(kSchema); });
}

AppRow Store::createApp(const std::string& name) {
  std::lock_guard lock(mutex_);
  return db_.transaction([&] {
    AppRow app{0, name, randomHex(16), randomHex(32)};
    db_.prepare("INSERT INTO apps(name, api_key, secret) VALUES(?1, ?2, ?3)")
        .with(app.name, app.apiKey, app.secret)
        .run();
    app.id = db_.lastInsertId();
    seedHelpCentre(app.id);
    return app;
  });
}

std::vector<AppRow> Store::apps() {
  std::lock_guard lock(mutex_);
  std::vector<AppRow> out;
  auto query = db_.prepare("SELECT id, name, api_key, secret FROM apps ORDER BY id");
  while (query.step()) out.push_back(readApp(query));
  return out;
}

std::optional<AppRow> Store::appByKey(const std::string& apiKey) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare("SELECT id, name, api_key, secret FROM apps WHERE api_key = ?1");
  query.with(apiKey);
  if (!query.step()) return std::nullopt;
  return readApp(query);
}

std::optional<AppRow> Store::app(std::int64_t id) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare("SELECT id, name, api_key, secret FROM apps WHERE id = ?1");
  query.with(id);
  if (!query.step()) return std::nullopt;
  return readApp(query);
}

std::optional<UserRow> Store::userWhere(Statement& query) {
  if (!query.step()) return std::nullopt;
  return UserRow{query.integer(0), query.integer(1), query.text(2)};
}

UserRow Store::createVisitor(std::int64_t appId) {
  std::lock_guard lock(mutex_);
  db_.prepare("INSERT INTO users(app_id, created) VALUES(?1, ?2)").with(appId, nowSeconds()).run();
  return UserRow{db_.lastInsertId(), appId, ""};
}

UserRow Store::knownUser(std::int64_t appId, const std::string& externalId) {
  std::lock_guard lock(mutex_);
  return db_.transaction([&] {
    auto query = db_.prepare("SELECT id, app_id, external_id FROM users WHERE app_id = ?1 AND external_id = ?2");
    query.with(appId, externalId);
    if (auto found = userWhere(query)) return *found;
    db_.prepare("INSERT INTO users(app_id, external_id, created) VALUES(?1, ?2, ?3)")
        .with(appId, externalId, nowSeconds())
        .run();
    return UserRow{db_.lastInsertId(), appId, externalId};
  });
}

std::optional<UserRow> Store::user(std::int64_t id) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare("SELECT id, app_id, external_id FROM users WHERE id = ?1");
  query.with(id);
  return userWhere(query);
}

std::string Store::issueToken(std::int64_t userId) {
  std::lock_guard lock(mutex_);
  std::string token = randomHex(20);
  db_.prepare("INSERT INTO tokens(hash, user_id, created) VALUES(?1, ?2, ?3)")
      .with(sha256Hex(token), userId, nowSeconds())
      .run();
  return token;
}

std::optional<UserRow> Store::userByToken(const std::string& token) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(
      "SELECT u.id, u.app_id, u.external_id FROM tokens t JOIN users u ON u.id = t.user_id "
      "WHERE t.hash = ?1");
  query.with(sha256Hex(token));
  return userWhere(query);
}

void Store::setPresence(std::int64_t userId, const std::string& presence) {
  std::lock_guard lock(mutex_);
  db_.prepare("UPDATE users SET presence = ?2 WHERE id = ?1").with(userId, presence).run();
}

std::pair<ConversationRow, PartRow> Store::startConversation(const UserRow& user,
                                                             const std::string& body) {
  std::int64_t id = 0;
  {
    std::lock_guard lock(mutex_);
    db_.prepare("INSERT INTO conversations(app_id, user_id, created) VALUES(?1, ?2, ?3)")
        .with(user.appId, user.id, nowSeconds())
        .run();
    id = db_.lastInsertId();
  }
  Added first = addPart(id, true, body, "", "comment");
  return {*conversation(id), first.part};
}

Store::Added Store::addPart(std::int64_t conversationId, bool fromUser, const std::string& body,
                            const std::string& randomId, const std::string& type) {
  std::lock_guard lock(mutex_);
  return db_.transaction([&] {
    const std::string sql = std::string("SELECT ") + kPartColumns +
                            " FROM parts p JOIN conversations c ON c.id = p.conversation_id ";
    if (randomId != "" && randomId != "0") {
      auto seen = db_.prepare(sql + "WHERE p.conversation_id = ?1 AND p.from_user = ?2 AND p.random_id = ?3");
      seen.with(conversationId, std::int64_t{fromUser}, randomId);
      if (seen.step()) return Added{readPart(seen, 0), false};
    }
    db_.prepare(
           "INSERT INTO parts(conversation_id, random_id, body, type, created, from_user) "
           "VALUES(?1, ?2, ?3, ?4, ?5, ?6)")
        .with(conversationId, randomId, body, type, nowSeconds(), std::int64_t{fromUser})
        .run();
    const std::int64_t id = db_.lastInsertId();
    db_.prepare("UPDATE conversations SET last_part = ?2 WHERE id = ?1").with(conversationId, id).run();
    auto made = db_.prepare(sql + "WHERE p.id = ?1");
    made.with(id);
    made.step();
    return Added{readPart(made, 0), true};
  });
}

ConversationRow Store::readConversation(Statement& row) {
  ConversationRow c;
  c.id = row.integer(0);
  c.appId = row.integer(1);
  c.userId = row.integer(2);
  c.created = row.integer(3);
  c.assigned = row.integer(4) != 0;
  c.closed = row.integer(5) != 0;
  c.partsCount = row.integer(6);
  c.unreadByUser = row.integer(7);
  c.unreadByAdmin = row.integer(8);
  c.replied = row.integer(9) != 0;
  c.last = readPart(row, 10);
  return c;
}

std::optional<ConversationRow> Store::conversation(std::int64_t id) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(kConversationSelect + "WHERE c.id = ?1");
  query.with(id);
  if (!query.step()) return std::nullopt;
  return readConversation(query);
}

std::vector<ConversationRow> Store::conversations(std::int64_t appId, std::optional<std::int64_t> userId,
                                                  std::int64_t before, int limit) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(kConversationSelect +
                           "WHERE c.app_id = ?1 AND (?2 = 0 OR c.user_id = ?2) AND (?3 = 0 OR c.last_part < ?3) "
                           "ORDER BY c.last_part DESC LIMIT ?4");
  query.with(appId, userId.value_or(0), before, std::int64_t{limit});
  std::vector<ConversationRow> out;
  while (query.step()) out.push_back(readConversation(query));
  return out;
}

std::vector<PartRow> Store::parts(std::int64_t conversationId, std::int64_t before, int limit) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(std::string("SELECT ") + kPartColumns +
                           " FROM parts p JOIN conversations c ON c.id = p.conversation_id "
                           "WHERE p.conversation_id = ?1 AND (?2 = 0 OR p.id < ?2) "
                           "ORDER BY p.id DESC LIMIT ?3");
  query.with(conversationId, before, std::int64_t{limit});
  std::vector<PartRow> out;
  while (query.step()) out.push_back(readPart(query, 0));
  return {out.rbegin(), out.rend()};
}

std::optional<PartRow> Store::part(std::int64_t id) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(std::string("SELECT ") + kPartColumns +
                           " FROM parts p JOIN conversations c ON c.id = p.conversation_id WHERE p.id = ?1");
  query.with(id);
  if (!query.step()) return std::nullopt;
  return readPart(query, 0);
}

int Store::markRead(std::int64_t conversationId) {
  std::lock_guard lock(mutex_);
  db_.prepare("UPDATE parts SET read = 1 WHERE conversation_id = ?1 AND from_user = 0 AND read = 0")
      .with(conversationId)
      .run();
  return db_.changes();
}

bool Store::setMetaData(std::int64_t partId, const std::string& metaData) {
  std::lock_guard lock(mutex_);
  db_.prepare("UPDATE parts SET meta_data = ?2 WHERE id = ?1").with(partId, metaData).run();
  return db_.changes() > 0;
}

bool Store::setAssigned(std::int64_t conversationId) {
  std::lock_guard lock(mutex_);
  db_.prepare("UPDATE conversations SET assigned = 1 WHERE id = ?1").with(conversationId).run();
  return db_.changes() > 0;
}

bool Store::setClosed(std::int64_t conversationId) {
  std::lock_guard lock(mutex_);
  db_.prepare("UPDATE conversations SET closed = 1 WHERE id = ?1").with(conversationId).run();
  return db_.changes() > 0;
}

void Store::addEvent(std::int64_t userId, const std::string& name, const std::string& params) {
  std::lock_guard lock(mutex_);
  db_.prepare("INSERT INTO events(user_id, name, params, created) VALUES(?1, ?2, ?3, ?4)")
      .with(userId, name, params, nowSeconds())
      .run();
}

std::int64_t Store::eventCount(std::int64_t userId) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare("SELECT COUNT(*) FROM events WHERE user_id = ?1");
  query.with(userId);
  query.step();
  return query.integer(0);
}

std::map<std::string, std::string> Store::properties(std::int64_t userId) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare("SELECT key, value FROM props WHERE user_id = ?1");
  query.with(userId);
  std::map<std::string, std::string> out;
  while (query.step()) out[query.text(0)] = query.text(1);
  return out;
}

void Store::setProperties(std::int64_t userId, const std::map<std::string, std::string>& values) {
  std::lock_guard lock(mutex_);
  db_.transaction([&] {
    db_.prepare("DELETE FROM props WHERE user_id = ?1").with(userId).run();
    for (const auto& [key, value] : values) {
      db_.prepare("INSERT INTO props(user_id, key, value) VALUES(?1, ?2, ?3)").with(userId, key, value).run();
    }
  });
}

std::vector<CategoryRow> Store::categories(std::int64_t appId) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(
      "SELECT k.id, k.name, k.icon, (SELECT COUNT(*) FROM kb_articles a WHERE a.category_id = k.id) "
      "FROM kb_categories k WHERE k.app_id = ?1 ORDER BY k.id");
  query.with(appId);
  std::vector<CategoryRow> out;
  while (query.step()) out.push_back({query.integer(0), query.text(1), query.text(2), query.integer(3)});
  return out;
}

std::vector<ArticleRow> Store::articles(std::int64_t appId, std::optional<std::int64_t> categoryId) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(
      "SELECT id, category_id, name, short_description, content FROM kb_articles "
      "WHERE app_id = ?1 AND (?2 = 0 OR category_id = ?2) ORDER BY id");
  query.with(appId, categoryId.value_or(0));
  std::vector<ArticleRow> out;
  while (query.step()) {
    out.push_back({query.integer(0), query.integer(1), query.text(2), query.text(3), query.text(4)});
  }
  return out;
}

std::optional<ArticleRow> Store::article(std::int64_t appId, std::int64_t id) {
  std::lock_guard lock(mutex_);
  auto query = db_.prepare(
      "SELECT id, category_id, name, short_description, content FROM kb_articles "
      "WHERE app_id = ?1 AND id = ?2");
  query.with(appId, id);
  if (!query.step()) return std::nullopt;
  return ArticleRow{query.integer(0), query.integer(1), query.text(2), query.text(3), query.text(4)};
}

}  // namespace tavrel::service
