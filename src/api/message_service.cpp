#include "tavrel/api/message_service.h"

#include "tavrel/core/resources.h"
#include "tavrel/model/coding_keys.h"

namespace tavrel {
namespace {

std::string key(CodingKeys name) { return std::string(rawValue(name)); }

}  // namespace

std::string MessageTarget::path() const {
  if (const auto* c = std::get_if<GetMessages>(&case_)) {
    return "conversations/" + c->dialogId + "/parts";
  }
  return "conversationparts/" + std::get<UpdateMessage>(case_).messageId + "/meta_data";
}

Method MessageTarget::method() const {
  return std::holds_alternative<GetMessages>(case_) ? Method::get : Method::post;
}

Task MessageTarget::task() const {
  if (const auto* c = std::get_if<GetMessages>(&case_)) {
    if (!c->position) return Task::requestPlain();
    return Task::requestParameters(
        {
            {key(CodingKeys::after), *c->position},
            {key(CodingKeys::paginateIncluding), std::string(R::json::fals)},
            {key(CodingKeys::paginateDirection), std::string(R::json::before)},
        },
        URLEncoding::default_());
  }
  return Task::requestCompositeParameters(
      {{key(CodingKeys::metaData), std::get<UpdateMessage>(case_).metaData}},
      URLEncoding::httpBody(), {});
}

rx::Observable<Result<Response<std::vector<Message>>>> MessageService::getMessages(
    std::string dialogId, std::optional<std::string> position) const {
  return provider().rx().request<std::vector<Message>>(
      MessageTarget::getMessages(std::move(dialogId), std::move(position)));
}

rx::Observable<Result<Response<JsonValue>>> MessageService::updateMessage(std::string messageId,
                                                                          std::string meta) const {
  return provider().rx().request<JsonValue>(
      MessageTarget::updateMessage(std::move(messageId), std::move(meta)));
}

}  // namespace tavrel
