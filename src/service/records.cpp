#include "service/records.h"

#include "tavrel/core/json_writer.h"

namespace tavrel::service {

void writeAdmin(JsonWriter& w, bool person) {
  w.beginObject();
  w.field("id", person ? "operator" : "bot");
  w.field("type", "admin");
  w.field("name", person ? "Operator" : "Support bot");
  w.field("avatar", "");
  w.endObject();
}

void writeMessage(JsonWriter& w, const PartRow& part, bool assigned) {
  w.beginObject();
  w.field("id", std::to_string(part.id));
  std::int64_t randomId = 0;
  try {
    randomId = std::stoll(part.randomId);
  } catch (...) {
    randomId = 0;  // a random id that is no number matches nothing by number
  }
  w.field("random_id", randomId);
  w.field("body", part.body);
  w.field("type", part.type);
  w.field("created", part.created);
  w.field("direction", part.fromUser ? "u2a" : "a2u");
  w.field("read", part.read);
  w.field("sent_via", "api");
  w.field("reply_type", "text");
  w.key("from");
  if (part.fromUser) {
    w.beginObject();
    w.field("id", std::to_string(part.userId));
    w.field("type", "user");
    w.field("name", "Visitor");
    w.field("avatar", "");
    w.endObject();
  } else {
    writeAdmin(w, assigned);
  }
  w.field("conversation", std::to_string(part.conversationId));
  w.field("body_json", nullptr);
  w.key("meta_data");
  if (part.metaData) {
    w.write(*part.metaData);
  } else {
    w.null();
  }
  w.key("attachments");
  w.beginArray();
  w.endArray();
  w.endObject();
}

void writeDialog(JsonWriter& w, const ConversationRow& c) {
  w.beginObject();
  w.field("id", std::to_string(c.id));
  w.field("created", c.created);
  w.field("replied", c.replied);
  w.field("message", c.last.body);
  w.field("type", "conversation");
  w.field("reply_type", "text");
  w.key("part_last");
  writeMessage(w, c.last, c.assigned);
  w.field("parts_count", c.partsCount);
  w.key("last_admin");
  writeAdmin(w, c.assigned);
  w.field("last_update", c.last.created);
  w.field("unread_parts_count", c.unreadByAdmin);
  w.field("body_json", nullptr);
  w.field("user_unread_count", c.unreadByUser);
  w.field("expirationTime", nullptr);
  w.field("closed", c.closed);
  w.field("assigned", c.assigned);
  w.endObject();
}

void writeCategory(JsonWriter& w, const CategoryRow& category) {
  w.beginObject();
  w.field("id", std::to_string(category.id));
  w.field("name", category.name);
  w.field("icon", category.icon);
  w.field("articles_counter", category.articles);
  w.endObject();
}

void writeArticle(JsonWriter& w, const ArticleRow& article, bool withContent, bool quote) {
  w.beginObject();
  w.field("id", std::to_string(article.id));
  w.field("name", article.name);
  w.field(quote ? "quote" : "short_description", article.shortDescription);
  if (withContent) w.field("content", article.content);
  w.field("category_id", std::to_string(article.categoryId));
  w.endObject();
}

void writeSession(JsonWriter& w, const AppRow& app, const UserRow& user, const std::string& token,
                  bool hasConversations) {
  w.beginObject();
  w.field("auth_token", token);
  w.key("user");
  w.beginObject();
  w.field("id", std::to_string(user.id));
  w.field("is_banned", false);
  w.field("has_conversations", hasConversations);
  w.key("conversations_unread");
  w.beginArray();
  w.endArray();
  w.endObject();
  w.key("app");
  w.beginObject();
  w.field("id", std::to_string(app.id));
  w.field("name", app.name);
  w.key("settings");
  w.beginObject();
  w.field("messenger_collapsed_color", "#2c7be5");
  w.field("messenger_avatar", "");
  w.field("messenger_welcome_message", "Здравствуйте! Чем можем помочь? / Hello! How can we help?");
  w.field("messenger_show_powered_by", true);
  for (const char* name : {"vk", "viber", "facebook", "telegram"}) {
    w.field(std::string("messenger_icon_") + name + "_show", false);
    w.field(std::string("messenger_icon_") + name + "_text", "");
  }
  w.endObject();
  w.endObject();
  w.endObject();
}

std::string envelope(int status, const std::string& dataJson) {
  return "{\"meta\":{\"status\":" + std::to_string(status) + "},\"data\":" + dataJson + "}";
}

std::string errorEnvelope(int status, const std::string& error, const std::string& message) {
  JsonWriter w;
  w.beginObject();
  w.key("meta");
  w.beginObject();
  w.field("status", status);
  w.field("error", error);
  w.field("error_message", message);
  w.endObject();
  w.field("data", nullptr);
  w.endObject();
  return std::move(w).take();
}

}  // namespace tavrel::service
