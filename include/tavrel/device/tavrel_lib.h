#pragma once
// TavrelLib: the library's entry point. Reading `shared()` brings up
// AppStateService and then ReachabilityService, so both watch the platform
// from then on. Choose a connectivity backend, if not the default, first.

namespace tavrel {

class TavrelLib {
 public:
  static TavrelLib& shared();

  TavrelLib(const TavrelLib&) = delete;
  TavrelLib& operator=(const TavrelLib&) = delete;

 private:
  TavrelLib();
};

}  // namespace tavrel
