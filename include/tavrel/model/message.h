#pragma once
// Message: one part of a conversation, a record of the Model family.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"

namespace tavrel {

class Message : public Model {
 public:
  Message(std::string id, std::int64_t randomId, std::string body, std::string type,
          std::int64_t created, std::string direction, bool read, std::string sentVia,
          std::string replyType, JsonValue from, std::optional<std::string> conversation,
          std::optional<JsonValue> bodyJson, std::optional<JsonValue> metaData,
          std::optional<JsonValue> attachments);

  // Decodes a message object. "id" may be a string or an integer (kept as its
  // decimal text; anything else gives ""); "random_id" and "read" swallow any
  // failure into 0 and false; "conversation", "body_json", "meta_data" and
  // "attachments" tolerate absence or null; all other keys are required.
  // Throws DecodingError.
  static Message decode(const JsonNode& node);
  // Writes all fourteen keys in field order, absent optionals as null.
  void encode(JsonWriter& writer) const override;

  // Equality looks at `id` alone (so does std::hash).
  friend bool operator==(const Message& a, const Message& b) noexcept { return a.id == b.id; }

  std::string id;                           // "id", always text
  std::int64_t randomId;                    // "random_id": sender's correlation id, 0 for none
  std::string body;                         // "body": the text
  std::string type;                         // "type": kind of part, opaque
  std::int64_t created;                     // "created": creation time as sent
  std::string direction;                    // "direction", opaque
  bool read;                                // "read"
  std::string sentVia;                      // "sent_via", opaque
  std::string replyType;                    // "reply_type", opaque
  JsonValue from;                           // "from": the sender as a JSON tree
  std::optional<std::string> conversation;  // "conversation": owning conversation id
  std::optional<JsonValue> bodyJson;        // "body_json": structured body
  std::optional<JsonValue> metaData;        // "meta_data": free metadata
  std::optional<JsonValue> attachments;     // "attachments"

 private:
  struct Blank {};
  // Zero numbers, false, empty texts and trees: for decode to fill in place.
  explicit Message(Blank) : randomId(0), created(0), read(false) {}
};

// Whether `element` is the local copy of `message`: the same id, or the same
// non-zero randomId with the same type. Unlike ==, which compares ids only.
bool matches(const Message& element, const Message& message) noexcept;

// The first element of `messages` that matches `message`, or nullptr: the
// caller's own object, for lists of shared messages...
std::shared_ptr<Message> find(const std::vector<std::shared_ptr<Message>>& messages,
                              const Message& message) noexcept;
// ...and a pointer into the list for lists of values, as answers decode.
const Message* find(const std::vector<Message>& messages, const Message& message) noexcept;

}  // namespace tavrel

template <>
struct std::hash<tavrel::Message> {
  std::size_t operator()(const tavrel::Message& message) const noexcept {
    return std::hash<std::string>{}(message.id);
  }
};
