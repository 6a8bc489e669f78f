#include "tavrel/http/endpoint.h"

#include <atomic>
#include <cstdio>
#include <random>

#include "tavrel/core/json_writer.h"
#include "tavrel/core/url.h"

namespace tavrel {
namespace {

std::string makeBoundary() {
  static std::atomic<unsigned> counter{0};
  std::random_device device;
  std::uniform_int_distribution<unsigned> digits(0, 0xFFFFFFFFu);
  char text[64];
  std::snprintf(text, sizeof text, "tavrel.boundary.%08x%08x.%u", digits(device), digits(device),
                counter.fetch_add(1));
  return text;
}

void encodeMultipart(HttpRequest& request, const std::vector<MultipartFormData>& parts) {
  std::string boundary = makeBoundary();
  std::string body;
  for (const auto& part : parts) {
    body += "--" + boundary + "\r\n";
    body += "Content-Disposition: form-data; name=\"" + part.name + "\"";
    if (part.fileName) body += "; filename=\"" + *part.fileName + "\"";
    body += "\r\n";
    if (part.mimeType) body += "Content-Type: " + *part.mimeType + "\r\n";
    body += "\r\n" + part.data + "\r\n";
  }
  body += "--" + boundary + "--\r\n";
  setHeader(request.headers, "Content-Type", "multipart/form-data; boundary=" + boundary);
  request.body = std::move(body);
}

std::optional<std::string> applyTask(HttpRequest& request, const Task& task) {
  const auto query = URLEncoding::queryString();
  return std::visit(
      [&](const auto& c) -> std::optional<std::string> {
        using C = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<C, Task::RequestPlain>) {
          return std::nullopt;
        } else if constexpr (std::is_same_v<C, Task::RequestData>) {
          request.body = c.data;
          return std::nullopt;
        } else if constexpr (std::is_same_v<C, Task::RequestJSONEncodable>) {
          auto json = encodeJson(c.value);
          if (!json) return std::string(json.error().what());
          request.body = std::move(json).value();
          if (!request.header("Content-Type")) {
            setHeader(request.headers, "Content-Type", "application/json");
          }
          return std::nullopt;
        } else if constexpr (std::is_same_v<C, Task::RequestParameters> ||
                             std::is_same_v<C, Task::DownloadParameters>) {
          return c.encoding.encode(request, c.parameters);
        } else if constexpr (std::is_same_v<C, Task::RequestCompositeData>) {
          request.body = c.bodyData;
          return query.encode(request, c.urlParameters);
        } else if constexpr (std::is_same_v<C, Task::RequestCompositeParameters>) {
          if (auto* url = c.bodyEncoding.template getIf<URLEncoding>();
              url && url->destination != URLEncoding::Destination::httpBody) {
            return std::string(
                "the body encoding of composite parameters must be URLEncoding.httpBody or "
                "JSONEncoding; put query parameters into urlParameters");
          }
          if (auto failure = c.bodyEncoding.encode(request, c.bodyParameters)) return failure;
          return query.encode(request, c.urlParameters);
        } else {
          static_assert(std::is_same_v<C, Task::UploadCompositeMultipart>);
          encodeMultipart(request, c.multipartBody);
          return query.encode(request, c.urlParameters);
        }
      },
      task.value());
}

}  // namespace

Endpoint::Endpoint(std::string u, SampleResponseClosure sample, Method m, Task t,
                   std::optional<HeaderFields> fields)
    : url(std::move(u)),
      sampleResponseClosure(std::move(sample)),
      method(m),
      task(std::move(t)),
      httpHeaderFields(std::move(fields)) {}

Endpoint Endpoint::adding(const HeaderFields& newHTTPHeaderFields) const {
  Endpoint copy = *this;
  HeaderFields merged = httpHeaderFields.value_or(HeaderFields{});
  for (const auto& [name, value] : newHTTPHeaderFields) setHeader(merged, name, value);
  copy.httpHeaderFields = std::move(merged);
  return copy;
}

Endpoint Endpoint::replacing(Task newTask) const {
  Endpoint copy = *this;
  copy.task = std::move(newTask);
  return copy;
}

std::variant<HttpRequest, MoyaError> Endpoint::urlRequest() const {
  auto parsed = Url::parse(url);
  if (!parsed || !parsed->scheme()) return MoyaError::requestMapping(url);
  HttpRequest request;
  request.url = url;
  request.method = method;
  if (httpHeaderFields) request.headers = *httpHeaderFields;
  if (auto failure = applyTask(request, task)) return MoyaError::parameterEncoding(*failure);
  return request;
}

Endpoint defaultEndpointMapping(const TargetType& target) {
  return Endpoint(
      URL(target),
      [data = target.sampleData()] { return EndpointSampleResponse{200, data}; },
      target.method(), target.task(), target.headers());
}

}  // namespace tavrel
