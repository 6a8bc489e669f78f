#pragma once
// CodingKeys: the shared table of JSON keys of the records (Message, Dialog,
// Person, Meta and the knowledge base records), in its fixed case order.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tavrel {

enum class CodingKeys {
  id,
  created,
  replied,
  message,
  type,
  replyType,
  partLast,
  partsCount,
  lastAdmin,
  lastUpdate,
  unreadPartsCount,
  bodyJson,
  userUnreadCount,
  status,
  error,
  errorMessage,
  nextAfter,
  randomId,
  body,
  direction,
  read,
  sentVia,
  from,
  conversation,
  metaData,
  name,
  avatar,
  after,
  paginateIncluding,
  paginatePosition,
  paginateDirection,
  nextBeforePosition,
  channel,
  attachments,
  filename,
  mimeType,
  url,
  size,
  comment,
  vote,
  loading,
  authToken,
  result,
  user,
  icon,
  description,
  shortDescription,
  content,
  quote,
  articlesCounter,
  categoryId,
  expirationTime,
};

// Number of cases.
inline constexpr std::size_t codingKeyCount = 52;

// Raw values (the JSON keys), indexed by case.
inline constexpr std::array<std::string_view, codingKeyCount> codingKeyRawValues{
    "id",
    "created",
    "replied",
    "message",
    "type",
    "reply_type",
    "part_last",
    "parts_count",
    "last_admin",
    "last_update",
    "unread_parts_count",
    "body_json",
    "user_unread_count",
    "status",
    "error",
    "error_message",
    "next_after",
    "random_id",
    "body",
    "direction",
    "read",
    "sent_via",
    "from",
    "conversation",
    "meta_data",
    "name",
    "avatar",
    "after",
    "paginate_include",  // not "paginate_including"
    "paginate_position",
    "paginate_direction",
    "next_before_position",
    "channel",
    "attachments",
    "filename",
    "mime_type",
    "url",
    "size",
    "comment",
    "vote",
    "loading",
    "auth_token",
    "result",
    "user",
    "icon",
    "description",
    "short_description",
    "content",
    "quote",
    "articles_counter",
    "category_id",
    "expirationTime",  // the one camel-case key
};

static_assert(static_cast<std::size_t>(CodingKeys::expirationTime) + 1 == codingKeyCount);

// The JSON key of a case.
constexpr std::string_view rawValue(CodingKeys key) noexcept {
  return codingKeyRawValues[static_cast<std::size_t>(key)];
}

// The case whose raw value is `text` exactly, or nullopt.
std::optional<CodingKeys> codingKeyFromString(std::string_view text) noexcept;

}  // namespace tavrel
