#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/record_json.h"
#include "tavrel/core/log.h"
#include "tavrel/model/coding_keys.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/response.h"
#include "tavrel/model/rts.h"
#include "tavrel/model/user.h"
#include "tavrel/model/user_property.h"

// The records that only decode, and the key vocabularies.
namespace tavrel {
namespace {

using namespace testing;

// Only the token swallows failures. "has_conversations" is echoed as it is
// read: after "id", before "is_banned".
TEST(User, DecodeRules) {
  std::vector<std::string> lines;
  setDebugSink([&](std::string_view line) { lines.emplace_back(line); });
  EXPECT_EQ(decodeJson<User>(kConnect).value(),
            (User{"u1", "app7", "tok", false, true, {"c1", "c2"}}));
  EXPECT_EQ(decodeJson<User>(edited(kConnect, {{{"data", "auth_token"}, "5"}}))->token,
            std::nullopt);
  checkRows<User>(kConnect, {{{{"data", "app"}, {}}, "keyNotFound"},
                                 {{{"data", "user", "is_banned"}, "1"}, "typeMismatch"},
                                 {{{"data", "user", "id"}, "0"}, "typeMismatch"}});
  setDebugSink({});
  EXPECT_EQ(lines, std::vector<std::string>(4, "hasConversations = true"));
}

// Only "user_changing" reads the token and the user id, and only to check
// the shape: the user stays absent.
TEST(Auth, DecodeRules) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"data":{"result":"ok","auth_token":5,"user":1}})", "decoded"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{"id":"u"}}})", "decoded"},
      {R"({"data":{"result":"user_changing","user":{"id":"u"}}})",
       "keyNotFound at data.auth_token"},
      {R"({"data":{"result":"user_changing","auth_token":"t","user":{}}})",
       "keyNotFound at data.user.id"},
      {R"({"data":{"result":1}})", "typeMismatch at data.result"},
  };
  for (const auto& [json, want] : cases) {
    EXPECT_EQ(failure<Auth>(json), want) << json;
    if (want == "decoded") {
      EXPECT_EQ(decodeJson<Auth>(json)->user, std::nullopt) << json;
    }
  }
}

// Every read is required and strict; "data" is kept whole, so what the typed
// fields leave out stays readable.
TEST(Messenger, DecodeRulesAndTheWholeData) {
  auto m = decodeJson<Messenger>(kConnect);
  ASSERT_TRUE(m) << m.error().what();
  const auto data = *decodeJson<JsonValue>(kConnect)->getIf<JsonValue::Object>()->at("data");
  EXPECT_EQ(m.value(), (Messenger{"#ff0000", "Shop", "app7", true, false, true, false, "vk",
                                  "viber", "fb", "tg", "Здравствуйте!", true, "a.png", data}));
  EXPECT_EQ(m->connectData.getString("auth_token"), "tok");
  EXPECT_EQ(decodeJson<JsonValue>(*m->connectData.getString("app"))->getString("plan"), "pro");
  checkRows<Messenger>(kConnect, {
      {{{"data", "app", "settings", "messenger_icon_telegram_text"}, {}}, "keyNotFound"},
      {{{"data", "app", "settings", "messenger_icon_vk_show"}, R"("true")"}, "typeMismatch"},
      {{{"data", "app", "settings", "messenger_avatar"}, "null"}, "valueNotFound"},
      {{{"data", "app", "name"}, {}}, "keyNotFound"},
  });
}

// Each line: the members after "status":200, and the Meta they give.
TEST(Meta, OptionalFieldsSwallowFailuresAndConvertNumbers) {
  const std::pair<std::string, Meta> cases[] = {
      {"", {200, {}, {}, {}, {}}},
      {R"(,"error":"forbidden","error_message":"no")", {200, "forbidden", "no", {}, {}}},
      {R"(,"error":5,"error_message":null)", {200, {}, {}, {}, {}}},
      {R"(,"next_after":"15")", {200, {}, {}, "15", {}}},
      {R"(,"next_after":15)", {200, {}, {}, "15.0", {}}},
      {R"(,"next_after":true)", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":["abc",1])", {200, {}, {}, {}, "abc"}},
      {R"(,"next_before_position":[1,"abc"])", {200, {}, {}, {}, {}}},
      {R"(,"next_before_position":"abc")", {200, {}, {}, {}, {}}},
  };
  for (const auto& [members, meta] : cases) {
    EXPECT_EQ(decodeJson<Meta>(R"({"status":200)" + members + "}").value(), meta) << members;
  }
  EXPECT_EQ(failure<Meta>(R"({"error":"x"})"), "keyNotFound at status");
  EXPECT_EQ(failure<Meta>(R"({"status":"200"})"), "typeMismatch at status");
  EXPECT_EQ((Meta{403, "forbidden", {}, {}, {}}).printError(),
            "Ошибка (status: 403) forbidden: nil");
  EXPECT_EQ((Meta{-1, {}, "", {}, {}}).printError(), "Ошибка (status: -1) nil: ");
}

TEST(Response, MetaFirstThenDataBothRequired) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"data":{"id":"9"}})", "keyNotFound at meta"},
      {R"({"meta":{"status":200}})", "keyNotFound at data"},
      {R"({"meta":{"status":200},"data":null})", "valueNotFound at data"},
  };
  for (const auto& [json, want] : cases) {
    EXPECT_EQ(failure<Response<SimpleId>>(json), want) << json;
  }
  EXPECT_EQ(decodeJson<Response<SimpleId>>(R"({"meta":{"status":200},"data":{"id":"9"}})")->data,
            SimpleId{"9"});
  // A tree takes null as a value, but the key is still required.
  EXPECT_TRUE(decodeJson<Response<JsonValue>>(cases[2].first)->data.isEmpty());
  EXPECT_EQ(failure<Response<JsonValue>>(cases[1].first), "keyNotFound at data");
  // One bad record fails the whole answer.
  using Ids = Response<std::vector<SimpleId>>;
  EXPECT_EQ(decodeJson<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{"id":"b"}]})")->data,
            (std::vector<SimpleId>{{"a"}, {"b"}}));
  EXPECT_EQ(failure<Ids>(R"({"meta":{"status":200},"data":[{"id":"a"},{}]})"),
            "keyNotFound at data[1].id");
}

// Written under "op", read under "operation"; wire names in snake case, and
// never with the trailing underscore of a C++ keyword.
TEST(UserProperty, EncodesAndDecodesUnderDifferentKeys) {
  using Op = UserProperty::Operations;
  const std::pair<Op, std::string> wireValues[] = {
      {Op::updateOrCreate, "update_or_create"}, {Op::delete_, "delete"}, {Op::union_, "union"}};
  for (const auto& [op, wire] : wireValues) {
    EXPECT_EQ(encodeJson(UserProperty("age", "42", op)).value(),
              R"({"op":")" + wire + R"(","key":"age","value":"42"})");
    EXPECT_EQ(decodeJson<UserProperty>(R"({"operation":")" + wire + R"(","key":"k","value":"v"})")
                  .value(), UserProperty("k", "v", op));
  }
  const std::pair<std::string, std::string> cases[] = {
      {encodeJson(UserProperty("a", "1", Op::add)).value(), "keyNotFound at operation"},
      {R"({"operation":"replace","key":"k","value":"v"})", "dataCorrupted at operation"},
      {R"({"operation":"add","key":"k","value":42})", "typeMismatch at value"},
  };
  for (const auto& [json, want] : cases) EXPECT_EQ(failure<UserProperty>(json), want) << json;
}

TEST(KnowledgeBase, RequiredKeysAndLenientOnes) {
  using S = KnowledgeBaseSettings;
  EXPECT_EQ(decodeJson<S>(R"({"domain":"d","app":"7","full_domain":"f"})").value(),
            (S{"d", "7", "f"}));
  EXPECT_EQ(decodeJson<S>(R"({"domain":"d","app":"7","full_domain":5})").value(),
            (S{"d", "7", {}}));
  EXPECT_EQ(failure<S>(R"({"domain":"d","full_domain":"f"})"), "keyNotFound at app");

  // The icon with its entities decoded; the counter is lenient.
  using C = KnowledgeBaseCategory;
  EXPECT_EQ(decodeJson<C>(R"({"id":"c","name":"n","icon":"&lt;b a=&quot;1&quot;&gt; &amp;",)"
                          R"("articles_counter":3})").value(), (C{"c", "n", R"(<b a="1"> &)", 3}));
  EXPECT_EQ(decodeJson<C>(R"({"id":"c","name":"n","icon":"x","articles_counter":"7"})").value(),
            (C{"c", "n", "x", {}}));
  EXPECT_EQ(failure<C>(R"({"id":"c","name":"n"})"), "keyNotFound at icon");

  // The description from "short_description", else "quote"; the rest lenient.
  using A = KnowledgeBaseArticle;
  const std::pair<std::string, A> articles[] = {
      {R"(,"short_description":"s","quote":"q","content":"c","category_id":"k")",
       {"a", "n", "s", "c", "k"}},
      {R"(,"short_description":"","quote":"q")", {"a", "n", "", {}, ""}},
      {R"(,"short_description":5,"quote":"q")", {"a", "n", "q", {}, ""}},
      {R"(,"quote":5,"content":5,"category_id":5)", {"a", "n", {}, {}, ""}},
  };
  for (const auto& [members, article] : articles) {
    EXPECT_EQ(decodeJson<A>(R"({"id":"a","name":"n")" + members + "}").value(), article);
  }
  EXPECT_EQ(failure<A>(R"({"id":"a","quote":"q"})"), "keyNotFound at name");
}

// Names map back to their cases exactly, case-sensitively; the two traps of
// the shared table keep their spelling.
TEST(Keys, RawValuesMapBackExactly) {
  for (std::size_t i = 0; i < codingKeyCount; ++i) {
    const auto key = static_cast<CodingKeys>(i);
    EXPECT_EQ(codingKeyFromString(rawValue(key)), key);
  }
  EXPECT_EQ(rawValue(CodingKeys::paginateIncluding), "paginate_include");
  EXPECT_EQ(rawValue(CodingKeys::expirationTime), "expirationTime");
  for (const char* unknown : {"paginate_including", "ID", "", "id "}) {
    EXPECT_EQ(codingKeyFromString(unknown), std::nullopt) << unknown;
  }
  EXPECT_EQ(codingKeyFromString(std::string_view("id\0", 3)), std::nullopt);
  for (std::size_t i = 0; i < channelCount; ++i) {
    EXPECT_EQ(channelFromRawValue(rawValue(static_cast<Channel>(i))), static_cast<Channel>(i));
  }
  EXPECT_EQ(rawValue(Channel::conversationReply), "conversation_reply");
  EXPECT_EQ(channelFromRawValue("Ping"), std::nullopt);
  EXPECT_EQ(rootKeyFromString("tag"), RootKeys::tag);
  EXPECT_EQ(rootKeyFromString("Tag"), std::nullopt);
}

// All five keys required, strictly typed, read in order; the message may be
// any JSON value, and other keys are ignored.
TEST(RtsResponse, DecodeRules) {
  const std::string good =
      R"({"id":7,"channel":"ping","message":{},"tag":"t","time":"9.5","x":1})";
  for (std::string message : {R"({"id":"m1"})", R"([1,"a"])", "4.5", "null"}) {
    EXPECT_EQ(decodeJson<RtsResponse>(edited(good, {{{"message"}, message}})).value(),
              (RtsResponse{7, "ping", decodeJson<JsonValue>(message).value(), "t", "9.5"}));
  }
  checkRows<RtsResponse>(good, {{{{"tag"}, {}}, "keyNotFound"},
                                    {{{"id"}, R"("7")"}, "typeMismatch"},
                                    {{{"time"}, "9"}, "typeMismatch"}});
  EXPECT_EQ(failure<RtsResponse>(edited(good, {{{"time"}, "9"}, {{"message"}, {}}})),
            "keyNotFound at message");
  EXPECT_EQ(failure<RtsResponse>(""), "dataCorrupted at ");
}

}  // namespace
}  // namespace tavrel
