#pragma once
// TargetType: the description of one API endpoint that a MoyaProvider turns
// into a request. Implementations are usually one class per API area whose
// value names one endpoint.

#include <optional>
#include <string>
#include <vector>

#include "tavrel/http/http_message.h"
#include "tavrel/http/method.h"
#include "tavrel/http/task.h"

namespace tavrel {

// Which statuses the provider accepts; a refused one fails the request with
// MoyaError statusCode.
struct ValidationType {
  enum class Kind {
    none,                     // every status is accepted
    successCodes,             // 200 to 299
    successAndRedirectCodes,  // 200 to 399
    customCodes,              // those in codes
  };
  Kind kind = Kind::none;
  std::vector<int> codes;  // for customCodes

  static ValidationType none() { return {}; }
  static ValidationType successCodes() { return {Kind::successCodes, {}}; }
  static ValidationType successAndRedirectCodes() { return {Kind::successAndRedirectCodes, {}}; }
  static ValidationType customCodes(std::vector<int> c) { return {Kind::customCodes, std::move(c)}; }

  // Whether a status passes.
  bool accepts(int statusCode) const;
};

class TargetType {
 public:
  virtual ~TargetType() = default;

  // The address that path is relative to, e.g. "https://host/api/v1/".
  virtual std::string baseURL() const = 0;
  // The path under baseURL, not yet percent-encoded.
  virtual std::string path() const = 0;
  virtual Method method() const = 0;
  virtual Task task() const = 0;
  // A canned answer body for stubs; empty by default.
  virtual std::string sampleData() const { return {}; }
  // Header fields of the request; none by default.
  virtual std::optional<HeaderFields> headers() const { return std::nullopt; }
  // No validation by default.
  virtual ValidationType validationType() const { return ValidationType::none(); }

 protected:
  TargetType() = default;
  TargetType(const TargetType&) = default;
  TargetType& operator=(const TargetType&) = default;
};

// baseURL joined with path as a path component: one "/" between them, the
// path percent-encoded with the URL-path-allowed set ("{" becomes "%7B"), any
// query or fragment of baseURL kept after it. An empty path gives baseURL.
std::string URL(const TargetType& target);

}  // namespace tavrel
