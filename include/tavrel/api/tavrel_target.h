#pragma once
// TavrelTarget: the description of one endpoint of the service's HTTP API.
// A target writes the placeholders "{path_root}", "{user_id}" and "{app_id}"
// into its path and its parameters; TavrelProvider fills them in from the
// NetworkSettings it holds when the request is made.

#include <string>
#include <string_view>

#include "tavrel/http/parameter_encoding.h"
#include "tavrel/http/target_type.h"

namespace tavrel {

class TavrelTarget : public TargetType {
 public:
  // The address used when the main bundle names no "apiUrl".
  static constexpr std::string_view defaultApiUrl = "https://api.tavrelhub.io/api/v1/";

  // The "apiUrl" of the main bundle's Info.plist; defaultApiUrl (and the
  // debug line "apiUrl is not exist in Plist") when there is none.
  std::string baseURL() const override;

  // Further URL parameters by name; their text values may hold the
  // placeholders. None by default.
  virtual Parameters settingFields() const { return {}; }

  // The placeholder of the conversation path root: "{path_root}".
  virtual std::string pathPrefix() const { return "{path_root}"; }
  // The placeholder of the visitor's id: "{user_id}".
  virtual std::string userId() const { return "{user_id}"; }
  // The placeholder of the application's id: "{app_id}".
  virtual std::string appId() const { return "{app_id}"; }

  // True for the conversation targets, whose pathPrefix becomes "apps/{app_id}"
  // in app mode and "users/{user_id}" in sdk mode.
  virtual bool isConversationTarget() const { return false; }

 protected:
  TavrelTarget() = default;
  TavrelTarget(const TavrelTarget&) = default;
  TavrelTarget& operator=(const TavrelTarget&) = default;
};

}  // namespace tavrel
