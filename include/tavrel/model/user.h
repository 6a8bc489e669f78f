#pragma once
// User: the visitor as the service knows it, from the answers to "connect"
// and "auth"; Auth: the nested form of the authorisation answer.

#include <optional>
#include <string>
#include <vector>

#include "tavrel/core/json_decoder.h"

namespace tavrel {

// The visitor. Decoded from the whole answer document; the fields lie under
// "data" / "user", "data" / "app" and "data" / "auth_token".
struct User {
  std::string id;                                // "data"/"user"/"id"
  std::string appId;                             // "data"/"app"/"id"
  std::optional<std::string> token;              // "data"/"auth_token", absent if unreadable
  bool isBanned = false;                         // "data"/"user"/"is_banned"
  bool hasConversations = false;                 // "data"/"user"/"has_conversations"
  std::vector<std::string> conversationsUnread;  // "data"/"user"/"conversations_unread"

  // Reads "data"; then "auth_token" (any failure gives absent); "user" with
  // "id", "has_conversations" (echoed to the debug console), "is_banned",
  // "conversations_unread"; then "app" with "id". Every read but the token is
  // required and strictly typed. Throws DecodingError.
  static User decode(const JsonNode& node);

  friend bool operator==(const User&, const User&) = default;
};

// The authorisation answer in its nested form.
struct Auth {
  std::optional<User> user;  // never filled by decoding
  std::string result;        // "data"/"result"

  // Reads "data" / "result" (required). For "user_changing" it also requires
  // "data" / "auth_token" as text and "data" / "user" / "id" as text; these
  // reads check the shape only, `user` stays absent. Throws DecodingError.
  static Auth decode(const JsonNode& node);

  friend bool operator==(const Auth&, const Auth&) = default;
};

}  // namespace tavrel
