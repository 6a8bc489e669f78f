// The small widgets and the platform layer under them: the image button's
// grey, the spinner's turn on the test clock, animations and keyframes, the
// main queue in Qt's loop, and the application state notifications.
#include <gtest/gtest.h>

#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <numbers>
#include <thread>

#include "tavrel/device/notification_center.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/animation_clock.h"
#include "tavrel/ui/app_state_bridge.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/image_button.h"
#include "tavrel/ui/loading_view.h"
#include "tavrel/ui/main_queue_pump.h"

namespace tavrel::ui {
namespace {

using namespace std::chrono_literals;

// How many pixels of the drawn view have exactly this colour.
int pixelsOf(QWidget& view, QColor colour) {
  const QImage image = view.grab().toImage();
  int n = 0;
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) n += image.pixelColor(x, y) == colour;
  return n;
}

TEST(ImageButton, DisabledGreysTheIconAndEnablingRestoresItsColour) {
  const QColor grey = colors::hex(0xC6C6C6), own = colors::hex(0x336699);
  ImageButton button(ImageView::imageNamed("question-circle-sm"), own);
  button.show();
  EXPECT_GT(pixelsOf(button, own), 0);

  // Twice false: the grey must not become the colour to bring back.
  button.isEnabledRelay.accept(false);
  button.isEnabledRelay.accept(false);
  EXPECT_FALSE(button.isUserInteractionEnabled());
  EXPECT_GT(pixelsOf(button, grey), 0);
  EXPECT_EQ(pixelsOf(button, own), 0);

  button.isEnabledRelay.accept(true);
  EXPECT_GT(pixelsOf(button, own), 0);
  EXPECT_TRUE(button.isUserInteractionEnabled());
}

TEST(ProgressView, TurnsOnceASecondForEverAndTakesTheTint) {
  AnimationClock& clock = AnimationClock::shared();
  LoadingView loading(QRectF(0, 0, 320, 240));
  loading.layoutIfNeeded();
  ShapeLayer& ring = loading.progressView().ring();
  EXPECT_EQ(loading.progressView().frame(), QRectF(137.5, 97.5, 45, 45));
  EXPECT_EQ(ring.rotation(), 0);
  const double quarter = std::numbers::pi / 2;
  for (const auto& [step, angle] : std::vector<std::pair<int, double>>{{250, quarter}, {500, 3 * quarter},
                                                                        {500, quarter}, {1000, quarter}}) {
    clock.advance(step);
    EXPECT_NEAR(ring.rotation(), angle, 1e-9);
  }
  loading.setTintColor(Qt::red);
  EXPECT_EQ(ring.strokeColor(), QColor(Qt::red));
  clock.advance(250);
  EXPECT_NEAR(ring.rotation(), 2 * quarter, 1e-9);
}

TEST(ViewAnimation, FramesAndKeyframesFollowTheClock) {
  AnimationClock& clock = AnimationClock::shared();
  View view(QRectF(0, 0, 10, 10));
  std::vector<bool> done;
  View::animate(0.4, [&] { view.setFrame(QRectF(100, 0, 10, 10)); }, [&](bool f) { done.push_back(f); });
  EXPECT_EQ(view.frame().x(), 100);
  EXPECT_EQ(view.presentationFrame().x(), 0);
  clock.advance(200);
  EXPECT_NEAR(view.presentationFrame().x(), 50, 1e-9);  // ease in and out: half way at half time
  clock.advance(200);
  EXPECT_EQ(view.presentationFrame().x(), 100);
  EXPECT_EQ(done, std::vector<bool>{true});

  // Keyframes: right over the first half, then down over the second.
  View::animateKeyframes(1.0, [&] {
    View::addKeyframe(0, 0.5, [&] { view.setFrame(QRectF(200, 0, 10, 10)); });
    View::addKeyframe(0.5, 0.5, [&] { view.setFrame(QRectF(200, 100, 10, 10)); });
  }, [&](bool f) { done.push_back(f); });
  clock.advance(250);
  EXPECT_EQ(view.presentationFrame().topLeft(), QPointF(150, 0));
  clock.advance(500);
  EXPECT_EQ(view.presentationFrame().topLeft(), QPointF(200, 50));

  // A change outside any animation ends the running ones where they are.
  view.setAlpha(0.5);
  View::animate(1.0, [&] { view.setAlpha(1.0); }, [&](bool f) { done.push_back(f); });
  view.setFrame(QRectF(0, 0, 10, 10));
  EXPECT_EQ(view.presentationFrame().topLeft(), QPointF(0, 0));
  EXPECT_EQ(done, (std::vector<bool>{true, false}));
  View::performWithoutAnimation([&] { view.setAlpha(0.2); });
  EXPECT_EQ(view.presentationAlpha(), 0.2);
  EXPECT_EQ(done, (std::vector<bool>{true, false, false}));
  EXPECT_EQ(clock.running(), 0u);
}

TEST(View, HitTestingLetsTouchesThroughWhereNoChildIsHit) {
  View overlay(QRectF(0, 0, 100, 100));
  auto* child = new View(QRectF(10, 10, 20, 20));
  overlay.addSubview(child);
  EXPECT_EQ(overlay.hitTest({15, 15}), child);
  EXPECT_EQ(overlay.hitTest({50, 50}), &overlay);
  overlay.setTouchesPassThrough(true);
  EXPECT_EQ(overlay.hitTest({15, 15}), child);
  EXPECT_EQ(overlay.hitTest({50, 50}), nullptr);
  child->setHidden(true);
  EXPECT_EQ(overlay.hitTest({15, 15}), nullptr);
}

TEST(MainQueuePump, QtsLoopRunsTasksAndTimersPostedFromAnyThread) {
  MainQueuePump pump;
  QEventLoop loop;
  QTimer bound;  // the test's limit, not a poll
  bound.setSingleShot(true);
  QObject::connect(&bound, &QTimer::timeout, &loop, [&] { loop.exit(1); });
  bound.start(10000);
  std::vector<std::string> ran;
  std::thread poster([&] {
    rx::MainQueue::shared().post([&] { ran.push_back("task"); });
    rx::MainQueue::shared().postAfter(30ms, [&] {
      ran.push_back("timer");
      loop.exit(0);
    });
  });
  EXPECT_EQ(loop.exec(), 0);
  poster.join();
  EXPECT_EQ(ran, (std::vector<std::string>{"task", "timer"}));
  EXPECT_GE(pump.wakeups(), 1);
}

TEST(AppStateBridge, PostsTheApplicationNotificationsOnEachChange) {
  AppStateBridge bridge;
  std::vector<std::string> posted;
  auto& center = NotificationCenter::defaultCenter();
  center.addObserver(&posted, UIApplicationWillResignActiveNotification, [&] { posted.push_back("resign"); });
  center.addObserver(&posted, UIApplicationDidBecomeActiveNotification, [&] { posted.push_back("active"); });
  for (auto state : {Qt::ApplicationActive, Qt::ApplicationInactive, Qt::ApplicationSuspended,
                     Qt::ApplicationActive, Qt::ApplicationActive})
    bridge.applicationStateChanged(state);
  center.removeObserver(&posted);
  const bool startedActive = QGuiApplication::applicationState() == Qt::ApplicationActive;
  const std::vector<std::string> expected = startedActive ? std::vector<std::string>{"resign", "active"}
                                                          : std::vector<std::string>{"active", "resign", "active"};
  EXPECT_EQ(posted, expected);
}

}  // namespace
}  // namespace tavrel::ui
