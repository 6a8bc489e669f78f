#pragma once
// Conversations: ConversationTraget describes the five endpoints (list, read
// one, start, reply, mark read) and ConversationService sends them. The list
// lives under "{path_root}", which the provider turns into "apps/<app id>" in
// app mode and "users/<user id>" in sdk mode.
//
// Ids must be the service's own, as its answers gave them. An id goes into
// the request's path as it is, and the provider decodes and re-encodes the
// whole URL, so "../", "?" or "#" in one would change the path and the query
// of the request. A host that takes ids from people checks them first.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/api/tavrel_service.h"
#include "tavrel/api/tavrel_target.h"
#include "tavrel/core/json_value.h"
#include "tavrel/model/dialog.h"
#include "tavrel/model/response.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

// An envelope whose "data" may be JSON null, which gives an absent value;
// a missing "data" still fails.
template <>
inline Response<std::optional<JsonValue>> Response<std::optional<JsonValue>>::decode(
    const JsonNode& node) {
  auto keys = node.object();
  Meta meta = keys.decode<Meta>("meta");
  JsonNode data = keys.at("data");
  std::optional<JsonValue> value;
  if (!data.isNull()) value = data.decode<JsonValue>();
  return Response{std::move(meta), std::move(value)};
}

class ConversationTraget : public TavrelTarget {
 public:
  // GET "{path_root}/conversations": one page of the conversation list.
  struct Get {
    std::string after;              // cursor; sent percent-encoded twice
    bool paginateIncluding = false;  // whether the cursor element is included
    std::string paginateDirection;  // "before" walks backwards
  };
  // GET "conversations/<dialogId>".
  struct GetDialog {
    std::string dialogId;
  };
  // POST "users/{user_id}/startconversation" with the form field "body".
  struct Start {
    std::string message;
  };
  // POST "conversations/<dialogId>/reply" with "body", "from_user" (1 or 0),
  // "random_id" and "type".
  struct Reply {
    bool isFromUser = false;
    std::string dialogId;
    std::string body;
    std::string randomId;
    std::string type;
  };
  // POST "conversations/<dialogId>/markread".
  struct MarkRead {
    std::string dialogId;
  };

  using Case = std::variant<Get, GetDialog, Start, Reply, MarkRead>;

  ConversationTraget(Case value) : case_(std::move(value)) {}  // NOLINT: a case is a target
  static ConversationTraget get(std::string after, bool paginateIncluding,
                                std::string paginateDirection) {
    return ConversationTraget(
        Get{std::move(after), paginateIncluding, std::move(paginateDirection)});
  }
  static ConversationTraget getDialog(std::string dialogId) {
    return ConversationTraget(GetDialog{std::move(dialogId)});
  }
  static ConversationTraget start(std::string message) {
    return ConversationTraget(Start{std::move(message)});
  }
  static ConversationTraget reply(bool isFromUser, std::string dialogId, std::string body,
                                  std::string randomId, std::string type) {
    return ConversationTraget(Reply{isFromUser, std::move(dialogId), std::move(body),
                                    std::move(randomId), std::move(type)});
  }
  static ConversationTraget markRead(std::string dialogId) {
    return ConversationTraget(MarkRead{std::move(dialogId)});
  }

  const Case& value() const noexcept { return case_; }

  std::string path() const override;
  Method method() const override;
  // URLEncoding.default of the case's parameters (query for GET, form body
  // for POST); requestPlain for the cases without parameters.
  Task task() const override;
  bool isConversationTarget() const override { return true; }

 private:
  Case case_;
};

class ConversationService : public TavrelService<ConversationTraget> {
 public:
  // A dialog id that is empty or not all decimal digits. Raised nowhere: a
  // reply to such an id is still sent (and noted on the debug console).
  enum class ConversationError { invalidDialogId };

  // networkSettings may be null: requests then keep their placeholders,
  // carry no "auth_token", and replies are not from the user.
  explicit ConversationService(std::shared_ptr<NetworkSettings> networkSettings = nullptr,
                               HttpTransport* transport = nullptr)
      : TavrelService(std::move(networkSettings), transport) {}

  // One page of conversations before the cursor `after` (excluded). Shared:
  // one request for all subscribers, the answer replayed to later ones.
  rx::Observable<Result<Response<std::vector<Dialog>>>> getDialogs(std::string after) const;
  // One conversation. Shared like getDialogs.
  rx::Observable<Result<Response<Dialog>>> get(std::string dialogId) const;
  // Starts a conversation with a first message; the id of the new one.
  rx::Observable<Result<Response<SimpleId>>> start(std::string message) const;
  // Sends a message to a conversation. randomId is the caller's own, so that
  // the message can be matched when it comes back; "from_user" is 1 exactly
  // in sdk mode.
  rx::Observable<Result<Response<SimpleId>>> reply(std::string dialogId, std::string message,
                                                   std::string randomId,
                                                   std::string type) const;
  // Marks a conversation read; the answer's data may be null.
  rx::Observable<Result<Response<std::optional<JsonValue>>>> markRead(
      std::string dialogId) const;

  // Whether a dialog id is well formed: not empty, only the digits 0 to 9.
  static bool isValidDialogId(std::string_view dialogId) noexcept;
};

}  // namespace tavrel
