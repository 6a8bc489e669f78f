#pragma once
// The credentials shared by every service, provider and socket of a session.
// The host builds one object and passes the same shared pointer everywhere;
// it has no lock: the library only reads it, a host changes it between requests.

#include <string>
#include <utility>

namespace tavrel {

class NetworkSettings {
 public:
  // Which API mode is in use: the whole application, or one visitor.
  enum class ConnectionType { app, sdk };

  NetworkSettings(ConnectionType connectionType, std::string authToken, std::string applicationId,
                  std::string visitorId)
      : token(std::move(authToken)),
        appId(std::move(applicationId)),
        userId(std::move(visitorId)),
        connection(connectionType) {}

  std::string token;              // the visitor's authorisation token
  std::string appId;              // the application's id in the service
  std::string userId;             // the visitor's id in the service
  ConnectionType connection;      // which of the two API modes is in use

  // The value sent as "auth_token": "appm-" + appId + "-" + token in app
  // mode, the token unchanged in sdk mode.
  std::string getToken() const;
};

}  // namespace tavrel
