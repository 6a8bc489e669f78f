#include "tavrel/http/moya_provider.h"

#include <fstream>
#include <stdexcept>

#include "http/callback_queue.h"

namespace tavrel {
namespace {

using Plugins = std::vector<std::shared_ptr<PluginType>>;

// Tells the plugins and runs the completion, on the callback queue. A plugin
// that throws is written to the debug sink and leaves the outcome as it was.
void deliver(const Plugins& plugins, const TargetType& target, MoyaResult result,
             const MoyaProviderBase::Completion& completion) {
  for (const auto& plugin : plugins) {
    detail::runGuarded([&] { plugin->didReceive(result, target); }, "a plugin's didReceive");
  }
  for (const auto& plugin : plugins) {
    detail::runGuarded(
        [&] {
          MoyaResult processed = plugin->process(result, target);
          result.swap(processed);
        },
        "a plugin's process");
  }
  if (completion) completion(std::move(result));
}

// Writes a downloaded body where the task wants it; the error if that fails.
std::optional<MoyaError> saveDownload(const Task& task, const HttpResponse& response) {
  const auto* download = task.getIf<Task::DownloadParameters>();
  if (!download || !download->destination) return std::nullopt;
  try {
    auto path = download->destination(response);
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(response.data.data(), static_cast<std::streamsize>(response.data.size()));
    out.close();
    if (!out) {
      throw std::runtime_error("cannot write the download to " + path.string());
    }
  } catch (...) {
    return MoyaError::underlying(std::current_exception(), response);
  }
  return std::nullopt;
}

}  // namespace

MoyaProviderBase::MoyaProviderBase(Plugins plugins, HttpTransport* transport)
    : plugins_(std::move(plugins)), transport_(transport ? transport : &HttpTransport::shared()) {}

RequestHandle MoyaProviderBase::perform(std::shared_ptr<const TargetType> target,
                                        const Endpoint& endpoint, Completion completion) const {
  auto built = endpoint.urlRequest();
  if (auto* error = std::get_if<MoyaError>(&built)) {
    transport_->post([plugins = plugins_, target, error = std::move(*error),
                      completion = std::move(completion)]() mutable {
      deliver(plugins, *target, std::move(error), completion);
    });
    return {};
  }
  auto request = std::get<HttpRequest>(std::move(built));
  try {
    for (const auto& plugin : plugins_) request = plugin->prepare(std::move(request), *target);
    for (const auto& plugin : plugins_) plugin->willSend(request, *target);
  } catch (...) {
    // A plugin that refuses the request fails it; nothing is sent.
    transport_->post([plugins = plugins_, target, error = std::current_exception(),
                      completion = std::move(completion)] {
      deliver(plugins, *target, MoyaError::underlying(error), completion);
    });
    return {};
  }

  return transport_->send(
      std::move(request),
      [plugins = plugins_, target, task = endpoint.task,
       completion = std::move(completion)](HttpResult outcome) {
        if (auto* failure = std::get_if<URLError>(&outcome)) {
          deliver(plugins, *target, MoyaError::underlying(std::move(*failure)), completion);
          return;
        }
        auto& response = std::get<HttpResponse>(outcome);
        if (!target->validationType().accepts(response.statusCode)) {
          deliver(plugins, *target, MoyaError::statusCode(std::move(response)), completion);
          return;
        }
        if (auto error = saveDownload(task, response)) {
          deliver(plugins, *target, std::move(*error), completion);
          return;
        }
        deliver(plugins, *target, std::move(response), completion);
      });
}

}  // namespace tavrel
