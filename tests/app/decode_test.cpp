#include <gtest/gtest.h>

#include "app/run_cli.h"

namespace tavrel::cli {
namespace {

CliRun decode(std::vector<std::string> args, const std::string& input) {
  args.insert(args.begin(), "decode");
  return runCli(args, input);
}

const std::string kUser = R"({"data":{"auth_token":null,"user":{"id":"u1","has_conversations":true,)"
                          R"("is_banned":false,"conversations_unread":["c1"]},"app":{"id":"7"}}})";
const std::string kMeta = R"({"status":201,"error":null,"error_message":null,"next_after":"15.0",)"
                          R"("next_before_position":"p"})";

TEST(DecodeCommand, WritesEachKindOfTypeAsJson) {
  struct Case {
    std::string type, input, output;
  } cases[] = {
      {"JsonValue", R"( {"a":[1,2.5,"x",true,null]} )", R"({"a":[1,2.5,"x",true,null]})"},
      {"User", kUser, kUser},
      {"[SimpleId]", R"([{"id":"a"},{"id":"b"}])", R"([{"id":"a"},{"id":"b"}])"},
      {"Response<[Person]>",
       R"({"data":[{"id":5,"type":"user","name":"A","avatar":""}],)"
       R"("meta":{"status":201,"next_after":15,"next_before_position":["p"]}})",
       R"({"meta":)" + kMeta + R"(,"data":[{"id":null,"type":"user","name":"A","avatar":""}]})"},
  };
  for (const auto& c : cases) {
    auto run = decode({c.type}, c.input);
    EXPECT_EQ(run.status, 0) << c.type << ": " << run.err;
    EXPECT_EQ(run.out, c.output + "\n") << c.type;
  }
  // Debug lines stay off standard output.
  EXPECT_EQ(decode({"User"}, kUser).err, "hasConversations = true\n");
}

TEST(DecodeCommand, FailuresNameThePathAndExitWithOne) {
  struct Case {
    std::string type, input, error;
  } cases[] = {
      {"User", R"({"data":{"user":{"id":"u"},"app":{}}})",
       "keyNotFound at data.user.has_conversations"},
      {"Response<[Dialog]>", R"({"meta":{"status":200},"data":[{}]})", "keyNotFound at data[0]."},
      {"RtsResponse", R"({"id":1,"channel":"c","message":0,"tag":"t","time":1})",
       "typeMismatch at time"},
      {"JsonValue", "", "dataCorrupted at the top level"},
  };
  for (const auto& c : cases) {
    auto run = decode({c.type}, c.input);
    EXPECT_EQ(run.status, 1) << c.type;
    EXPECT_EQ(run.out, "") << c.type;
    EXPECT_EQ(run.err.rfind("tavrel decode: " + c.error, 0), 0u) << c.type << ": " << run.err;
  }
}

TEST(DecodeCommand, UsageListsTheTypesAndRefusesOthers) {
  auto help = decode({"--help"}, "");
  EXPECT_EQ(help.status, 0);
  for (std::string name : {"JsonValue", "Message", "Meta", "[X]", "Response<X>"}) {
    EXPECT_NE(help.out.find("  " + name), std::string::npos) << name;
  }
  for (std::vector<std::string> args :
       {std::vector<std::string>{}, {"Message", "x"}, {"Mesage"}, {"[[Message]]"}, {"[]"}}) {
    auto run = decode(args, "{}");
    EXPECT_EQ(run.status, 64);
    EXPECT_TRUE(run.err.ends_with("; see `tavrel decode --help`\n")) << run.err;
  }
}

}  // namespace
}  // namespace tavrel::cli
