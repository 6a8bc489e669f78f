#pragma once
// Record tests: known-good documents, edits of them at a key path, and what a
// record type makes of the edited text.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::testing {

// A message, a person and a dialog with every key the service sends, in the
// order the encoders write them.
inline const std::string kMessage =
    R"({"id":"m1","random_id":77,"body":"Привет! 👋","type":"reply","created":1700000000,)"
    R"("direction":"u2a","read":true,"sent_via":"ios","reply_type":"text",)"
    R"("from":{"id":"u1","type":"user","name":"Аня","avatar":""},"conversation":"c1",)"
    R"("body_json":{"blocks":[1,2.5,"x",true,null]},"meta_data":{"k":"v"},)"
    R"("attachments":[{"filename":"a.png","size":12}]})";
inline const std::string kPerson =
    R"({"id":"a7","type":"admin","name":"Мария","avatar":"https://cdn.example/a7.png"})";
inline const std::string kDialog =
    R"({"id":"c1","created":1700000000,"replied":true,"message":"Где мой заказ? 📦",)"
    R"("type":"conversation","reply_type":"text","part_last":)" + kMessage +
    R"(,"parts_count":12,"last_admin":)" + kPerson +
    R"(,"last_update":1700000500,"unread_parts_count":2,"body_json":{"a":1},)"
    R"("user_unread_count":1,"expirationTime":1800000000})";

// An answer to "connect": User and Messenger read the same document.
inline const std::string kConnect =
    R"({"meta":{"status":200},"data":{"auth_token":"tok","user":{"id":"u1","is_banned":false,)"
    R"("has_conversations":true,"conversations_unread":["c1","c2"]},"app":{"id":"app7",)"
    R"("name":"Shop","plan":"pro","settings":{"messenger_collapsed_color":"#ff0000",)"
    R"("messenger_avatar":"a.png","messenger_welcome_message":"Здравствуйте!",)"
    R"("messenger_show_powered_by":true,"messenger_icon_vk_show":true,)"
    R"("messenger_icon_viber_show":false,"messenger_icon_facebook_show":true,)"
    R"("messenger_icon_telegram_show":false,"messenger_icon_vk_text":"vk",)"
    R"("messenger_icon_viber_text":"viber","messenger_icon_facebook_text":"fb",)"
    R"("messenger_icon_telegram_text":"tg"}}}})";

// One edit: a key path, and the raw JSON to put there (nullopt removes it).
struct Edit {
  std::vector<std::string> path;
  std::optional<std::string> json;
};

// `document` with the edits applied; the objects along each path must exist.
inline std::string edited(const std::string& document, const std::vector<Edit>& edits) {
  JsonValue root = decodeJson<JsonValue>(document).value();
  for (const auto& edit : edits) {
    JsonValue* object = &root;
    for (std::size_t i = 0; i + 1 < edit.path.size(); ++i) {
      object = &*object->getIf<JsonValue::Object>()->at(edit.path[i]);
    }
    auto& members = *object->getIf<JsonValue::Object>();
    if (edit.json) {
      members[edit.path.back()] = decodeJson<JsonValue>(*edit.json).value();
    } else {
      members.erase(edit.path.back());
    }
  }
  return encodeJson(root).value();
}

// "decoded", or the kind and path of the failure that ended the decode.
template <class T>
std::string failure(const std::string& json) {
  auto result = decodeJson<T>(json);
  return result ? "decoded"
                : std::string(toString(result.error().kind())) + " at " + result.error().path();
}

template <class T>
concept Writes = requires(const T& record, JsonWriter& writer) { record.encode(writer); };

// Checks edits of a good document, one per row. The edited text fails with
// the row's kind at the edited path, or decodes: a record that encodes must
// then write the row's JSON at that path ("missing" for nothing), and one
// that does not is just "decoded".
template <class T>
void checkRows(const std::string& document,
               const std::vector<std::pair<Edit, std::string>>& rows) {
  if constexpr (Writes<T>) {
    EXPECT_EQ(encodeJson(decodeJson<T>(document).value()).value(), document);
  }
  for (const auto& [edit, want] : rows) {
    const std::string json = edited(document, {edit});
    std::string path, got = failure<T>(json);
    for (const auto& key : edit.path) path += (path.empty() ? "" : ".") + key;
    if constexpr (Writes<T>) {
      if (got == "decoded") {
        const std::string written = encodeJson(decodeJson<T>(json).value()).value();
        JsonValue at = decodeJson<JsonValue>(written).value();
        for (const auto& key : edit.path) {
          const auto* members = at.getIf<JsonValue::Object>();
          auto it = members ? members->find(key) : JsonValue::Object::const_iterator();
          at = members && it != members->end() && it->second ? *it->second : JsonValue("missing");
        }
        got = encodeJson(at).value();
      }
    }
    const bool failed = got.find(" at ") != std::string::npos;
    EXPECT_EQ(got, failed ? want + " at " + path : want) << json;
  }
}

}  // namespace tavrel::testing
