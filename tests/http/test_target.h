#pragma once
// A target whose every part a test sets by hand.

#include "tavrel/http/target_type.h"

namespace tavrel::test {

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
