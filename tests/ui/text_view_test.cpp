// The text view's own measurements and the bar's frame arithmetic around
// it, with real fonts.
#include <gtest/gtest.h>

#include <QTest>
#include <cmath>

#include "tavrel/ui/al_text_input_bar.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/layout_helpers.h"

namespace tavrel::ui {
namespace {

struct Heights : ALTextViewDelegate {
  std::vector<double> reported;
  void textViewHeightChanged(ALTextView&, double h) override { reported.push_back(h); }
};

TEST(ALTextView, HeightsCapAndPlaceholderFrame) {
  ALTextView view(QRectF(0, 0, 200, 30));
  view.setFont(Font::system(15));
  view.setTextContainerInset({6, 8, 6, 0});
  view.setLineFragmentPadding(0);
  Heights heights;
  view.setTextViewDelegate(&heights);
  const double line = Font::lineHeight(view.font());

  // Empty: the unrounded line height; minimumHeight rounds it up.
  EXPECT_DOUBLE_EQ(view.roundHeight(), line + 12);
  EXPECT_DOUBLE_EQ(view.minimumHeight(), std::ceil(line) + 12);

  // No cap: however long the text, no scrolling.
  view.setText(QString("long text ").repeated(40));
  view.updateSize();
  EXPECT_GT(view.expectedHeight(), 10 * line);
  EXPECT_FALSE(view.isScrollEnabled());
  // A cap set now applies from the next update, which reports even an
  // unchanged height.
  view.setMaxNumberOfLines(2);
  EXPECT_FALSE(view.isScrollEnabled());
  heights.reported.clear();
  view.updateSize();
  view.updateSize();
  EXPECT_EQ(heights.reported, (std::vector<double>(2, std::ceil(line) * 2 + 12)));
  EXPECT_TRUE(view.isScrollEnabled());

  // The placeholder sits inside the inset and the line padding.
  EXPECT_EQ(view.placeholderRectThatFits(view.bounds()), QRectF(8, 6, 192, 18));
  view.setLineFragmentPadding(3);
  EXPECT_EQ(view.placeholderRectThatFits(view.bounds()), QRectF(11, 6, 186, 18));
  view.setTextViewDelegate(nullptr);
}

TEST(ALTextInputBar, FramesAroundTheTextArea) {
  struct Row {
    double left;      // width of the left view, or -1 for none
    bool border;      // showTextViewBorder, with padding left 2, right 3
    double textX, textWidth;
  } rows[] = {
      {-1, false, 15, 290},
      {30, false, 50, 255},
      {0, false, 15, 290},  // a zero-width left view leaves the area alone
      {30, true, 52, 250},
  };
  for (const auto& row : rows) {
    ALTextInputBar bar(QRectF(0, 0, 320, 43.5));
    if (row.left >= 0) bar.setLeftView(new View(QRectF(0, 0, row.left, 30)));
    bar.textViewBorderPadding = {1, 2, 4, 3};
    bar.setShowTextViewBorder(row.border);
    bar.layoutIfNeeded();
    const QRectF text = bar.textView().frame();
    EXPECT_EQ(text.x(), row.textX) << row.left << " " << row.border;
    EXPECT_EQ(text.width(), row.textWidth) << row.left << " " << row.border;
    // The border grows the text frame by the padding on all four sides,
    // shown or not; the cover lies exactly on the text.
    EXPECT_EQ(bar.textViewBorderView().frame(), text.adjusted(-2, -1, 3, 4));
    EXPECT_EQ(bar.disableView().frame(), text);
    if (row.left > 0) {
      EXPECT_EQ(bar.leftView()->frame().topLeft(), QPointF(15, std::ceil(43 - (6.75 + 30))));
    }
  }
}

TEST(ALTextInputBar, ABottomSafeAreaLeavesTheHeightRuleAlone) {
  ALTextInputBar bar(QRectF(0, 0, 320, 43.5));
  auto rule = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::height, &bar, 43.5);
  bar.constraints().push_back(rule);
  Application::setSafeAreaOverride(EdgeInsets{0, 0, 34, 0});
  bar.setText("one\ntwo");
  Application::setSafeAreaOverride(std::nullopt);
  EXPECT_EQ(rule->constant(), 43.5);
  EXPECT_GT(bar.frame().height(), 60);
}

TEST(Control, ATapIsAPressAndAReleaseInside) {
  Control control(QRectF(0, 0, 50, 40));
  int taps = 0;
  QObject::connect(&control, &Control::touchUpInside, [&] { ++taps; });
  auto tap = [&](QPoint release) {
    QTest::mousePress(&control, Qt::LeftButton, {}, QPoint(10, 10));
    QTest::mouseRelease(&control, Qt::LeftButton, {}, release);
  };
  tap({20, 20});
  tap({80, 20});  // dragged out before letting go
  EXPECT_EQ(taps, 1);
  control.setUserInteractionEnabled(false);
  tap({20, 20});
  EXPECT_EQ(taps, 1);
}

}  // namespace
}  // namespace tavrel::ui
