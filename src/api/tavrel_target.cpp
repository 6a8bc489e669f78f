#include "tavrel/api/tavrel_target.h"

#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"
#include "tavrel/core/url.h"

namespace tavrel {

std::string TavrelTarget::baseURL() const {
  auto configured = InfoPlist::shared().getValue(InfoPlist::Keys::apiUrl);
  if (!configured || configured->empty()) {
    debugPrint("apiUrl is not exist in Plist");
    return std::string(defaultApiUrl);
  }
  if (!Url::parse(*configured)) {
    debugPrint("apiUrl is no URL: " + *configured);
    return std::string(defaultApiUrl);
  }
  return *configured;
}

}  // namespace tavrel
