#pragma once
// MoyaProvider<Target>: turns targets into requests and sends them on an
// HttpTransport. For each request: endpoint(target) (overridable), the
// endpoint's request, each plugin's prepare and willSend, the transport; then
// validation, each plugin's didReceive and process, and the completion.
// Everything after the transport runs on its callback queue (see
// http_transport.h), failures before sending too; a plugin that throws in
// prepare or willSend fails the request, one that throws in didReceive or
// process is written to the debug sink and changes nothing.

#include <functional>
#include <memory>
#include <vector>

#include "tavrel/http/endpoint.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/http/plugin.h"
#include "tavrel/http/target_type.h"
#include "tavrel/rx/single.h"

namespace tavrel {

// The part of every provider that does not depend on the target type.
class MoyaProviderBase {
 public:
  using Completion = std::function<void(MoyaResult)>;

  // transport: where requests go; the shared one when null. It must outlive
  // the provider's requests.
  explicit MoyaProviderBase(std::vector<std::shared_ptr<PluginType>> plugins = {},
                            HttpTransport* transport = nullptr);
  virtual ~MoyaProviderBase() = default;

  const std::vector<std::shared_ptr<PluginType>>& plugins() const noexcept { return plugins_; }
  HttpTransport& session() const noexcept { return *transport_; }

 protected:
  MoyaProviderBase(const MoyaProviderBase&) = default;
  MoyaProviderBase& operator=(const MoyaProviderBase&) = default;

  // Sends what endpoint describes for target; completion runs exactly once.
  RequestHandle perform(std::shared_ptr<const TargetType> target, const Endpoint& endpoint,
                        Completion completion) const;

 private:
  std::vector<std::shared_ptr<PluginType>> plugins_;
  HttpTransport* transport_;
};

// The interface of a provider of one target type, for code that wants to
// stand in for one (tests, decorators).
// A single that sends `target` through `provider` at each subscription and
// succeeds with the answer or fails with the MoyaError; disposing cancels the
// request. `keepAlive`, if any, is held for as long as the single exists.
template <class Provider, class Target>
rx::Single<HttpResponse> requestSingle(const Provider& provider, const Target& target,
                                       std::shared_ptr<const void> keepAlive = nullptr) {
  return rx::Single<HttpResponse>::create(
      [keepAlive, provider = &provider, target](const rx::SingleObserver<HttpResponse>& observer) {
        auto handle = provider->request(target, [observer](MoyaResult result) {
          if (auto* response = std::get_if<HttpResponse>(&result)) {
            observer.onSuccess(*response);
          } else {
            observer.onError(std::make_exception_ptr(std::get<MoyaError>(std::move(result))));
          }
        });
        return rx::Disposable::create([handle] { handle.cancel(); });
      });
}

template <class Target>
class MoyaProviderType {
 public:
  virtual ~MoyaProviderType() = default;
  // Sends the target's request; the completion runs exactly once.
  virtual RequestHandle request(const Target& target,
                                MoyaProviderBase::Completion completion) const = 0;
};

template <class Target>
class MoyaProvider : public MoyaProviderBase, public MoyaProviderType<Target> {
  static_assert(std::is_base_of_v<TargetType, Target>, "a target derives from TargetType");

 public:
  using MoyaProviderBase::MoyaProviderBase;

  // The endpoint of a target; override to change URL, task or headers.
  // Called on the thread that makes the request, at that moment.
  virtual Endpoint endpoint(const Target& target) const { return defaultEndpointMapping(target); }

  // Sends the target's request; the completion gets the answer (whatever its
  // status, unless the target validates) or the MoyaError.
  RequestHandle request(const Target& target, Completion completion) const override {
    auto copy = std::make_shared<const Target>(target);
    return perform(copy, endpoint(*copy), std::move(completion));
  }

  // The reactive face of a provider: provider.rx().request(target).
  class Reactive {
   public:
    explicit Reactive(const MoyaProviderType<Target>& provider) : provider_(&provider) {}

    // A single that sends the request at each subscription and succeeds with
    // the answer, or fails with the MoyaError (a failure below HTTP is
    // underlying with its URLError). It delivers on the callback queue; disposing
    // of the subscription cancels the request. The provider must still be
    // alive when the single is subscribed.
    rx::Single<HttpResponse> request(const Target& target) const {
      return requestSingle(*provider_, target);
    }

   private:
    const MoyaProviderType<Target>* provider_;
  };

  Reactive rx() const { return Reactive(*this); }
};

}  // namespace tavrel
