// The conversation's column: rows placed by sender, and the scroll position
// kept as pages come above and news below.
#include <gtest/gtest.h>

#include <QApplication>
#include <QScrollBar>

#include "desk_test.h"
#include "message_views.h"

namespace tavrel::desk {
namespace {

using test::message;

std::vector<ConversationLog::Entry> entries(int from, int to) {
  std::vector<ConversationLog::Entry> out;
  for (int i = from; i <= to; ++i) out.push_back({message(std::to_string(i), i, i % 2 == 0), {}});
  return out;
}

TEST(MessageRow, OwnMessagesRightTheirsLeftBubbleBesideTheAvatar) {
  for (bool ours : {true, false}) {
    ConversationLog::Entry entry{message("1", 1, ours), {}};
    entry.message.body = std::string(300, 'w') + " end";
    MessageRow row(entry, 375, {});
    EXPECT_DOUBLE_EQ(row.frame().height(), MessageRow::heightFor(entry, 375));
    const auto views = row.subviews();
    const QRectF avatar = views[0]->frame(), bubble = views[1]->frame();
    EXPECT_EQ(avatar.center().x() > 375 / 2.0, ours);
    EXPECT_LE(bubble.width(), 375 * 0.7 + 1) << "a long text wraps";
    EXPECT_FALSE(bubble.intersects(avatar));
    EXPECT_DOUBLE_EQ(avatar.bottom(), bubble.bottom()) << "the avatar sits by the bubble's last line";
    EXPECT_LE(bubble.bottom(), row.frame().height());
  }
}

class MessagesViewScroll : public testing::Test {
 protected:
  MessagesViewScroll() : view(QRectF(0, 0, 375, 300)) { view.show(); }
  QScrollBar& bar() { return *view.scrollArea().verticalScrollBar(); }
  void set(std::vector<ConversationLog::Entry> e) {
    view.setEntries(e);
    QApplication::processEvents();
  }
  MessagesView view;
};

TEST_F(MessagesViewScroll, OpensOnTheNewestAndFollowsNewsWhileThere) {
  set(entries(10, 30));
  ASSERT_GT(bar().maximum(), 0);
  EXPECT_EQ(bar().value(), bar().maximum());
  set(entries(10, 31));
  EXPECT_EQ(bar().value(), bar().maximum()) << "news shows while at the bottom";

  bar().setValue(bar().maximum() / 2);
  const int reading = bar().value();
  set(entries(10, 32));
  EXPECT_EQ(bar().value(), reading) << "news below does not move what is being read";
}

TEST_F(MessagesViewScroll, AnOlderPageAboveKeepsWhatIsShown) {
  set(entries(10, 30));
  int asked = 0;
  view.onReachedTop = [&asked] { ++asked; };
  bar().setValue(0);
  EXPECT_EQ(asked, 1) << "the top asks for the older page";
  const int fromBottom = bar().maximum() - bar().value();
  set(entries(1, 30));
  EXPECT_GT(bar().value(), 0);
  EXPECT_EQ(bar().maximum() - bar().value(), fromBottom);
}

}  // namespace
}  // namespace tavrel::desk
