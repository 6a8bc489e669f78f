// `tavrel chat` without a terminal, as a script drives it: the executable in a
// child process against the reference service in this one.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "chat_events.h"
#include "child_process.h"
#include "run_cli.h"
#include "tavrel/service/server.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

// Everything the child printed until it ended, and how it ended.
struct Output {
  std::vector<std::string> lines;
  int status;
  std::size_t count(const std::string& line) const {
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
  }
  std::size_t countStarting(const std::string& prefix) const {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const auto& l) { return l.starts_with(prefix); }));
  }
};

Output finish(Child& child) {
  Output run;
  while (auto line = child.line()) run.lines.push_back(*line);
  run.status = child.status();
  return run;
}

// Reads lines until one starts with `prefix`; false if none came.
bool waitFor(Child& child, const std::string& prefix) {
  while (auto line = child.line()) {
    if (line->starts_with(prefix)) return true;
  }
  return false;
}

class Chat : public ::testing::Test {
 protected:
  Chat() {
    fs::create_directories(folder_.path / "state");
    folder_.env("XDG_STATE_HOME", folder_.path / "state");
  }
  // A service in this process, and bundles that point the child at it.
  void serve(std::chrono::milliseconds botDelay) {
    service::ServerOptions options;
    options.listen = "127.0.0.1:0";
    options.botTypingDelay = botDelay;
    auto started = service::Server::start(options);
    ASSERT_EQ(started.index(), 0u) << std::get<1>(started).message;
    server_ = std::move(std::get<0>(started));
    folder_.bundle("TAVREL_MAIN_BUNDLE", "main", "<key>apiUrl</key><string>" + server_->apiUrl() + "</string>");
    folder_.bundle("TAVREL_LIB_BUNDLE", "lib", "<key>wssUrl</key><string>" + server_->wssUrl() + "</string>");
  }
  Child chat(std::vector<std::string> args) {
    args.insert(args.begin(), "chat");
    return Child(args, folder_.path / "err");
  }

  TestFolder folder_;
  std::unique_ptr<service::Server> server_;
};

TEST_F(Chat, WithNothingConfiguredTalksToItsOwnServiceAndWaitsForTheAnswers) {
  // No bundle named, no session: the service starts in the chat's process.
  Child child = chat({});
  child.write("hello :smile:\nhow do I change my password?\n");
  child.closeInput();
  const Output run = finish(child);
  EXPECT_EQ(run.status, 0) << child.err();
  EXPECT_EQ(run.count("you: hello \xF0\x9F\x98\x84"), 1u);  // U+1F604
  EXPECT_EQ(run.count("you: how do I change my password?"), 1u);
  // The bot types for a while before each answer; the end of input waited.
  EXPECT_EQ(run.countStarting("Support bot: "), 2u) << ::testing::PrintToString(run.lines);
  EXPECT_TRUE(fs::is_empty(folder_.path / "state"));  // nothing of it saved
}

TEST_F(Chat, NoAnswerIsLostOrRepeatedAcrossALostConnectionOrAStop) {
  serve(std::chrono::milliseconds(300));
  Child child = chat({"--key", server_->demoApp().apiKey, "--network", "manual"});
  child.write("first\n");
  ASSERT_TRUE(waitFor(child, "Support bot: ")) << child.err();
  // Offline: the socket closes, the answer to the second comes meanwhile.
  child.write("/offline\nsecond\n");
  ASSERT_TRUE(waitFor(child, "you: second")) << child.err();
  child.write("/online\n");
  ASSERT_TRUE(waitFor(child, "Support bot: ")) << child.err();
  // Stopped before the bot has answered the third: the socket closes first.
  child.write("third\n");
  ASSERT_TRUE(waitFor(child, "you: third")) << child.err();
  child.signal(SIGTSTP);
  ASSERT_EQ(child.status(WUNTRACED), Child::kStopped);
  child.signal(SIGCONT);
  child.closeInput();
  const Output run = finish(child);
  EXPECT_EQ(run.status, 0) << child.err();
  EXPECT_EQ(run.countStarting("Support bot: "), 1u) << ::testing::PrintToString(run.lines);
}

TEST_F(Chat, OpensAConversationAndPagesBackToItsFirstMessage) {
  serve(std::chrono::milliseconds(0));
  const std::string key = server_->demoApp().apiKey;
  {
    Child child = chat({"--key", key, "--new"});
    for (int i = 1; i <= 25; ++i) child.write("m" + std::to_string(i) + "\n");
    child.closeInput();
    ASSERT_EQ(finish(child).status, 0) << child.err();
  }
  // The saved session, the conversation the first run started.
  Child child = chat({"--conversation", "1"});
  child.write("/more\n/more\n/more\n");
  child.closeInput();
  const Output run = finish(child);
  EXPECT_EQ(run.status, 0) << child.err();
  EXPECT_EQ(run.countStarting("Support bot: "), 25u);
  // The newest page, then each earlier one: every message once, and then
  // nothing more to page back to.
  for (int i = 1; i <= 25; ++i) {
    EXPECT_EQ(run.count("you: m" + std::to_string(i)), 1u) << ::testing::PrintToString(run.lines);
  }
  EXPECT_NE(child.err().find("no earlier messages"), std::string::npos) << child.err();
}

TEST_F(Chat, RefusesAWrongCommandLineBeforeConnecting) {
  struct {
    std::vector<std::string> args;
    int status;
    std::string says;
  } rows[] = {
      {{"--new", "--conversation", "3"}, 64, "exclude each other"},
      {{"--embedded", "--key", "k"}, 64, "no --key"},
      {{"--embedded", "--network", "wifi"}, 64, "linux or manual"},
      {{"--embedded", "--conversation", "../3"}, 64, "the id of a conversation"},
      {{"--key", "wrong"}, 1, ""},
  };
  serve(std::chrono::milliseconds(0));
  for (const auto& row : rows) {
    Child child = chat(row.args);
    child.closeInput();
    EXPECT_EQ(finish(child).status, row.status) << child.err();
    EXPECT_NE(child.err().find(row.says), std::string::npos) << child.err();
  }
}

TEST(ChatFrames, ReadsRepliesAndTypingAndShowsEachMessageOnce) {
  const std::string reply =
      R"({"id":4,"channel":"conversation_reply","tag":"t","time":"1","message":)"
      R"({"id":"9","random_id":0,"body":"hi","type":"comment","created":5,"direction":"a2u",)"
      R"("read":false,"sent_via":"","reply_type":"","from":{"name":"Ann"},"conversation":"2"}})";
  const auto parsed = ChatFrame::parse(reply);
  const auto* message = std::get_if<ChatFrame::Reply>(&parsed.event);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(messageLine(message->message), "Ann: hi");

  const auto typing = ChatFrame::parse(
      R"({"id":5,"channel":"conversation_typing","tag":"t","time":"1",)"
      R"("message":{"conversation":2,"from":{"name":"Ann"}}})");
  ASSERT_TRUE(std::holds_alternative<ChatFrame::Typing>(typing.event));
  EXPECT_EQ(std::get<ChatFrame::Typing>(typing.event).dialogId, "2");
  EXPECT_EQ(std::get<ChatFrame::Typing>(typing.event).who, "Ann");
  for (auto other : {"", "[]", R"({"id":6,"channel":"ping","tag":"","time":"","message":1})",
                     R"({"id":6,"channel":"conversation_reply","tag":"","time":"","message":1})"}) {
    EXPECT_TRUE(std::holds_alternative<ChatFrame::Other>(ChatFrame::parse(other).event)) << other;
  }

  Transcript transcript;
  transcript.open("2");
  EXPECT_TRUE(transcript.admit(message->message));
  EXPECT_FALSE(transcript.admit(message->message));  // a frame and a page both had it
  Message echo = message->message;
  echo.id = "10", echo.direction = "u2a", echo.randomId = 77;
  transcript.sent("", 77);
  EXPECT_FALSE(transcript.admit(echo));  // our own, by its random id
  Message elsewhere = message->message;
  elsewhere.id = "11", elsewhere.conversation = "3";
  EXPECT_FALSE(transcript.admit(elsewhere));
}

}  // namespace
}  // namespace tavrel::cli
