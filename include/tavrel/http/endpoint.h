#pragma once
// Endpoint: a target resolved into URL text, method, task and header fields,
// from which the request is built.

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "tavrel/http/http_message.h"
#include "tavrel/http/method.h"
#include "tavrel/http/moya_error.h"
#include "tavrel/http/target_type.h"
#include "tavrel/http/task.h"

namespace tavrel {

// The canned answer of an endpoint, used only by stubs.
struct EndpointSampleResponse {
  int statusCode = 200;
  std::string data;
};

class Endpoint {
 public:
  using SampleResponseClosure = std::function<EndpointSampleResponse()>;

  Endpoint(std::string url, SampleResponseClosure sampleResponseClosure, Method method, Task task,
           std::optional<HeaderFields> httpHeaderFields);

  std::string url;
  SampleResponseClosure sampleResponseClosure;
  Method method;
  Task task;
  std::optional<HeaderFields> httpHeaderFields;

  // A copy with these fields set over the existing ones.
  Endpoint adding(const HeaderFields& newHTTPHeaderFields) const;
  // A copy with another task.
  Endpoint replacing(Task newTask) const;

  // The request: url, method and header fields, then the task applied.
  // Fails with requestMapping when url does not parse, with
  // parameterEncoding when the task cannot be encoded.
  std::variant<HttpRequest, MoyaError> urlRequest() const;
};

// What a provider builds for a target by default: URL(target), the target's
// method, task and headers, and sampleData as a 200 answer.
Endpoint defaultEndpointMapping(const TargetType& target);

}  // namespace tavrel
