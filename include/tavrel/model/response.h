#pragma once
// The answer envelope of the HTTP API ("meta" and "data"), its Meta, and
// SimpleId, the data of answers that only return the id of something created.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "tavrel/core/json_decoder.h"

namespace tavrel {

// The "meta" part of every answer: the status and, when the service refuses
// a request or pages a list, what it says about that.
struct Meta {
  std::int64_t status = 0;                        // "status", required
  std::optional<std::string> error;               // "error"
  std::optional<std::string> errorMessage;        // "error_message"
  std::optional<std::string> nextAfter;           // "next_after", text or number
  std::optional<std::string> nextBeforePosition;  // first string of "next_before_position"

  // Reads "status" (required), then "error" and "error_message" (any failure
  // gives absent), "next_after" as text or else as a number in its default
  // text form (15 gives "15.0"), and "next_before_position" as the text that
  // heads an array. Throws DecodingError.
  static Meta decode(const JsonNode& node);

  // The message shown when the service refuses a request:
  // "Ошибка (status: 403) forbidden: nil", absent texts written as nil.
  std::string printError() const;

  friend bool operator==(const Meta&, const Meta&) = default;
};

// The id of something the service created ("id", required text).
struct SimpleId {
  std::string id;  // "id"

  static SimpleId decode(const JsonNode& node);

  friend bool operator==(const SimpleId&, const SimpleId&) = default;
};

// The envelope of an answer: Response<SimpleId>, Response<std::vector<Dialog>>,
// Response<JsonValue> for answers whose data nobody reads.
template <class T>
struct Response {
  Meta meta;  // "meta", required, decoded first
  T data;     // "data", required (JSON null is a value only for JsonValue)

  // Reads "meta", then "data"; a failure of either fails the whole answer.
  static Response decode(const JsonNode& node) {
    auto keys = node.object();
    Meta meta = keys.decode<Meta>("meta");
    T data = keys.decode<T>("data");
    return Response{std::move(meta), std::move(data)};
  }
};

}  // namespace tavrel
