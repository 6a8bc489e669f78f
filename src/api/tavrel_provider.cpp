#include "tavrel/api/tavrel_provider.h"

#include <cxxabi.h>

#include <cstdlib>
#include <type_traits>
#include <variant>

#include "tavrel/core/log.h"
#include "tavrel/core/percent_encoding.h"

namespace tavrel::provider_detail {
namespace {

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
  if (what.empty()) return;
  std::size_t at = 0;
  while ((at = text.find(what, at)) != std::string::npos) {
    text.replace(at, what.size(), with);
    at += with.size();
  }
}

}  // namespace

std::string getUrlWithSettings(const TargetType& target, const NetworkSettings* settings) {
  const std::string raw = URL(target);
  auto decoded = removePercentEncoding(raw);
  if (!decoded) return raw;
  std::string url = std::move(*decoded);

  const auto* tavrel = dynamic_cast<const TavrelTarget*>(&target);
  if (settings && tavrel) {
    if (tavrel->isConversationTarget()) {
      const std::string root = settings->connection == NetworkSettings::ConnectionType::app
                                   ? "apps/" + tavrel->appId()
                                   : "users/" + tavrel->userId();
      replaceAll(url, tavrel->pathPrefix(), root);
    }
    replaceAll(url, tavrel->appId(), settings->appId);
    replaceAll(url, tavrel->userId(), settings->userId);
  }
  return percentEncode(url, charset::urlQueryAllowed());
}

Parameters tokenizeHashMap(const TargetType& target, const NetworkSettings* settings,
                           Parameters parameters) {
  if (settings) {
    if (const auto* tavrel = dynamic_cast<const TavrelTarget*>(&target)) {
      for (auto& [key, value] : tavrel->settingFields()) {
        const auto* text = value.getIf<std::string>();
        if (!text) continue;
        std::string resolved = *text;
        replaceAll(resolved, tavrel->appId(), settings->appId);
        replaceAll(resolved, tavrel->userId(), settings->userId);
        parameters.insert_or_assign(key, JsonValue(std::move(resolved)));
      }
    }
    parameters.insert_or_assign("auth_token", JsonValue(settings->getToken()));
  }
  parameters.insert_or_assign("id_as_string", JsonValue("1"));
  return parameters;
}

Task tokenizeTask(const TargetType& target, const NetworkSettings* settings) {
  auto tokenize = [&](const Parameters& parameters) {
    return tokenizeHashMap(target, settings, parameters);
  };
  return std::visit(
      [&](const auto& task) -> Task {
        using C = std::decay_t<decltype(task)>;
        if constexpr (std::is_same_v<C, Task::RequestPlain>) {
          return Task::requestParameters(tokenize({}), URLEncoding::queryString());
        } else if constexpr (std::is_same_v<C, Task::RequestParameters>) {
          return Task::requestParameters(tokenize(task.parameters), task.encoding);
        } else if constexpr (std::is_same_v<C, Task::RequestCompositeData>) {
          return Task::requestCompositeData(task.bodyData, tokenize(task.urlParameters));
        } else if constexpr (std::is_same_v<C, Task::RequestCompositeParameters>) {
          return Task::requestCompositeParameters(task.bodyParameters, task.bodyEncoding,
                                                  tokenize(task.urlParameters));
        } else if constexpr (std::is_same_v<C, Task::UploadCompositeMultipart>) {
          return Task::uploadCompositeMultipart(task.multipartBody, tokenize(task.urlParameters));
        } else if constexpr (std::is_same_v<C, Task::DownloadParameters>) {
          return Task::downloadParameters(tokenize(task.parameters), task.encoding,
                                          task.destination);
        } else {
          // requestData and requestJSONEncodable have no parameter map to
          // carry the credentials: such a request must not go out.
          throw MoyaError::parameterEncoding(kTaskNotOverriden);
        }
      },
      target.task().value());
}

Endpoint endpointMapping(const TargetType& target, const NetworkSettings* settings) {
  Task task = tokenizeTask(target, settings);
  return Endpoint(
      getUrlWithSettings(target, settings),
      [sample = target.sampleData()] {
        return EndpointSampleResponse{200, sample};
      },
      target.method(), std::move(task), target.headers());
}

UIRepresentableError refusal(const HttpResponse& response) {
  auto decoded = decodeJson<Response<JsonValue>>(response.data);
  if (!decoded.ok()) throw decoded.error();
  return UIRepresentableError::custom(decoded->meta.printError());
}

UIRepresentableError undecodable(const std::string& typeName, const DecodingError& error) {
  debugPrint("Response<" + typeName + "> did not decode: " + error.what());
  return UIRepresentableError::custom("ошибка десериализации модели Response<" + typeName + ">");
}

std::string plainTypeName(const std::type_info& type) {
  int status = 0;
  char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string name = (status == 0 && demangled) ? demangled : type.name();
  std::free(demangled);
  // Drop the namespaces and enclosing classes: the last name outside any
  // template argument list.
  int depth = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    if (c == '<') ++depth;
    if (c == '>') --depth;
    if (depth == 0 && c == ':' && i + 1 < name.size() && name[i + 1] == ':') start = i + 2;
  }
  return name.substr(start);
}

}  // namespace tavrel::provider_detail
