#pragma once
// Dialog: one conversation of the visitor with the support team, as a summary
// with its last message and last operator.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/model/message.h"
#include "tavrel/model/person.h"

namespace tavrel {

// A value; copies share one `partLast` and one `lastAdmin`.
struct Dialog {
  Dialog(std::string id, std::int64_t created, bool replied, std::optional<std::string> message,
         std::string type, std::string replyType, std::shared_ptr<Message> partLast,
         std::ptrdiff_t partsCount, std::shared_ptr<Admin> lastAdmin, std::int64_t lastUpdate,
         std::ptrdiff_t unreadPartsCount, std::optional<JsonValue> bodyJson,
         std::ptrdiff_t userUnreadCount, std::optional<std::int64_t> expirationTime);

  // Decodes a dialog object. "replied" and "expirationTime" swallow any
  // failure (into false and absent); "message" and "body_json" tolerate
  // absence or null; everything else is required, "part_last" and
  // "last_admin" as whole records. Throws DecodingError.
  static Dialog decode(const JsonNode& node);
  // Writes all fourteen keys in field order, absent optionals as null. A
  // dialog without `partLast` or `lastAdmin` fails the writer.
  void encode(JsonWriter& writer) const;

  std::string id;                             // "id": conversation id
  std::int64_t created;                       // "created"
  bool replied;                               // "replied"
  std::optional<std::string> message;         // "message": preview text
  std::string type;                           // "type", opaque
  std::string replyType;                      // "reply_type", opaque
  std::shared_ptr<Message> partLast;          // "part_last": the last message
  std::ptrdiff_t partsCount;                  // "parts_count"
  std::shared_ptr<Admin> lastAdmin;           // "last_admin": the last operator
  std::int64_t lastUpdate;                    // "last_update"
  std::ptrdiff_t unreadPartsCount;            // "unread_parts_count"
  std::optional<JsonValue> bodyJson;          // "body_json"
  std::ptrdiff_t userUnreadCount;             // "user_unread_count"
  std::optional<std::int64_t> expirationTime;  // "expirationTime"

 private:
  struct Blank {};
  // Zero numbers, false, empty texts and references: for decode to fill in place.
  explicit Dialog(Blank)
      : created(0), replied(false), partsCount(0), lastUpdate(0), unreadPartsCount(0),
        userUnreadCount(0) {}
};

}  // namespace tavrel
