#pragma once
// The routes of the service as plain data in, plain data out: no sockets,
// so that every route can be driven directly (tests, fuzzing) as well as by
// the HTTP sessions.
//
// The HTTP API lives under "/api/v1/": each answer is the envelope
// {"meta":{"status":N,"error":..,"error_message":..},"data":..} with the
// records in the shapes the library decodes. Conversation parts are paged
// newest page first, each page oldest part first, with the cursor of the
// page before in "next_before_position"; conversations newest first, with
// "next_after".
//
// A visitor's token opens that visitor's routes and channels. The
// application-wide form "appm-APP-SECRET" (the library's app mode, with the
// application's identity secret as the token) opens every visitor's, and its
// replies with "from_user" 0 are the operator's. The operator's routes live
// under "/operator/" and take the same secret in the header "X-Tavrel-Secret".
//
// Frames pushed to visitors (the "message" of each):
//   conversation_reply     a conversation part, as a message record
//   conversation_typing    {"conversation":ID,"from":ADMIN}
//   conversation_read      {"conversation":ID}
//   conversation_assigned  {"conversation":ID,"admin":ADMIN}
//   conversation           a conversation, as a dialog record (new, closed)

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <variant>

#include "service/form.h"
#include "service/hub.h"
#include "service/store.h"

namespace tavrel::service {

struct Request {
  std::string method;  // "GET", "POST", ...
  std::string target;  // path and query, "/api/v1/connect?id_as_string=1"
  std::string contentType;
  std::string body;
  std::string secret;  // the "X-Tavrel-Secret" header, for the operator's routes
};

struct Reply {
  int status = 200;
  std::string body;  // JSON
};

// Who may open a real-time connection, on which channels, from where.
struct SocketGrant {
  std::int64_t appId = 0;
  std::int64_t userId = 0;  // 0: the whole application
  std::set<std::string> channels;
  std::optional<std::string> tag;
  std::optional<std::string> time;
};

class Router {
 public:
  Router(Store& store, FrameHub& hub);

  // Called after a visitor's new part is stored and pushed (the bot hooks in here).
  std::function<void(const ConversationRow&, const PartRow&)> onVisitorPart;

  Reply handle(const Request& request);

  // "/rts/<channel>.<app>[.<user>]/...?auth_token=T[&tag=..&time=..]": the
  // grant, or the refusal to send instead of the upgrade.
  std::variant<SocketGrant, Reply> authorizeSocket(const std::string& target);

  // Stores an operator's part and pushes it; nothing for an unknown conversation.
  std::optional<PartRow> operatorReply(std::int64_t conversationId, const std::string& body,
                                       bool person, const std::string& randomId = "");
  // Pushes "conversation_typing" from the operator side.
  void operatorTyping(const ConversationRow& conversation, bool person);

 private:
  struct Caller;
  struct Call;
  Reply api(Call& call);
  Reply operatorApi(Call& call);
  Reply connect(Call& call);
  Reply auth(Call& call);
  Reply conversationRoute(Call& call, const Caller& caller);
  Reply userRoute(Call& call, const Caller& caller);
  Reply knowledgeBase(Call& call, const Caller& caller);
  std::variant<Caller, Reply> caller(const Params& params);
  std::variant<ConversationRow, Reply> ownConversation(const Caller& caller, const std::string& id);
  Reply dialogList(const Caller& caller, std::optional<std::int64_t> userId, const Params& params);
  void pushPart(const ConversationRow& conversation, const PartRow& part);
  void pushDialog(const ConversationRow& conversation);

  Store& store_;
  FrameHub& hub_;
};

}  // namespace tavrel::service
