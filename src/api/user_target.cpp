#include <variant>

#include "tavrel/api/user_service.h"
#include "tavrel/core/overloaded.h"

namespace tavrel {

std::string UserTarget::path() const {
  return std::visit(Overloaded{
                        [](const Connect&) -> std::string { return "connect"; },
                        [](const Auth&) -> std::string { return "auth/userappauth"; },
                        [this](const SetPresence&) { return "users/" + userId() + "/setpresence"; },
                    },
                    case_);
}

Parameters UserTarget::bodyParameters() const {
  return std::visit(Overloaded{
                        [](const Connect& c) {
                          return Parameters{
                              {"start_session_random_id", c.sessionId},
                              {"api_key", c.apiKey},
                              {"start_session", c.startSession},
                              {"include_auto_events", c.includeAutoEvents},
                              {"include_js_scripts", c.includeJsScripts},
                              {"include_push_domain", c.includePushDomains},
                              {"browser", c.browser},
                              {"os", c.os},
                              {"device", c.device},
                              {"device_type", c.deviceType},
                              {"token_type", "usersdkios"},
                          };
                        },
                        [](const Auth& a) {
                          return Parameters{{"user_id", a.userId}, {"hash", a.hash}};
                        },
                        [](const SetPresence&) {
                          return Parameters{{"presence", "online"}};
                        },
                    },
                    case_);
}

Task UserTarget::task() const {
  return Task::requestCompositeParameters(bodyParameters(), URLEncoding::httpBody(), {});
}

}  // namespace tavrel
