#include "tavrel/model/user.h"

#include "tavrel/core/log.h"

namespace tavrel {

User User::decode(const JsonNode& node) {
  auto data = node.object().nestedObject("data");
  User user;
  user.token = data.decodeLenient<std::string>("auth_token");

  auto visitor = data.nestedObject("user");
  user.id = visitor.decode<std::string>("id");
  user.hasConversations = visitor.decode<bool>("has_conversations");
  debugPrint(std::string("hasConversations = ") + (user.hasConversations ? "true" : "false"));
  user.isBanned = visitor.decode<bool>("is_banned");
  user.conversationsUnread = visitor.decode<std::vector<std::string>>("conversations_unread");

  user.appId = data.nestedObject("app").decode<std::string>("id");
  return user;
}

Auth Auth::decode(const JsonNode& node) {
  auto data = node.object().nestedObject("data");
  Auth auth;
  auth.result = data.decode<std::string>("result");
  if (auth.result == "user_changing") {
    data.decode<std::string>("auth_token");
    data.nestedObject("user").decode<std::string>("id");
  }
  return auth;
}

}  // namespace tavrel
