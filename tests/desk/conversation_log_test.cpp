// The conversation screen's record: pages, live replies and own sends,
// each message once, oldest first, whichever way and order they came.
#include <gtest/gtest.h>

#include "conversation_log.h"
#include "desk_test.h"
#include "message_views.h"

namespace tavrel::desk {
namespace {

using test::message;
using Delivery = ConversationLog::Delivery;

std::string ids(const ConversationLog& log) {
  std::string out;
  for (const auto& entry : log.entries()) {
    out += (out.empty() ? "" : " ") + (entry.message.id.empty() ? "?" : entry.message.id);
    if (entry.delivery == Delivery::sending) out += "(sending)";
  }
  return out;
}

using Arrival = std::function<void(ConversationLog&)>;

struct MergeCase {
  const char* name;
  std::vector<Arrival> arrivals;
  const char* shown;
};

class ConversationLogMerge : public testing::TestWithParam<MergeCase> {};

TEST_P(ConversationLogMerge, ShowsEachMessageOnceInOrder) {
  ConversationLog log;
  log.open("7");
  for (const auto& arrival : GetParam().arrivals) arrival(log);
  EXPECT_EQ(ids(log), GetParam().shown);
}

Arrival page(std::vector<Message> messages) {
  return [messages](ConversationLog& log) { log.merge(messages); };
}
Arrival live(Message m) {
  return [m](ConversationLog& log) { log.merge(m); };
}
Arrival sending(std::int64_t randomId) {
  return [randomId](ConversationLog& log) { log.addSending("mine", randomId); };
}
Arrival confirmed(std::int64_t randomId, std::string id) {
  return [randomId, id](ConversationLog& log) { log.confirm(randomId, id); };
}

INSTANTIATE_TEST_SUITE_P(
    Arrivals, ConversationLogMerge,
    testing::Values(
        MergeCase{"LiveCopyOfAPageMessage", {page({message("2", 20), message("1", 10)}), live(message("2", 20))},
                  "1 2"},
        MergeCase{"OlderPageGoesAbove", {page({message("5", 50), message("6", 60)}), page({message("3", 30)})},
                  "3 5 6"},
        MergeCase{"SameSecondOrdersByIdAsNumber", {page({message("10", 5), message("9", 5)})}, "9 10"},
        MergeCase{"OtherConversationIgnored", {page({message("1", 10)}), live(message("2", 20, false, 0, "8"))},
                  "1"},
        MergeCase{"OwnSendWaitsLastUntilConfirmed", {page({message("1", 10)}), sending(42), live(message("2", 20))},
                  "1 2 ?(sending)"},
        MergeCase{"OwnSendConfirmedThenLive",
                  {sending(42), confirmed(42, "3"), live(message("3", 30, true, 42)), live(message("4", 31))},
                  "3 4"},
        MergeCase{"OwnSendLiveBeforeConfirmed",
                  {sending(42), live(message("3", 30, true, 42)), confirmed(42, "3"), page({message("3", 30, true, 42)})},
                  "3"},
        MergeCase{"ConfirmedAfterThePageHadIt",
                  {sending(42), page({message("3", 30, true, 0)}), confirmed(42, "3")}, "3"},
        MergeCase{"ConfirmedSendKeepsItsPlaceBeforeLaterAnswers",
                  {page({message("1", 10)}), sending(42), confirmed(42, "2"), live(message("3", 40))}, "1 2 3"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(ConversationLog, AFailedSendGivesItsTextBackOnceAndAnotherDialogStartsOver) {
  ConversationLog log;
  log.open("7");
  log.addSending("lost words", 5);
  EXPECT_FALSE(log.takeFailed(5)) << "still sending";
  log.fail(5);
  EXPECT_EQ(log.takeFailed(5), "lost words");
  EXPECT_TRUE(log.empty());
  EXPECT_FALSE(log.takeFailed(5));

  // Another dialog starts over.
  log.merge(message("1", 1));
  log.setOlderPosition("1");
  log.open("8");
  EXPECT_TRUE(log.empty());
  EXPECT_FALSE(log.olderPosition());
}

TEST(Attachments, FromTheListAndFromLinksToFilesInTheText) {
  Message m = message("1", 1);
  m.body = "see https://files.example/a/report.pdf and https://example.com/page";
  m.attachments = JsonValue(JsonValue::Array{
      JsonValue("https://files.example/x/photo.jpg"),
      JsonValue(JsonObject{{"url", JsonValue("https://files.example/y/1")}, {"name", JsonValue("invoice.pdf")}}),
      JsonValue(JsonObject{{"name", JsonValue("no address")}})});
  const auto found = attachmentsOf(m);
  ASSERT_EQ(found.size(), 3u);
  EXPECT_EQ(found[0].name, "photo.jpg");
  EXPECT_EQ(found[1].name, "invoice.pdf");
  EXPECT_EQ(found[2].url, "https://files.example/a/report.pdf");
  EXPECT_EQ(found[2].name, "report.pdf");
}

}  // namespace
}  // namespace tavrel::desk
