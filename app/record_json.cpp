#include "record_json.h"

namespace tavrel::cli {

void writeFields(JsonWriter& w, const User& user) {
  w.beginObject();
  w.key("data");
  w.beginObject();
  w.field("auth_token", user.token);
  w.key("user");
  w.beginObject();
  w.field("id", user.id);
  w.field("has_conversations", user.hasConversations);
  w.field("is_banned", user.isBanned);
  w.field("conversations_unread", user.conversationsUnread);
  w.endObject();
  w.key("app");
  w.beginObject();
  w.field("id", user.appId);
  w.endObject();
  w.endObject();
  w.endObject();
}

void writeFields(JsonWriter& w, const Auth& auth) {
  w.beginObject();
  w.key("user");
  if (auth.user) {
    writeFields(w, *auth.user);
  } else {
    w.null();
  }
  w.key("data");
  w.beginObject();
  w.field("result", auth.result);
  w.endObject();
  w.endObject();
}

// Every typed field of a Messenger is read out of "data", which the record
// keeps whole: that tree is the complete record.
void writeFields(JsonWriter& w, const Messenger& messenger) {
  w.beginObject();
  w.field("data", messenger.connectData);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseSettings& settings) {
  using Keys = KnowledgeBaseSettings::DataCodingKeys;
  w.beginObject();
  w.field(Keys::domain, settings.domain);
  w.field(Keys::appId, settings.appId);
  w.field(Keys::fullDomain, settings.fullDomain);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseCategory& category) {
  w.beginObject();
  w.field("id", category.id);
  w.field("name", category.name);
  w.field("icon", category.icon);
  w.field("articles_counter", category.count);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseArticle& article) {
  w.beginObject();
  w.field("id", article.id);
  w.field("name", article.name);
  w.field("short_description", article.description);
  w.field("content", article.content);
  w.field("category_id", article.categoryId);
  w.endObject();
}

void writeFields(JsonWriter& w, const Meta& meta) {
  w.beginObject();
  w.field("status", meta.status);
  w.field("error", meta.error);
  w.field("error_message", meta.errorMessage);
  w.field("next_after", meta.nextAfter);
  w.field("next_before_position", meta.nextBeforePosition);
  w.endObject();
}

void writeFields(JsonWriter& w, const SimpleId& simpleId) {
  w.beginObject();
  w.field("id", simpleId.id);
  w.endObject();
}

void writeFields(JsonWriter& w, const RtsResponse& frame) {
  w.beginObject();
  w.field(rawValue(RootKeys::id), frame.id);
  w.field(rawValue(RootKeys::channel), frame.channel);
  w.field(rawValue(RootKeys::message), frame.message);
  w.field(rawValue(RootKeys::tag), frame.tag);
  w.field(rawValue(RootKeys::time), frame.time);
  w.endObject();
}

}  // namespace tavrel::cli
