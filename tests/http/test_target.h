#pragma once
// Helpers of the HTTP tests: a target whose every part a test sets by hand,
// and a loopback address where nobody listens.

#include <chrono>
#include <string>

#include "support/test_http_server.h"
#include "tavrel/http/target_type.h"

namespace tavrel::test {

inline constexpr auto kWait = std::chrono::seconds(20);

// The URL of a test server that is gone: connecting there is refused.
inline std::string closedURL() {
  TestHttpServer gone;
  return gone.url("/");
}

struct FakeTarget : TargetType {
  std::string base = "https://api.example.com/api/v1/";
  std::string route;
  Method verb = Method::get;
  Task work;
  std::optional<HeaderFields> fields;
  ValidationType validation;

  std::string baseURL() const override { return base; }
  std::string path() const override { return route; }
  Method method() const override { return verb; }
  Task task() const override { return work; }
  std::optional<HeaderFields> headers() const override { return fields; }
  ValidationType validationType() const override { return validation; }
};

}  // namespace tavrel::test
