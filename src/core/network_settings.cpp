#include "tavrel/core/network_settings.h"

namespace tavrel {

std::string NetworkSettings::getToken() const {
  if (connection == ConnectionType::app) return "appm-" + appId + "-" + token;
  return token;
}

}  // namespace tavrel
