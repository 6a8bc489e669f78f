#pragma once
// Parameters and how they go into a request: URLEncoding (query string or
// form body) and JSONEncoding (a JSON object body).

#include <map>
#include <optional>
#include <string>
#include <variant>

#include "tavrel/core/json_value.h"
#include "tavrel/http/http_message.h"

namespace tavrel {

// Request parameters by name. The map is sorted, which is also the order in
// which URLEncoding writes them.
using Parameters = std::map<std::string, JsonValue>;

// Form-style encoding:
//   - keys in sorted order, each pair "key=value", pairs joined by "&";
//   - an object value gives "key[sub]=v" per member, members sorted;
//   - an array value gives "key[]=v" per element (or "key=v" with noBrackets);
//   - a bool gives 1 or 0 (or true and false with literal);
//   - an int gives its digits, a double its shortest text ("1.5", "15.0");
//   - null gives an empty value; a model its JSON text;
//   - keys and values are percent-escaped: only letters, digits and "-._~/?"
//     stay as they are, so a space is %20 and "[", "]" are %5B, %5D.
struct URLEncoding {
  enum class Destination {
    methodDependent,  // the query for GET, HEAD and DELETE, the body otherwise
    queryString,      // always the query, appended to any query already there
    httpBody,         // always the body
  };
  enum class ArrayEncoding { brackets, noBrackets };
  enum class BoolEncoding { numeric, literal };

  Destination destination = Destination::methodDependent;
  ArrayEncoding arrayEncoding = ArrayEncoding::brackets;
  BoolEncoding boolEncoding = BoolEncoding::numeric;

  // methodDependent with the default array and bool forms.
  static URLEncoding default_() { return {}; }
  static URLEncoding queryString() { return {Destination::queryString}; }
  static URLEncoding httpBody() { return {Destination::httpBody}; }

  // The encoded pairs of parameters, joined by "&".
  std::string query(const Parameters& parameters) const;
  // Puts parameters into the request. For the query, nothing changes when
  // parameters is empty. For the body, the body is replaced (an empty map
  // gives an empty body) and Content-Type is set to
  // "application/x-www-form-urlencoded; charset=utf-8" unless present.
  // Gives the reason if the request's URL cannot take a query.
  std::optional<std::string> encode(HttpRequest& request, const Parameters& parameters) const;

  friend bool operator==(const URLEncoding&, const URLEncoding&) = default;
};

// The parameters as one JSON object (keys sorted), as the request body, with
// Content-Type "application/json" unless present.
struct JSONEncoding {
  static JSONEncoding default_() { return {}; }
  // Gives the reason if a value cannot be written as JSON (a non-finite number).
  std::optional<std::string> encode(HttpRequest& request, const Parameters& parameters) const;

  friend bool operator==(const JSONEncoding&, const JSONEncoding&) = default;
};

// One of the two encodings.
class ParameterEncoding {
 public:
  ParameterEncoding(URLEncoding e) : encoding_(e) {}
  ParameterEncoding(JSONEncoding e) : encoding_(e) {}

  template <class E>
  const E* getIf() const noexcept {
    return std::get_if<E>(&encoding_);
  }
  // Encodes with whichever encoding this is; gives the reason on failure.
  std::optional<std::string> encode(HttpRequest& request, const Parameters& parameters) const;

  friend bool operator==(const ParameterEncoding&, const ParameterEncoding&) = default;

 private:
  std::variant<URLEncoding, JSONEncoding> encoding_;
};

}  // namespace tavrel
