#pragma once
// The messages of one conversation: MessageTarget describes the two endpoints
// (a page of messages, a message's metadata) and MessageService sends them.
// Their keys are those of CodingKeys, so the paging flag goes out as
// "paginate_include" here, where the conversation list says
// "paginate_including".
//
// Ids must be the service's own, as its answers gave them. An id goes into
// the request's path as it is, and the provider decodes and re-encodes the
// whole URL, so "../", "?" or "#" in one would change the path and the query
// of the request. A host that takes ids from people checks them first.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/api/tavrel_service.h"
#include "tavrel/api/tavrel_target.h"
#include "tavrel/core/json_value.h"
#include "tavrel/model/message.h"
#include "tavrel/model/response.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

class MessageTarget : public TavrelTarget {
 public:
  // GET "conversations/<dialogId>/parts": the newest page without a
  // position; with one, the page before it ("after", "paginate_include"
  // "false", "paginate_direction" "before").
  struct GetMessages {
    std::string dialogId;
    std::optional<std::string> position;
  };
  // POST "conversationparts/<messageId>/meta_data" with the form field
  // "meta_data" in the body.
  struct UpdateMessage {
    std::string messageId;
    std::string metaData;
  };

  using Case = std::variant<GetMessages, UpdateMessage>;

  MessageTarget(Case value) : case_(std::move(value)) {}  // NOLINT: a case is a target
  static MessageTarget getMessages(std::string dialogId, std::optional<std::string> position) {
    return MessageTarget(GetMessages{std::move(dialogId), std::move(position)});
  }
  static MessageTarget updateMessage(std::string messageId, std::string metaData) {
    return MessageTarget(UpdateMessage{std::move(messageId), std::move(metaData)});
  }

  const Case& value() const noexcept { return case_; }

  std::string path() const override;
  Method method() const override;
  Task task() const override;

 private:
  Case case_;
};

class MessageService : public TavrelService<MessageTarget> {
 public:
  // networkSettings may be null: requests then keep their placeholders and
  // carry no "auth_token".
  explicit MessageService(std::shared_ptr<NetworkSettings> networkSettings = nullptr,
                          HttpTransport* transport = nullptr)
      : TavrelService(std::move(networkSettings), transport) {}

  // A page of a conversation's messages: the newest without a position, the
  // one before position (excluded) with it. One request per subscription.
  rx::Observable<Result<Response<std::vector<Message>>>> getMessages(
      std::string dialogId, std::optional<std::string> position = std::nullopt) const;
  // Replaces a message's metadata with the text meta (sent as a plain form
  // field, not as nested JSON).
  rx::Observable<Result<Response<JsonValue>>> updateMessage(std::string messageId,
                                                            std::string meta) const;
};

}  // namespace tavrel
