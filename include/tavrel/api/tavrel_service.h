#pragma once
// TavrelService<Target>: the base of the API services. It keeps the settings
// it was made with and one TavrelProvider of its target type, which logs
// every request through a verbose NetworkLoggerPlugin (secrets masked).
//
//   class KnowledgeBaseService : public TavrelService<KnowledgeBaseTarget> {
//     rx::Observable<Result<Response<std::vector<Category>>>> categories() const {
//       return provider().rx().request<std::vector<Category>>(KnowledgeBaseTarget::...);
//     }
//   };

#include <memory>
#include <utility>

#include "tavrel/api/tavrel_provider.h"
#include "tavrel/core/network_settings.h"
#include "tavrel/http/network_logger_plugin.h"

namespace tavrel {

template <class Target>
class TavrelService {
 public:
  // networkSettings may be null (before connect); the provider then sends
  // no "auth_token". transport: where requests go; the shared one when null.
  explicit TavrelService(std::shared_ptr<NetworkSettings> networkSettings,
                         HttpTransport* transport = nullptr)
      : networkSettings_(networkSettings),
        provider_(std::make_shared<TavrelProvider<Target>>(
            std::move(networkSettings),
            std::vector<std::shared_ptr<PluginType>>{std::make_shared<NetworkLoggerPlugin>(true)},
            transport)) {}
  virtual ~TavrelService() = default;
  TavrelService(const TavrelService&) = delete;
  TavrelService& operator=(const TavrelService&) = delete;

  // The settings passed at construction, or null.
  const std::shared_ptr<NetworkSettings>& networkSettings() const noexcept {
    return networkSettings_;
  }
  // The provider that sends this service's requests.
  TavrelProvider<Target>& provider() const noexcept { return *provider_; }

 private:
  std::shared_ptr<NetworkSettings> networkSettings_;
  std::shared_ptr<TavrelProvider<Target>> provider_;
};

}  // namespace tavrel
