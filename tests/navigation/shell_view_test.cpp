// The shell's views: NavigationView's states, frames and touches, the error
// panel's block, the bar's containers and its blur.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QPainter>
#include <QTest>
#include <optional>
#include <vector>

#include "tavrel/device/connectivity_status.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/ui/animation_clock.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/control.h"
#include "tavrel/ui/keyboard.h"

namespace tavrel::navigation {
namespace test {
void setNetwork(ConnectivityStatus status);  // shell_presenter_test.cpp
}  // namespace test
namespace {

using State = NavigationViewState;

void settle(ui::View& view) {
  view.layoutIfNeeded();
  ui::AnimationClock::shared().advance(250);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

std::optional<double> alphaOf(const ui::View* view) {
  if (!view) return std::nullopt;
  EXPECT_EQ(view->presentationAlpha(), view->alpha());
  return view->alpha();
}

TEST(NavigationView, EachTransitionLeavesTheViewsItsStateNeeds) {
  struct Case {
    const char* name;
    std::vector<State> states;
    bool overlay;
    std::optional<double> loading, error;  // alpha; none when absent
  };
  const State zero = State::zeroData("Пусто", "Здесь ничего нет");
  const std::vector<Case> cases = {
      {"loading to loading", {State::contentLoading(), State::fullscreenLoading()}, true, 1, {}},
      {"loading to error", {State::frameLoading({10, 10, 50, 50}), State::serverError()}, true, 0, 1},
      {"error to loading", {zero, State::contentLoading()}, true, 1, 0},
      {"error to error", {State::connectError(), zero}, true, {}, 1},
      {"error, loading, error", {State::connectError(), State::contentLoading(), zero}, true, 0, 1},
      {"anything to hide", {State::contentLoading(), State::connectError(), State::hide()}, false, {}, {}},
      {"hide at once after loading", {State::contentLoading(), State::hide()}, false, {}, {}},
      {"loading during hide's fade", {State::contentLoading(), State::hide(), State::contentLoading()}, true, 1, {}},
  };
  for (const auto& c : cases) {
    NavigationView view(QRectF(0, 0, 320, 480));
    std::vector<ErrorViewProtocol*> panels;
    auto d = view.errorViewObserver().asObservable().subscribe([&](ErrorViewProtocol* p) { panels.push_back(p); });
    NetworkErrorView* firstPanel = nullptr;
    for (const State& s : c.states) {
      const bool hadLoading = view.loadingView();
      view.show(s);
      // A new spinner is not faded in.
      if (!hadLoading && view.loadingView()) {
        EXPECT_EQ(view.loadingView()->presentationAlpha(), 1) << c.name;
      }
      if (s.kind() != State::Case::hide) settle(view);
      if (!firstPanel) firstPanel = view.errorView();
    }
    settle(view);
    EXPECT_EQ(view.overlay() != nullptr, c.overlay) << c.name;
    EXPECT_EQ(alphaOf(view.loadingView()), c.loading) << c.name;
    EXPECT_EQ(alphaOf(view.errorView()), c.error) << c.name;
    if (c.error == 1) {
      EXPECT_EQ(view.errorView(), firstPanel) << c.name << ": the panel is reused";
      EXPECT_EQ(view.errorView()->titleView().text(), view.state()->getTitle()) << c.name;
    }
    EXPECT_EQ(view.children().size(), std::size_t(c.overlay) + c.loading.has_value() + c.error.has_value()) << c.name;
    EXPECT_EQ(panels.back(), static_cast<ErrorViewProtocol*>(view.errorView())) << c.name;
    d.dispose();
  }
}

TEST(NavigationView, FramesStayUnderTheBarAndAboveTheKeyboard) {
  ZKNavigationBar::setScreenWidthOverride(320);
  NavigationView view(QRectF(0, 0, 320, 600));
  auto* first = new ZKNavigationBar();
  view.setNavigationBar(first);
  auto* bar = new ZKNavigationBar();
  view.setNavigationBar(bar);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(view.children().size(), 1u) << "only the second bar";
  bar->setFrame(QRectF(0, 0, 320, 44));
  ui::Keyboard::shared().setVisibleHeight(100);
  const QRectF content(0, 44, 320, 456);
  const std::pair<State, QRectF> cases[] = {
      {State::contentLoading(), content},
      {State::fullscreenLoading(), {0, 0, 320, 600}},
      {State::frameLoading({20, 300, 40, 40}), {20, 300, 40, 40}},
      {State::connectError(), content},
  };
  for (const auto& [state, expected] : cases) {
    view.show(state);
    settle(view);
    const ui::View* shown = state.isLoading() ? static_cast<ui::View*>(view.loadingView()) : view.errorView();
    EXPECT_EQ(shown->frame(), expected) << toString(state.kind());
    EXPECT_EQ(view.overlay()->frame(), content) << toString(state.kind());
  }
  ui::Keyboard::shared().setVisibleHeight(0);
  ZKNavigationBar::setScreenWidthOverride(std::nullopt);
}

TEST(NavigationView, AServerErrorWhileOfflineShowsTheLostNetwork) {
  NavigationView view(QRectF(0, 0, 320, 480));
  test::setNetwork(ConnectivityStatus::notConnected);
  view.show(State::serverError());
  EXPECT_EQ(view.state(), State::connectError());
  EXPECT_EQ(view.errorView()->titleView().text(), State::connectError().getTitle());
  test::setNetwork(ConnectivityStatus::connected);
  view.show(State::serverError());
  EXPECT_EQ(view.errorView()->descView().text(), State::serverError().getDesc());
  test::setNetwork(ConnectivityStatus::notConnected);
}

TEST(NavigationView, PressesWhereNoChildIsHitReachTheScreenBelow) {
  ZKNavigationBar::setScreenWidthOverride(320);
  ui::View window(QRectF(0, 0, 320, 480));
  window.setBackgroundColor(ui::colors::white());
  auto* button = new ui::Control(QRectF(0, 100, 320, 100));
  window.addSubview(button);
  auto* shell = new NavigationView(QRectF(0, 0, 320, 480));
  window.addSubview(shell);
  shell->setNavigationBar(new ZKNavigationBar());
  int taps = 0;
  QObject::connect(button, &ui::Control::touchUpInside, [&] { ++taps; });
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  const auto click = [&](QPoint at) { QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, at); };

  click({160, 150});
  EXPECT_EQ(taps, 1);
  click({160, 20});  // on the bar
  shell->show(State::contentLoading());
  settle(*shell);
  click({160, 150});  // on the spinner's cover
  EXPECT_EQ(taps, 1);
  shell->show(State::hide());
  settle(*shell);
  click({160, 150});
  EXPECT_EQ(taps, 2);
  ZKNavigationBar::setScreenWidthOverride(std::nullopt);
}

TEST(NetworkErrorView, TheBlockIsCentredAndKeepsItsPlaceWithoutTheButton) {
  const State withButton = State::connectError();
  const State without = State::zeroData(withButton.getTitle(), withButton.getDesc());
  std::vector<QRectF> blocks;
  for (const State& s : {withButton, without}) {
    NetworkErrorView panel(s);
    panel.setFrame(QRectF(0, 44, 320, 400));
    panel.layoutIfNeeded();
    EXPECT_GT(panel.descView().frame().height(), 20) << "the description wraps";
    EXPECT_LE(panel.descView().frame().width(), 305);
    EXPECT_EQ(panel.containerView().center(), QPointF(160, 200));
    EXPECT_EQ(panel.retryButton().isHidden(), s.isButtonHidden());
    blocks.push_back(panel.containerView().frame());
    // A longer text grows the block about the same centre.
    panel.update(State::zeroData("", s.getDesc() + " " + s.getDesc()));
    panel.layoutIfNeeded();
    EXPECT_GT(panel.containerView().frame().height(), blocks.back().height());
    EXPECT_EQ(panel.containerView().center(), QPointF(160, 200));
  }
  EXPECT_EQ(blocks[0], blocks[1]);
}

TEST(ZKNavigationBar, ContainersSplitTheScreenAndTheBlurShowsWhatLiesBelow) {
  ZKNavigationBar::setScreenWidthOverride(320);
  ui::View window(QRectF(0, 0, 320, 200));
  window.setBackgroundColor(ui::colors::hex(0xFF0000));
  auto* bar = new ZKNavigationBar();
  window.addSubview(bar);
  bar->height = 80;  // too late: the containers have their frames
  const std::vector<QRectF> frames{bar->leftView()->frame(), bar->centerView()->frame(), bar->rightView()->frame()};
  EXPECT_EQ(frames, (std::vector<QRectF>{{0, 0, 52, 52}, {52, 0, 216, 52}, {268, 0, 52, 52}}));

  // A tenth of the red below comes through the white, blurred.
  const QImage picture = window.grab().toImage();
  const QColor inBar = picture.pixelColor(160, 26);
  EXPECT_NEAR(inBar.red(), 255, 2);
  EXPECT_NEAR(inBar.green(), 230, 3);
  EXPECT_EQ(picture.pixelColor(160, 150), QColor(255, 0, 0));
  ZKNavigationBar::setScreenWidthOverride(std::nullopt);
}

TEST(VisualEffectView, BlurSpreadsAnEdgeAndKeepsFlatAreas) {
  QImage image(200, 10, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::blue);
  QPainter(&image).fillRect(0, 0, 100, 10, Qt::red);
  ui::VisualEffectView::blur(image, 20);
  EXPECT_EQ(image.pixelColor(5, 5), QColor(Qt::red));
  EXPECT_EQ(image.pixelColor(195, 5), QColor(Qt::blue));
  EXPECT_NEAR(image.pixelColor(100, 5).red(), 128, 20);
}

}  // namespace
}  // namespace tavrel::navigation
