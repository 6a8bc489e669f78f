#pragma once
// Events and user properties: what the host records about the visitor.
// EventPropTarget describes the two endpoints and EventPropService sends
// them. Both are write-only: nobody reads the data of the answer.

#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/api/tavrel_service.h"
#include "tavrel/api/tavrel_target.h"
#include "tavrel/core/json_value.h"
#include "tavrel/model/response.h"
#include "tavrel/model/user_property.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

class EventPropTarget : public TavrelTarget {
 public:
  // POST "users/{user_id}/events" with the form fields "user_id" (the
  // placeholder's text: the body is not resolved, the id that counts is in
  // the path and the query), "event" and "params".
  struct SendEvent {
    std::string event;
    std::string params;  // the caller's text, sent unchanged
  };
  // POST "users/{user_id}/props" with the form field "operations", the JSON
  // text of a list of property changes.
  struct SendProps {
    std::string operations;
  };

  using Case = std::variant<SendEvent, SendProps>;

  EventPropTarget(Case value) : case_(std::move(value)) {}  // NOLINT: a case is a target
  static EventPropTarget sendEvent(std::string event, std::string params) {
    return EventPropTarget(SendEvent{std::move(event), std::move(params)});
  }
  static EventPropTarget sendProps(std::string operations) {
    return EventPropTarget(SendProps{std::move(operations)});
  }

  const Case& value() const noexcept { return case_; }

  std::string path() const override;
  Method method() const override { return Method::post; }
  // The case's fields as a form body (URLEncoding httpBody), no URL
  // parameters of its own.
  Task task() const override;
  // "user_id" = "{user_id}", so that the query carries the resolved id.
  Parameters settingFields() const override;

 private:
  Case case_;
};

class EventPropService : public TavrelService<EventPropTarget> {
 public:
  // networkSettings may be null: requests then keep their placeholders and
  // carry no "auth_token".
  explicit EventPropService(std::shared_ptr<NetworkSettings> networkSettings = nullptr,
                            HttpTransport* transport = nullptr)
      : TavrelService(std::move(networkSettings), transport) {}

  // Records the event name with params, a text the caller has prepared.
  rx::Observable<Result<Response<JsonValue>>> trackEvent(std::string name,
                                                         std::string params) const;
  // Sends the changes as one JSON array ("op", "key", "value" per element, in
  // the order given; [] for none). A list that cannot be written as JSON
  // (text that is no valid UTF-8) sends nothing: the stream just completes.
  rx::Observable<Result<Response<JsonValue>>> setUserProperty(
      const std::vector<UserProperty>& properties) const;
};

}  // namespace tavrel
