// The keyboard view's notification, and the keyboard stand-in whose drag
// moves the view that rides on it, and with it the bar.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QMouseEvent>

#include "tavrel/device/notification_center.h"
#include "tavrel/ui/al_keyboard_observing_view.h"
#include "tavrel/ui/keyboard.h"

namespace tavrel::ui {
namespace {

// Records the frames posted as ALKeyboardFrameDidChangeNotification.
struct FrameLog {
  std::vector<QRectF> frames;
  FrameLog() {
    NotificationCenter::defaultCenter().addObserver(
        this, ALKeyboardFrameDidChangeNotification, [this](const NotificationCenter::UserInfo& info) {
          frames.push_back(std::any_cast<QRectF>(info.at(std::string(UIKeyboardFrameEndUserInfoKey))));
        });
  }
  ~FrameLog() { NotificationCenter::defaultCenter().removeObserver(this); }
};

TEST(KeyboardObservingView, PostsItsSuperviewsFrameWhenTheCentreMoves) {
  View root(QRectF(0, 0, 320, 600));
  auto* a = new View(QRectF(0, 500, 320, 44));
  auto* b = new View(QRectF(0, 400, 320, 44));
  root.addSubview(a);
  root.addSubview(b);
  auto* observer = new ALKeyboardObservingView(QRectF(0, 0, 320, 44));
  FrameLog log;

  a->addSubview(observer);
  a->setCenter({160, 300});
  // A change of size about the same centre is no move.
  a->setFrame(QRectF(0, 278 - 10, 320, 44 + 20));
  ASSERT_EQ(log.frames.size(), 1u);
  EXPECT_EQ(log.frames[0], QRectF(0, 278, 320, 44));

  // From A to B: A's moves reach nothing any more.
  b->addSubview(observer);
  a->setCenter({160, 100});
  b->setCenter({160, 200});
  ASSERT_EQ(log.frames.size(), 2u);
  EXPECT_EQ(log.frames[1], b->frame());

  observer->removeFromSuperview();
  b->setCenter({160, 250});
  EXPECT_EQ(log.frames.size(), 2u);
  delete observer;
}

TEST(KeyboardObservingView, HeightRulesFollowTheBarButNeverGoUnderTheDefault) {
  ALKeyboardObservingView view;
  view.updateHeight(60.5);  // no rule: nothing to change, nothing breaks
  auto mine = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::height, &view, 0);
  auto width = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::width, &view, 7);
  View other;
  auto foreign = std::make_shared<LayoutConstraint>(LayoutConstraint::Attribute::height, &other, 7);
  view.constraints() = {mine, width, foreign};
  view.updateHeight(30);
  EXPECT_EQ(mine->constant(), 44);
  view.updateHeight(60.5);
  EXPECT_EQ(mine->constant(), 60.5);
  EXPECT_EQ(width->constant(), 7);
  EXPECT_EQ(foreign->constant(), 7);
}

void mouse(QWidget* view, QEvent::Type type, QPointF at) {
  const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
  QMouseEvent event(type, at, view->mapToGlobal(at), Qt::LeftButton, held, Qt::NoModifier);
  QCoreApplication::sendEvent(view, &event);
}

TEST(Keyboard, DraggingTheKeyboardMovesTheBarWithIt) {
  View window(QRectF(0, 0, 320, 600));
  auto* content = new View(QRectF(0, 0, 320, 600));
  auto* carrier = new View(QRectF(0, 556, 320, 44));
  auto* bar = new View(QRectF(0, 556, 320, 44));
  window.addSubview(content);
  window.addSubview(carrier);
  window.addSubview(bar);
  carrier->addSubview(new ALKeyboardObservingView(QRectF(0, 0, 320, 44)));
  // The host: the bar goes where the notification says.
  NotificationCenter::defaultCenter().addObserver(
      bar, ALKeyboardFrameDidChangeNotification, [bar](const NotificationCenter::UserInfo& info) {
        bar->setFrame(std::any_cast<QRectF>(info.at(std::string(UIKeyboardFrameEndUserInfoKey))));
      });
  Keyboard& keyboard = Keyboard::shared();
  std::vector<double> heights;
  auto driven = keyboard.visibleHeight().drive([&](const double& h) { heights.push_back(h); });
  keyboard.setCarrier(carrier);
  keyboard.registerView(content);

  keyboard.setVisibleHeight(300);
  EXPECT_EQ(bar->frame().bottom(), 300);

  // The finger takes the keyboard down by 100; let go, it comes back.
  mouse(content, QEvent::MouseButtonPress, {100, 200});
  mouse(content, QEvent::MouseMove, {100, 300});
  EXPECT_EQ(bar->frame().bottom(), 400);
  mouse(content, QEvent::MouseButtonRelease, {100, 300});
  EXPECT_EQ(bar->frame().bottom(), 300);
  // Down by half or more, and it hides.
  mouse(content, QEvent::MouseButtonPress, {100, 200});
  mouse(content, QEvent::MouseMove, {100, 360});
  mouse(content, QEvent::MouseButtonRelease, {100, 360});
  EXPECT_EQ(bar->frame().bottom(), 600);
  EXPECT_EQ(heights, (std::vector<double>{0, 300, 200, 300, 140, 0}));

  driven.dispose();
  NotificationCenter::defaultCenter().removeObserver(bar);
  keyboard.setCarrier(nullptr);
  keyboard.setVisibleHeight(0);
}

}  // namespace
}  // namespace tavrel::ui
