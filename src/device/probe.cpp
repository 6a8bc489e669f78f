#include "device/probe.h"

#include <variant>

namespace tavrel::detail {

RequestHandle sendProbe(const std::string& url, std::chrono::milliseconds timeout,
                        std::function<void(bool passed)> done) {
  HttpRequest request;
  request.url = url;
  request.timeout = timeout;
  return HttpTransport::shared().send(std::move(request), [done = std::move(done)](HttpResult result) {
    const auto* response = std::get_if<HttpResponse>(&result);
    done(response && response->statusCode >= 200 && response->statusCode < 300);
  });
}

}  // namespace tavrel::detail
