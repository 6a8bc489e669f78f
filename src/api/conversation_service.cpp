#include "tavrel/api/conversation_service.h"

#include <algorithm>

#include "tavrel/core/log.h"
#include "tavrel/core/overloaded.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/core/resources.h"

namespace tavrel {
namespace {

std::string key(std::string_view name) { return std::string(name); }

}  // namespace

std::string ConversationTraget::path() const {
  return std::visit(
      Overloaded{
          [this](const Get&) { return pathPrefix() + "/conversations"; },
          [](const GetDialog& c) { return "conversations/" + c.dialogId; },
          [this](const Start&) { return "users/" + userId() + "/startconversation"; },
          [](const Reply& c) { return "conversations/" + c.dialogId + "/reply"; },
          [](const MarkRead& c) { return "conversations/" + c.dialogId + "/markread"; },
      },
      case_);
}

Method ConversationTraget::method() const {
  return std::holds_alternative<Get>(case_) || std::holds_alternative<GetDialog>(case_)
             ? Method::get
             : Method::post;
}

Task ConversationTraget::task() const {
  return std::visit(
      Overloaded{
          [](const Get& c) {
            Parameters parameters{
                {key(R::json::paginateIncluding), c.paginateIncluding},
                {key(R::json::paginateDirection), c.paginateDirection},
            };
            // The cursor is encoded here once, and once more by the form
            // encoder: the service expects it that way.
            parameters.emplace(key(R::json::after),
                               percentEncode(c.after, charset::urlQueryAllowed()));
            return Task::requestParameters(std::move(parameters), URLEncoding::default_());
          },
          [](const GetDialog&) { return Task::requestPlain(); },
          [](const Start& c) {
            return Task::requestParameters({{key(R::json::body), c.message}},
                                           URLEncoding::default_());
          },
          [](const Reply& c) {
            return Task::requestParameters(
                {
                    {key(R::json::body), c.body},
                    {key(R::json::fromUser), c.isFromUser},
                    {key(R::json::randomId), c.randomId},
                    {key(R::json::type), c.type},
                },
                URLEncoding::default_());
          },
          [](const MarkRead&) { return Task::requestPlain(); },
      },
      case_);
}

rx::Observable<Result<Response<std::vector<Dialog>>>> ConversationService::getDialogs(
    std::string after) const {
  auto target = ConversationTraget::get(std::move(after), false, std::string(R::json::before));
  return provider().rx().request<std::vector<Dialog>>(target).shareReplay1(
      rx::SubjectLifetimeScope::forever);
}

rx::Observable<Result<Response<Dialog>>> ConversationService::get(std::string dialogId) const {
  return provider()
      .rx()
      .request<Dialog>(ConversationTraget::getDialog(std::move(dialogId)))
      .shareReplay1(rx::SubjectLifetimeScope::forever);
}

rx::Observable<Result<Response<SimpleId>>> ConversationService::start(std::string message) const {
  return provider().rx().request<SimpleId>(ConversationTraget::start(std::move(message)));
}

rx::Observable<Result<Response<SimpleId>>> ConversationService::reply(std::string dialogId,
                                                                      std::string message,
                                                                      std::string randomId,
                                                                      std::string type) const {
  const auto& settings = networkSettings();
  bool isFromUser = settings && settings->connection == NetworkSettings::ConnectionType::sdk;
  if (!isValidDialogId(dialogId)) {
    debugPrint("ZEBOK: reply to a dialog id that is not a number: \"" + dialogId + "\"");
  }
  return provider().rx().request<SimpleId>(ConversationTraget::reply(
      isFromUser, std::move(dialogId), std::move(message), std::move(randomId), std::move(type)));
}

rx::Observable<Result<Response<std::optional<JsonValue>>>> ConversationService::markRead(
    std::string dialogId) const {
  return provider().rx().request<std::optional<JsonValue>>(
      ConversationTraget::markRead(std::move(dialogId)));
}

bool ConversationService::isValidDialogId(std::string_view dialogId) noexcept {
  return !dialogId.empty() &&
         std::all_of(dialogId.begin(), dialogId.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace tavrel
