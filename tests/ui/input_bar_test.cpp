// The input bar with real text measurement: growth to the line cap, the
// right view's slide, the delegate's height reports, and the edit questions.
#include <gtest/gtest.h>

#include <QTest>
#include <QTextEdit>
#include <cmath>

#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/al_text_input_bar.h"
#include "tavrel/ui/animation_clock.h"
#include "tavrel/ui/font.h"

namespace tavrel::ui {
namespace {

struct Recorder : ALTextInputBarDelegate {
  std::vector<double> heights;
  int changes = 0;
  bool refuseEdits = false;
  bool refuseBegin = false;
  int begins = 0;
  void textViewDidBeginEditing(ALTextView&) override { ++begins; }
  void inputBarDidChangeHeight(double height) override { heights.push_back(height); }
  void textViewDidChange(ALTextView&) override { ++changes; }
  std::optional<bool> textViewShouldChangeText(ALTextView&, TextRange, const QString&) override {
    return !refuseEdits;
  }
  std::optional<bool> textViewShouldBeginEditing(ALTextView&) override { return !refuseBegin; }
};

QString lines(int n) {
  QStringList parts;
  for (int i = 1; i <= n; ++i) parts << QStringLiteral("line %1").arg(i);
  return parts.join('\n');
}

class InputBarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root.addSubview(bar);
    bar->delegate = &recorder;
    root.show();
    root.layoutIfNeeded();
  }
  void TearDown() override {
    bar->delegate = nullptr;
    rx::MainQueue::shared().drainPending();
  }
  // Moves every animation to its end.
  static void settle() { AnimationClock::shared().advance(1000); }

  View root{QRectF(0, 0, 320, 400)};
  ALTextInputBar* bar = new ALTextInputBar(QRectF(0, 300, 320, 43.5));
  Recorder recorder;
};

TEST_F(InputBarTest, GrowsLineByLineToTheCapThenScrolls) {
  const double line = std::ceil(Font::lineHeight(bar->textView().font()));
  const double cap = bar->textView().maxNumberOfLines();
  double previous = 0;
  const int last = int(cap) + 3;
  for (int n = 1; n <= last; ++n) {
    bar->setText(lines(n));
    const double height = bar->frame().height();
    if (n == 1) {
      EXPECT_NEAR(height, bar->defaultHeight, 1.0);
    } else if (n <= cap) {
      EXPECT_DOUBLE_EQ(height - previous, line) << n << " lines";
    } else {
      EXPECT_DOUBLE_EQ(height, previous) << n << " lines";
    }
    EXPECT_EQ(bar->textView().isScrollEnabled(), n >= cap) << n << " lines";
    previous = height;
  }
  EXPECT_DOUBLE_EQ(bar->textView().frame().height(), line * cap + 12);

  // The caret at the end of the last line is scrolled into view.
  rx::MainQueue::shared().drainPending();
  ALTextView& text = bar->textView();
  const QRectF caret = text.caretRect(int(text.text().size()));
  EXPECT_GT(text.contentOffset().y(), 0);
  EXPECT_LE(caret.bottom(), text.contentOffset().y() + text.frame().height());

  // Deleting shrinks it back; the frame has no floor at the one-line height.
  bar->setText(QString());
  EXPECT_LT(bar->frame().height(), bar->defaultHeight);
  EXPECT_GT(bar->frame().height(), bar->defaultHeight - 1);
  EXPECT_FALSE(text.isScrollEnabled());
}

TEST_F(InputBarTest, RightViewSlidesInWithTextAndOutWithout) {
  bar->setRightView(new View(QRectF(0, 0, 40, 30)));
  View& right = *bar->rightView();
  EXPECT_EQ(right.frame().x(), 320);
  EXPECT_EQ(bar->textView().frame().width(), 290);

  bar->textView().becomeFirstResponder();
  QTest::keyClicks(bar->textView().editor(), "hi");
  // The model is in place at once; the screen gets there in 0.2 s.
  EXPECT_EQ(right.frame().x(), 320 - 55);
  EXPECT_EQ(bar->textView().frame().width(), 290 - 45);
  EXPECT_EQ(right.presentationFrame().x(), 320);
  AnimationClock::shared().advance(200);
  EXPECT_EQ(right.presentationFrame().x(), 265);
  EXPECT_EQ(bar->textView().presentationFrame().width(), 245);

  // One more character changes nothing of the layout: no animation starts.
  QTest::keyClick(bar->textView().editor(), 'a');
  EXPECT_EQ(AnimationClock::shared().running(), 0u);

  bar->setText(QString());
  EXPECT_EQ(right.frame().x(), 320);
  settle();
  EXPECT_EQ(right.presentationFrame().x(), 320);
  EXPECT_EQ(bar->textView().presentationFrame().width(), 290);
}

TEST_F(InputBarTest, AlwaysShowRightButtonKeepsItInPlace) {
  bar->alwaysShowRightButton = true;
  bar->setRightView(new View(QRectF(0, 0, 40, 30)));
  View& right = *bar->rightView();
  EXPECT_EQ(right.frame().x(), 265);
  for (const char* text : {"hello", "", "again"}) {
    bar->setText(text);
    EXPECT_EQ(AnimationClock::shared().running(), 0u) << text;
    EXPECT_EQ(right.presentationFrame().x(), 265) << text;
    EXPECT_EQ(bar->textView().frame().width(), 245) << text;
  }
}

TEST_F(InputBarTest, DelegateAndKeyboardViewHearEachHeightOnce) {
  auto* keyboard = new ALKeyboardObservingView(QRectF(0, 0, 320, 44));
  root.addSubview(keyboard);
  auto constraint = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::height, keyboard, 44);
  keyboard->constraints().push_back(constraint);
  auto own = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::height, bar, 43.5);
  bar->constraints().push_back(own);
  bar->keyboardObserver = keyboard;

  bar->setText("one");
  recorder.heights.clear();
  // Typing on the same line, a new line, more on it, then back.
  for (const char* text : {"one two", "one\ntwo", "one\ntwo three", "one\ntwo three\nfour", "one"}) bar->setText(text);
  ASSERT_EQ(recorder.heights.size(), 3u);
  EXPECT_LT(recorder.heights[0], recorder.heights[1]);
  EXPECT_GT(recorder.heights[2], 0);
  EXPECT_LT(recorder.heights[2], recorder.heights[0]);
  EXPECT_EQ(recorder.heights.back(), bar->frame().height());
  // The bar's own height rule never goes under its default height.
  EXPECT_EQ(own->constant(), 43.5);
  bar->setText("a\nb\nc");
  EXPECT_EQ(constraint->constant(), recorder.heights.back());
  EXPECT_EQ(own->constant(), recorder.heights.back());
}

TEST_F(InputBarTest, EditQuestionsAreAskedAndRefusalsHonoured) {
  QTextEdit* editor = bar->textView().editor();
  // The bar lets editing begin whatever its delegate answers.
  recorder.refuseBegin = true;
  QFocusEvent focusIn(QEvent::FocusIn);
  QCoreApplication::sendEvent(editor, &focusIn);
  EXPECT_EQ(recorder.begins, 1);
  recorder.refuseEdits = true;
  QTest::keyClicks(editor, "no");
  EXPECT_EQ(bar->text(), "");
  EXPECT_EQ(recorder.changes, 0);
  recorder.refuseEdits = false;
  QTest::keyClicks(editor, "ok");
  QTest::keyClick(editor, Qt::Key_Backspace);
  EXPECT_EQ(bar->text(), "o");
  EXPECT_EQ(recorder.changes, 3);
}

TEST_F(InputBarTest, PlaceholderShowsOnlyWhileEmpty) {
  ALTextView& text = bar->textView();
  auto placeholderShown = [&] {
    root.layoutIfNeeded();
    for (View* sub : text.subviews())
      if (!sub->isHidden()) return true;
    return false;
  };
  EXPECT_TRUE(placeholderShown());
  bar->setText("x");
  EXPECT_FALSE(placeholderShown());
  bar->setText("");
  EXPECT_TRUE(placeholderShown());
  text.setPlaceholder("");
  text.setNeedsLayout();
  EXPECT_FALSE(placeholderShown());
}

}  // namespace
}  // namespace tavrel::ui
