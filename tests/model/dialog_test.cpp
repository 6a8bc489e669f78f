#include "tavrel/model/dialog.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/record_json.h"
#include "tavrel/model/response.h"

namespace tavrel {
namespace {

using testing::Change;
using testing::Members;
using testing::messageMembers;
using testing::objectJson;
using testing::personMembers;
using Kind = DecodingError::Kind;

std::string dialog(const std::vector<Change>& changes = {}) {
  static const Members members{
      {"id", R"("c1")"}, {"created", "1700000000"}, {"replied", "true"},
      {"message", R"("Где мой заказ? 📦")"}, {"type", R"("conversation")"},
      {"reply_type", R"("text")"}, {"part_last", objectJson(messageMembers())},
      {"parts_count", "12"}, {"last_admin", objectJson(personMembers())},
      {"last_update", "1700000500"}, {"unread_parts_count", "2"}, {"body_json", R"({"a":1})"},
      {"user_unread_count", "1"}, {"expirationTime", "1800000000"},
  };
  return objectJson(members, changes);
}

Dialog decoded(const std::string& json) {
  auto result = decodeJson<Dialog>(json);
  if (!result) {
    ADD_FAILURE() << json << " -> " << result.error().what();
    return Dialog("?", 0, false, {}, "", "", nullptr, 0, nullptr, 0, 0, {}, 0, {});
  }
  return std::move(result).value();
}

TEST(Dialog, DecodesEveryFieldWithItsRecords) {
  Dialog d = decoded(dialog());
  ASSERT_TRUE(d.partLast && d.lastAdmin);
  EXPECT_EQ(d.message, "Где мой заказ? 📦");
  EXPECT_EQ(d.partLast->body, "Привет! 👋");
  EXPECT_EQ(d.lastAdmin->name, "Мария");
  // Every field comes back out under its own key.
  EXPECT_EQ(decodeJson<JsonValue>(encodeJson(d).value()).value(),
            decodeJson<JsonValue>(dialog()).value());
  // Copies share the records.
  Dialog copy = d;
  copy.partLast->body = "changed";
  copy.lastAdmin->name = "Олег";
  EXPECT_EQ(d.partLast->body, "changed");
  EXPECT_EQ(d.lastAdmin->name, "Олег");
}

// Only "replied" and "expirationTime" swallow failures; "message" and
// "body_json" tolerate absence and null.
TEST(Dialog, LenientAndOptionalKeys) {
  struct Case {
    std::vector<Change> changes;
    bool replied;
    std::optional<std::int64_t> expirationTime;
    bool hasMessage;
    bool hasBodyJson;
  } cases[] = {
      {{{"replied", std::nullopt}, {"expirationTime", std::nullopt}}, false, {}, true, true},
      {{{"replied", "null"}, {"expirationTime", "null"}}, false, {}, true, true},
      {{{"replied", "1"}, {"expirationTime", R"("soon")"}}, false, {}, true, true},
      {{{"expirationTime", "-1"}}, true, -1, true, true},
      {{{"message", std::nullopt}, {"body_json", std::nullopt}}, true, 1800000000, false, false},
      {{{"message", "null"}, {"body_json", "null"}}, true, 1800000000, false, false},
  };
  for (const auto& c : cases) {
    std::string json = dialog(c.changes);
    Dialog d = decoded(json);
    EXPECT_EQ(d.replied, c.replied) << json;
    EXPECT_EQ(d.expirationTime, c.expirationTime) << json;
    EXPECT_EQ(d.message.has_value(), c.hasMessage) << json;
    EXPECT_EQ(d.bodyJson.has_value(), c.hasBodyJson) << json;
  }
}

// Each line: changes to a good dialog and the failure that ends the decode.
TEST(Dialog, RequiredKeysWrongTypesAndBadRecordsFailTheDialog) {
  auto admin = [](std::vector<Change> changes) { return objectJson(personMembers(), changes); };
  auto part = [](std::vector<Change> changes) { return objectJson(messageMembers(), changes); };
  struct Case {
    std::vector<Change> changes;
    Kind kind;
    std::string path;
  };
  std::vector<Case> cases;
  for (const char* key : {"id", "created", "type", "reply_type", "part_last", "parts_count",
                          "last_admin", "last_update", "unread_parts_count", "user_unread_count"}) {
    cases.push_back({{{key, std::nullopt}}, Kind::keyNotFound, key});
  }
  cases.insert(cases.end(), {
      {{{"id", "5"}}, Kind::typeMismatch, "id"},
      {{{"message", "5"}}, Kind::typeMismatch, "message"},
      {{{"reply_type", "null"}}, Kind::valueNotFound, "reply_type"},
      {{{"part_last", "null"}}, Kind::valueNotFound, "part_last"},
      {{{"part_last", "[]"}}, Kind::typeMismatch, "part_last"},
      {{{"part_last", part({{"sent_via", std::nullopt}})}}, Kind::keyNotFound, "part_last.sent_via"},
      {{{"parts_count", R"("12")"}}, Kind::typeMismatch, "parts_count"},
      {{{"last_admin", "null"}}, Kind::valueNotFound, "last_admin"},
      {{{"last_admin", admin({{"avatar", std::nullopt}})}}, Kind::keyNotFound, "last_admin.avatar"},
      // Reading order decides which failure is reported.
      {{{"user_unread_count", std::nullopt}, {"message", "5"}}, Kind::typeMismatch, "message"},
      {{{"last_admin", "null"}, {"part_last", "null"}}, Kind::valueNotFound, "part_last"},
  });
  for (const auto& c : cases) {
    std::string json = dialog(c.changes);
    auto result = decodeJson<Dialog>(json);
    ASSERT_FALSE(result) << json;
    EXPECT_EQ(result.error().kind(), c.kind) << json << " -> " << result.error().what();
    EXPECT_EQ(result.error().path(), c.path) << json;
  }
}

TEST(Dialog, OneBadDialogFailsTheAnswer) {
  std::string good = R"({"meta":{"status":200},"data":[)" + dialog() + "," + dialog() + "]}";
  auto answer = decodeJson<Response<std::vector<Dialog>>>(good);
  ASSERT_TRUE(answer) << answer.error().what();
  EXPECT_EQ(answer->data.size(), 2u);
  std::string bad = R"({"meta":{"status":200},"data":[)" + dialog() + "," +
                    dialog({{"last_admin", objectJson(personMembers(), {{"name", "1"}})}}) + "]}";
  auto failed = decodeJson<Response<std::vector<Dialog>>>(bad);
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().path(), "data[1].last_admin.name");
}

TEST(Dialog, EncodesAllKeysInOrderWithNulls) {
  auto part = std::make_shared<Message>("m", 0, "b", "t", 1, "d", true, "s", "r", JsonValue(),
                                        std::nullopt, std::nullopt, std::nullopt, std::nullopt);
  auto admin = std::make_shared<Admin>(std::nullopt, "admin", "A", "");
  Dialog d("c1", 5, false, std::nullopt, "conv", "text", part, 3, admin, 6, 1, std::nullopt, 0,
           std::nullopt);
  EXPECT_EQ(encodeJson(d).value(),
            R"({"id":"c1","created":5,"replied":false,"message":null,"type":"conv",)"
            R"("reply_type":"text","part_last":)" + encodeJson(*part).value() +
            R"(,"parts_count":3,"last_admin":{"id":null,"type":"admin","name":"A","avatar":""},)"
            R"("last_update":6,"unread_parts_count":1,"body_json":null,"user_unread_count":0,)"
            R"("expirationTime":null})");
  // A dialog without its records has no JSON form.
  d.lastAdmin = nullptr;
  EXPECT_FALSE(encodeJson(d));
  d.lastAdmin = admin;
  d.partLast = nullptr;
  EXPECT_FALSE(encodeJson(d));
}

}  // namespace
}  // namespace tavrel
