#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "command.h"

namespace tavrel::cli {
namespace {

struct Run {
  int status;
  std::string out, err;
};

Run decode(std::vector<std::string> args, const std::string& input) {
  args.insert(args.begin(), "decode");
  std::istringstream in(input);
  std::ostringstream out, err;
  int status = runCommandLine(args, {in, out, err});
  return {status, out.str(), err.str()};
}

const std::string kUser = R"({"data":{"auth_token":"tok","user":{"id":"u1","has_conversations":true,)"
                          R"("is_banned":false,"conversations_unread":["c1"]},"app":{"id":"7"}}})";
const std::string kMessage =
    R"({"id":"m1","random_id":5,"body":"hi","type":"reply","created":1,"direction":"u2a",)"
    R"("read":true,"sent_via":"ios","reply_type":"text","from":{"id":"u1"},"conversation":null,)"
    R"("body_json":null,"meta_data":null,"attachments":null})";

TEST(DecodeCommand, WritesEachKindOfTypeAsJson) {
  struct Case {
    std::string type, input, output;
  } cases[] = {
      {"JsonValue", R"( {"a":[1,2.5,"x",true,null]} )", R"({"a":[1,2.5,"x",true,null]})"},
      {"User", kUser, kUser},
      {"Auth", R"({"data":{"result":"ok"}})", R"({"user":null,"data":{"result":"ok"}})"},
      {"UserProperty", R"({"operation":"set_once","key":"k","value":"v"})",
       R"({"op":"set_once","key":"k","value":"v"})"},
      {"Meta", R"({"status":200,"next_after":15,"next_before_position":["p"]})",
       R"({"status":200,"error":null,"error_message":null,"next_after":"15.0","next_before_position":"p"})"},
      {"KnowledgeBaseCategory", R"({"id":"c","name":"n","icon":"&lt;i&gt;"})",
       R"({"id":"c","name":"n","icon":"<i>","articles_counter":null})"},
      {"KnowledgeBaseArticle", R"({"id":"a","name":"n","quote":"q","category_id":3})",
       R"({"id":"a","name":"n","short_description":"q","content":null,"category_id":""})"},
      {"KnowledgeBaseSettings", R"({"domain":"d","app":"7"})",
       R"({"domain":"d","app":"7","full_domain":null})"},
      {"RtsResponse", R"({"id":3,"channel":"ping","message":[1],"tag":"t","time":"9","x":0})",
       R"({"id":3,"channel":"ping","message":[1],"tag":"t","time":"9"})"},
      {"[Message]", "[" + kMessage + "]", "[" + kMessage + "]"},
      {"[SimpleId]", "[]", "[]"},
      {"Response<SimpleId>", R"({"data":{"id":"9"},"meta":{"status":201}})",
       R"({"meta":{"status":201,"error":null,"error_message":null,"next_after":null,)"
       R"("next_before_position":null},"data":{"id":"9"}})"},
      {"Response<[Person]>",
       R"({"meta":{"status":200},"data":[{"id":5,"type":"user","name":"A","avatar":""}]})",
       R"({"meta":{"status":200,"error":null,"error_message":null,"next_after":null,)"
       R"("next_before_position":null},"data":[{"id":null,"type":"user","name":"A","avatar":""}]})"},
  };
  for (const auto& c : cases) {
    auto run = decode({c.type}, c.input);
    EXPECT_EQ(run.status, 0) << c.type << ": " << run.err;
    EXPECT_EQ(run.out, c.output + "\n") << c.type;
  }
}

TEST(DecodeCommand, DebugLinesStayOffStandardOutput) {
  auto run = decode({"User"}, kUser);
  EXPECT_EQ(run.out, kUser + "\n");
  EXPECT_EQ(run.err, "hasConversations = true\n");
}

TEST(DecodeCommand, FailuresNameThePathAndExitWithOne) {
  struct Case {
    std::string type, input, error;
  } cases[] = {
      {"User", R"({"data":{"user":{"id":"u"},"app":{}}})",
       "keyNotFound at data.user.has_conversations"},
      {"Response<[Message]>", R"({"meta":{"status":200},"data":[)" + kMessage + ",{}]}",
       "keyNotFound at data[1].body"},
      {"RtsResponse", R"({"id":1,"channel":"c","message":0,"tag":"t","time":1})",
       "typeMismatch at time"},
      {"Messenger", "{\"data\":1}", "typeMismatch at data"},
      {"JsonValue", "", "dataCorrupted at the top level"},
      {"JsonValue", "{\"a\":\"\xff\"}", "dataCorrupted at the top level"},
      {"SimpleId", std::string(5000, '['), "dataCorrupted at the top level"},
  };
  for (const auto& c : cases) {
    auto run = decode({c.type}, c.input);
    EXPECT_EQ(run.status, 1) << c.type;
    EXPECT_EQ(run.out, "") << c.type;
    EXPECT_EQ(run.err.rfind("tavrel decode: " + c.error, 0), 0u) << c.type << ": " << run.err;
  }
}

TEST(DecodeCommand, UsageAndUnknownTypes) {
  auto help = decode({"--help"}, "");
  EXPECT_EQ(help.status, 0);
  for (std::string name : {"JsonValue", "Person", "Admin", "Message", "Dialog", "User", "Auth",
                           "Messenger", "UserProperty", "KnowledgeBaseSettings",
                           "KnowledgeBaseCategory", "KnowledgeBaseArticle", "Meta", "SimpleId",
                           "RtsResponse", "[X]", "Response<X>"}) {
    EXPECT_NE(help.out.find(name), std::string::npos) << name;
  }
  for (std::vector<std::string> args :
       {std::vector<std::string>{}, {"Message", "extra"}, {"Mesage"}, {"[[Message]]"},
        {"Response<Response<Meta>>"}, {"[Response<Meta>]"}, {"Response<Meta"}, {"[]"}}) {
    auto run = decode(args, "{}");
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("usage: tavrel decode TYPE"), std::string::npos);
  }
}

}  // namespace
}  // namespace tavrel::cli
