#include "tavrel/api/event_prop_service.h"

#include "tavrel/core/json_writer.h"
#include "tavrel/core/resources.h"

namespace tavrel {
namespace {

std::string key(std::string_view name) { return std::string(name); }

}  // namespace

std::string EventPropTarget::path() const {
  return "users/" + userId() + (std::holds_alternative<SendEvent>(case_) ? "/events" : "/props");
}

Task EventPropTarget::task() const {
  Parameters body;
  if (const auto* c = std::get_if<SendEvent>(&case_)) {
    body = {
        {key(R::json::userId), userId()},
        {key(R::json::event), c->event},
        {key(R::json::params), c->params},
    };
  } else {
    body = {{key(R::json::operations), std::get<SendProps>(case_).operations}};
  }
  return Task::requestCompositeParameters(std::move(body), URLEncoding::httpBody(), {});
}

Parameters EventPropTarget::settingFields() const { return {{key(R::json::userId), userId()}}; }

rx::Observable<Result<Response<JsonValue>>> EventPropService::trackEvent(
    std::string name, std::string params) const {
  return provider().rx().request<JsonValue>(
      EventPropTarget::sendEvent(std::move(name), std::move(params)));
}

rx::Observable<Result<Response<JsonValue>>> EventPropService::setUserProperty(
    const std::vector<UserProperty>& properties) const {
  JsonWriter writer;
  writer.write(properties);
  // The writer refuses text that is no valid UTF-8, so what it gives is text.
  if (writer.failed()) return rx::empty<Result<Response<JsonValue>>>();
  return provider().rx().request<JsonValue>(
      EventPropTarget::sendProps(std::move(writer).take()));
}

}  // namespace tavrel
