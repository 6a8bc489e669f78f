#include "tavrel/device/tavrel_lib.h"

#include "tavrel/device/app_state_service.h"
#include "tavrel/device/reachability_service.h"

namespace tavrel {

TavrelLib& TavrelLib::shared() {
  static TavrelLib instance;
  return instance;
}

TavrelLib::TavrelLib() {
  AppStateService::shared();
  ReachabilityService::shared();
}

}  // namespace tavrel
