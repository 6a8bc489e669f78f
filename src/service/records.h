#pragma once
// The records of the service's answers and frames as JSON text, in the
// shapes the library's decoders read: a conversation part as a message, a
// conversation as a dialog, a visitor's session as connect answers it.

#include <string>

#include "service/store.h"

namespace tavrel {
class JsonWriter;
}

namespace tavrel::service {

// The operator side as the visitor sees it.
void writeAdmin(JsonWriter& w, bool person);
void writeMessage(JsonWriter& w, const PartRow& part, bool assigned);
void writeDialog(JsonWriter& w, const ConversationRow& c);
void writeCategory(JsonWriter& w, const CategoryRow& category);
// `quote`: a search hit, with "quote" instead of "short_description" and no content.
void writeArticle(JsonWriter& w, const ArticleRow& article, bool withContent, bool quote);
// The "data" of a connect answer: token, user and app with its messenger settings.
void writeSession(JsonWriter& w, const AppRow& app, const UserRow& user, const std::string& token,
                  bool hasConversations);

// The envelope: {"meta":{"status":N},"data":DATA} with DATA as JSON text.
std::string envelope(int status, const std::string& dataJson);
// {"meta":{"status":N,"error":E,"error_message":M},"data":null}
std::string errorEnvelope(int status, const std::string& error, const std::string& message);

}  // namespace tavrel::service
