#pragma once
// TavrelProvider<Target>: the one place where a target becomes a request and
// an answer becomes a Result. It fills the target's placeholders from the
// NetworkSettings it holds at the moment each request is built, adds
// "auth_token" and "id_as_string", and decodes the answer envelope:
//
//   status >= 400: Response<JsonValue> -> Result error custom(meta.printError()),
//                  a body that is no envelope fails the stream (DecodingError);
//   status <  400: Response<T> -> Result success, a body that is no envelope
//                  of T -> error custom("ошибка десериализации модели Response<T>").
//
// Failures below HTTP fail the stream with the MoyaError of the HTTP layer.

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "tavrel/api/tavrel_target.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/network_settings.h"
#include "tavrel/core/result.h"
#include "tavrel/http/moya_provider.h"
#include "tavrel/model/response.h"
#include "tavrel/rx/observable.h"
#include "tavrel/rx/single.h"

namespace tavrel {

// The text of the refusal of a task that the provider cannot rewrite.
inline constexpr const char* kTaskNotOverriden = "Task not overriden fix this";

// What every Tavrel provider offers besides sending: its settings.
class TavrelProviderProtocol {
 public:
  virtual ~TavrelProviderProtocol() = default;
  // Replaces the settings; the next request built uses them.
  virtual void set(std::shared_ptr<NetworkSettings> settings) = 0;
  // The settings in use, or null.
  virtual std::shared_ptr<NetworkSettings> settings() const = 0;

 protected:
  TavrelProviderProtocol() = default;
  TavrelProviderProtocol(const TavrelProviderProtocol&) = default;
  TavrelProviderProtocol& operator=(const TavrelProviderProtocol&) = default;
};

// ---------------------------------------------------------------------------
// The parts of the provider that do not depend on the target type. A target
// that is no TavrelTarget gets "auth_token" and "id_as_string" only.

namespace provider_detail {

// URL(target) with the placeholders resolved from settings (none when null),
// percent-encoded with the URL-query set; the raw URL(target) if decoding or
// encoding fails.
std::string getUrlWithSettings(const TargetType& target, const NetworkSettings* settings);

// parameters with the target's settingFields (placeholders resolved) and
// "auth_token" when settings are present, and "id_as_string" = "1" always.
Parameters tokenizeHashMap(const TargetType& target, const NetworkSettings* settings,
                           Parameters parameters);

// The target's task with tokenizeHashMap applied to its URL parameters.
// Throws MoyaError parameterEncoding(kTaskNotOverriden) for requestData and
// requestJSONEncodable.
Task tokenizeTask(const TargetType& target, const NetworkSettings* settings);

// The endpoint of a target under settings: getUrlWithSettings, the target's
// method and headers, tokenizeTask, sampleData as a 200 answer.
Endpoint endpointMapping(const TargetType& target, const NetworkSettings* settings);

// For an answer of status 400 or above: custom(meta.printError()) of its
// envelope. Throws the DecodingError when the body is no envelope.
UIRepresentableError refusal(const HttpResponse& response);

// The message for a body of a status below 400 that is no envelope of a type.
UIRepresentableError undecodable(const std::string& typeName, const DecodingError& error);

// The unqualified name of a type as the compiler knows it ("Dialog").
std::string plainTypeName(const std::type_info& type);

}  // namespace provider_detail

// The display name of a type with its generic arguments: "JsonValue",
// "Array<Dialog>", "Optional<String>", "Int", "Bool".
template <class T>
struct TypeDisplayName {
  static std::string get() {
    if constexpr (std::is_same_v<T, std::string>) {
      return "String";
    } else if constexpr (std::is_same_v<T, bool>) {
      return "Bool";
    } else if constexpr (std::is_integral_v<T>) {
      return "Int";
    } else if constexpr (std::is_floating_point_v<T>) {
      return "Double";
    } else {
      return provider_detail::plainTypeName(typeid(T));
    }
  }
};
template <class T, class A>
struct TypeDisplayName<std::vector<T, A>> {
  static std::string get() { return "Array<" + TypeDisplayName<T>::get() + ">"; }
};
template <class T>
struct TypeDisplayName<std::optional<T>> {
  static std::string get() { return "Optional<" + TypeDisplayName<T>::get() + ">"; }
};
template <class T>
struct TypeDisplayName<std::shared_ptr<T>> {
  static std::string get() { return TypeDisplayName<T>::get(); }
};
template <class T>
struct TypeDisplayName<Response<T>> {
  static std::string get() { return "Response<" + TypeDisplayName<T>::get() + ">"; }
};

template <class T>
std::string typeDisplayName() {
  return TypeDisplayName<T>::get();
}

// An answer as the reactive request gives it (see the table at the top).
// Throws DecodingError for a status of 400 or above whose body is no envelope.
template <class T>
Result<Response<T>> decodeAnswer(const HttpResponse& response) {
  if (response.statusCode >= 400) return provider_detail::refusal(response);
  auto decoded = decodeJson<Response<T>>(response.data);
  if (!decoded.ok()) return provider_detail::undecodable(typeDisplayName<T>(), decoded.error());
  return std::move(decoded).value();
}

// ---------------------------------------------------------------------------

template <class Target>
class TavrelProvider : public MoyaProvider<Target>,
                       public TavrelProviderProtocol,
                       public std::enable_shared_from_this<TavrelProvider<Target>> {
 public:
  using Completion = typename MoyaProvider<Target>::Completion;

  // settings may be null: requests then keep their placeholders and carry no
  // "auth_token". transport: where requests go; the shared one when null.
  explicit TavrelProvider(std::shared_ptr<NetworkSettings> networkSettings,
                          std::vector<std::shared_ptr<PluginType>> plugins = {},
                          HttpTransport* transport = nullptr)
      : MoyaProvider<Target>(std::move(plugins), transport),
        settings_(std::move(networkSettings)) {}

  TavrelProvider(const TavrelProvider&) = delete;
  TavrelProvider& operator=(const TavrelProvider&) = delete;

  void set(std::shared_ptr<NetworkSettings> settings) override {
    std::lock_guard lock(mutex_);
    settings_ = std::move(settings);
  }
  std::shared_ptr<NetworkSettings> settings() const override {
    std::lock_guard lock(mutex_);
    return settings_;
  }

  // The endpoint under the settings held now. Throws MoyaError
  // parameterEncoding("Task not overriden fix this") for a task it cannot
  // rewrite; request() turns that into a failed request.
  Endpoint endpoint(const Target& target) const override {
    auto current = settings();
    return provider_detail::endpointMapping(target, current.get());
  }

  // See provider_detail; these read the settings held now.
  std::string getUrlWithSettings(const Target& target) const {
    auto current = settings();
    return provider_detail::getUrlWithSettings(target, current.get());
  }
  Parameters tokenizeHashMap(const Target& target, Parameters parameters) const {
    auto current = settings();
    return provider_detail::tokenizeHashMap(target, current.get(), std::move(parameters));
  }
  // Throws MoyaError for an unsupported task (see endpoint).
  Task tokenizeTask(const Target& target) const {
    auto current = settings();
    return provider_detail::tokenizeTask(target, current.get());
  }

  // Sends the target's request; the completion gets the answer, whatever its
  // status, or the MoyaError, on the HTTP layer's callback queue. A target
  // whose task cannot be rewritten sends nothing and fails with
  // parameterEncoding.
  RequestHandle request(const Target& target, Completion completion) const override {
    auto copy = std::make_shared<const Target>(target);
    std::optional<MoyaError> refused;
    try {
      return this->perform(copy, endpoint(*copy), completion);
    } catch (const MoyaError& error) {
      refused = error;
    } catch (...) {
      refused = MoyaError::underlying(std::current_exception());
    }
    this->session().post([completion = std::move(completion), error = std::move(*refused)] {
      if (completion) completion(error);
    });
    return {};
  }

  // The reactive face: provider.rx().request(target) for the raw answer,
  // provider.rx().request<T>(target) for the decoded envelope.
  class Reactive {
   public:
    explicit Reactive(const TavrelProvider& provider) : provider_(&provider) {}

    // Sends the request at each subscription; succeeds with the answer
    // whatever its status, or fails with the MoyaError. Disposing cancels.
    rx::Single<HttpResponse> request(const Target& target) const {
      // Keeps a provider that is owned by a shared pointer alive for as long
      // as the stream may be subscribed.
      return requestSingle(*provider_, target, provider_->weak_from_this().lock());
    }

    // One element, the answer decoded by status (see the top of this file),
    // then completion; or the failure of the request or of a refusal's body.
    // Decoding runs on the HTTP layer's callback queue, never on its I/O
    // thread, so a large answer holds up no other transfer.
    template <class T>
    rx::Observable<Result<Response<T>>> request(const Target& target) const {
      return request(target).asObservable().map(
          [](const HttpResponse& response) { return decodeAnswer<T>(response); });
    }

   private:
    const TavrelProvider* provider_;
  };

  Reactive rx() const { return Reactive(*this); }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<NetworkSettings> settings_;
};

}  // namespace tavrel
