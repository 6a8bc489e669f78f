#include "tavrel/model/message.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "model/record_json.h"
#include "tavrel/model/dialog.h"

// The records that encode: Person and Admin, Message, Dialog.
namespace tavrel {
namespace {

using namespace testing;

// Only "id" swallows failures, without coercion; an absent id is written as
// null. Admin reads and writes exactly the person form.
TEST(Person, DecodeRules) {
  const std::vector<std::pair<Edit, std::string>> rows{
      {{{"id"}, "42"}, "null"},
      {{{"id"}, R"("")"}, R"("")"},
      {{{"avatar"}, {}}, "keyNotFound"},
      {{{"name"}, "5"}, "typeMismatch"},
  };
  checkRows<Person>(kPerson, rows);
  checkRows<Admin>(kPerson, rows);
}

// The id is always text; "random_id" and "read" swallow failures; optional
// keys take absence and null, written back as null; the rest is required.
TEST(Message, DecodeRules) {
  checkRows<Message>(kMessage, {
      {{{"id"}, "-5"}, R"("-5")"},  // an integer id as its digits
      {{{"id"}, "1.5"}, R"("")"},
      {{{"random_id"}, R"("5")"}, "0"},
      {{{"attachments"}, {}}, "null"},
      {{{"body_json"}, "null"}, "null"},
      {{{"meta_data"}, "3"}, "3"},
      {{{"from"}, "null"}, "null"},  // required, but null is the empty tree
      {{{"from"}, {}}, "keyNotFound"},
      {{{"conversation"}, "5"}, "typeMismatch"},
      {{{"body"}, "null"}, "valueNotFound"},
  });
  // The first bad key in reading order is the one reported.
  EXPECT_EQ(failure<Message>(edited(kMessage, {{{"from"}, {}}, {{"body"}, {}}})),
            "keyNotFound at body");
  EXPECT_EQ(failure<Message>("[]"), "typeMismatch at ");
}

Message make(std::string id, std::int64_t randomId, std::string type) {
  return Message(std::move(id), randomId, "", std::move(type), 0, "", false, "", "", {}, {}, {},
                 {}, {});
}

TEST(Message, EqualityAndHashLookAtIdAlone) {
  Message a = make("1", 5, "reply"), b = make("1", 6, "note"), c = make("2", 5, "reply");
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == c);
  EXPECT_EQ((std::unordered_set<Message>{a, b, c}).size(), 2u);
}

// find: the first element with the same id, or with the same non-zero
// randomId and the same type.
TEST(Message, FindMatchesByIdOrByRandomIdAndType) {
  const std::vector<std::shared_ptr<Message>> list{
      nullptr, std::make_shared<Message>(make("1", 0, "reply")),
      std::make_shared<Message>(make("2", 50, "reply")),
      std::make_shared<Message>(make("3", 50, "note")),
      std::make_shared<Message>(make("1", 60, "reply"))};
  std::vector<Message> values;
  for (std::size_t i = 1; i < list.size(); ++i) values.push_back(*list[i]);
  const std::pair<Message, int> cases[] = {
      {make("1", 60, "other"), 1},  // by id, the first of two
      {make("x", 50, "reply"), 2},  {make("x", 50, "note"), 3},
      {make("x", 50, "other"), 0},  {make("x", 0, "reply"), 0},  // randomId 0 never matches
  };
  for (const auto& [probe, index] : cases) {
    EXPECT_EQ(find(list, probe), list[static_cast<std::size_t>(index)]) << probe.type;
    EXPECT_EQ(find(values, probe), index ? &values[static_cast<std::size_t>(index) - 1] : nullptr);
  }
  EXPECT_TRUE(matches(make("", 0, "a"), make("", 0, "b")));  // equal empty ids
}

// Only "replied" and "expirationTime" swallow failures; "message" and
// "body_json" tolerate absence and null; the records inside follow their own
// rules, and their failures fail the dialog.
TEST(Dialog, DecodeRules) {
  checkRows<Dialog>(kDialog, {
      {{{"expirationTime"}, R"("soon")"}, "null"},
      {{{"message"}, {}}, "null"},
      {{{"message"}, "5"}, "typeMismatch"},
      {{{"id"}, "5"}, "typeMismatch"},
      {{{"parts_count"}, {}}, "keyNotFound"},
      {{{"last_admin"}, "null"}, "valueNotFound"},
      {{{"last_admin", "id"}, "7"}, "null"},
      {{{"part_last", "sent_via"}, {}}, "keyNotFound"},
  });
  EXPECT_EQ(failure<Dialog>(edited(kDialog, {{{"user_unread_count"}, {}}, {{"message"}, "5"}})),
            "typeMismatch at message");
  // A dialog without its records has no JSON form.
  Dialog d = decodeJson<Dialog>(kDialog).value(), e = d;
  d.partLast = nullptr, e.lastAdmin = nullptr;
  EXPECT_FALSE(encodeJson(d) || encodeJson(e));
}

}  // namespace
}  // namespace tavrel
