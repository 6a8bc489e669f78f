#pragma once
// The service's storage: applications, visitors and their tokens,
// conversations and their parts, events, user properties, and the help
// centre. SQLite in WAL mode on a file, or memory alone for ":memory:".
//
// Every member is thread-safe (one lock); a multi-step change runs in one
// transaction, so a crash leaves either all of it or none.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "service/sqlite.h"

namespace tavrel::service {

struct AppRow {
  std::int64_t id = 0;
  std::string name;
  std::string apiKey;
  std::string secret;
};

struct UserRow {
  std::int64_t id = 0;
  std::int64_t appId = 0;
  std::string externalId;  // the host's id of a known user; "" for a visitor
};

struct PartRow {
  std::int64_t id = 0;
  std::int64_t conversationId = 0;
  std::string randomId;
  std::string body;
  std::string type;
  std::int64_t created = 0;
  bool fromUser = false;
  bool read = false;
  std::optional<std::string> metaData;
  std::int64_t userId = 0;  // the visitor of the conversation
};

struct ConversationRow {
  std::int64_t id = 0;
  std::int64_t appId = 0;
  std::int64_t userId = 0;
  std::int64_t created = 0;
  bool assigned = false;  // a person took it over from the bot
  bool closed = false;
  std::int64_t partsCount = 0;
  std::int64_t unreadByUser = 0;   // operator parts the visitor has not read
  std::int64_t unreadByAdmin = 0;  // visitor parts after the last operator answer
  bool replied = false;
  PartRow last;
};

struct CategoryRow {
  std::int64_t id = 0;
  std::string name;
  std::string icon;
  std::int64_t articles = 0;
};

struct ArticleRow {
  std::int64_t id = 0;
  std::int64_t categoryId = 0;
  std::string name;
  std::string shortDescription;
  std::string content;
};

class Store {
 public:
  // Opens or creates the database. Throws SqlError when it cannot.
  explicit Store(const std::string& path);

  // Applications. The first one made on a new database is the demo app.
  AppRow createApp(const std::string& name);
  std::vector<AppRow> apps();
  std::optional<AppRow> appByKey(const std::string& apiKey);
  std::optional<AppRow> app(std::int64_t id);

  // Visitors, known users and tokens (kept as SHA-256 only).
  UserRow createVisitor(std::int64_t appId);
  UserRow knownUser(std::int64_t appId, const std::string& externalId);
  std::optional<UserRow> user(std::int64_t id);
  std::string issueToken(std::int64_t userId);
  std::optional<UserRow> userByToken(const std::string& token);
  void setPresence(std::int64_t userId, const std::string& presence);

  // Conversations.
  std::pair<ConversationRow, PartRow> startConversation(const UserRow& user, const std::string& body);
  // Adds a part; with a random id seen before on the same side of the same
  // conversation, the first part instead, and `created` false.
  struct Added {
    PartRow part;
    bool created = false;
  };
  Added addPart(std::int64_t conversationId, bool fromUser, const std::string& body,
                const std::string& randomId, const std::string& type);
  std::optional<ConversationRow> conversation(std::int64_t id);
  // Newest first, those whose last part is older than `before` (0: all).
  std::vector<ConversationRow> conversations(std::int64_t appId, std::optional<std::int64_t> userId,
                                             std::int64_t before, int limit);
  // Up to `limit` parts before the part id `before` (0: the newest), oldest first.
  std::vector<PartRow> parts(std::int64_t conversationId, std::int64_t before, int limit);
  std::optional<PartRow> part(std::int64_t id);
  // Marks the operator's parts read; how many changed.
  int markRead(std::int64_t conversationId);
  bool setMetaData(std::int64_t partId, const std::string& metaData);
  bool setAssigned(std::int64_t conversationId);
  bool setClosed(std::int64_t conversationId);

  // Events and user properties (values as JSON text).
  void addEvent(std::int64_t userId, const std::string& name, const std::string& params);
  std::int64_t eventCount(std::int64_t userId);
  std::map<std::string, std::string> properties(std::int64_t userId);
  // Replaces the whole set in one transaction.
  void setProperties(std::int64_t userId, const std::map<std::string, std::string>& values);

  // The help centre.
  std::vector<CategoryRow> categories(std::int64_t appId);
  std::vector<ArticleRow> articles(std::int64_t appId, std::optional<std::int64_t> categoryId);
  std::optional<ArticleRow> article(std::int64_t appId, std::int64_t id);

 private:
  void migrate();
  void seedHelpCentre(std::int64_t appId);
  ConversationRow readConversation(Statement& row);
  std::optional<UserRow> userWhere(Statement& query);

  std::mutex mutex_;
  Database db_;
};

// Seconds since the epoch.
std::int64_t nowSeconds();

}  // namespace tavrel::service
