#pragma once
// Screens for the controller and transition tests: a ZKNavigationController
// in a shown window of 320 by 480 with the shell's bar, and screens that
// bring their own bar items.

#include <QPointer>
#include <QTest>
#include <memory>

#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/transition_coordinators.h"
#include "tavrel/navigation/zk_navigation_bar.h"
#include "tavrel/navigation/zk_navigation_controller.h"
#include "tavrel/ui/animation_clock.h"

namespace tavrel::navigation::testing {

// Items in the slots named by `slots` ("lcr"), each 52 wide.
class Screen : public ui::ViewController, public ZKChangeNavigationBarProtocol {
 public:
  explicit Screen(const char* slots = "lcr") {
    for (const char* c = slots; *c; ++c) {
      auto* item = new ui::View(QRectF(*c == 'c' ? 20 : 0, 0, 52, 52));
      (*c == 'l' ? left : *c == 'c' ? center : right) = item;
    }
  }
  ~Screen() override {
    delete left.data();
    delete center.data();
    delete right.data();
  }
  ui::View* leftNavigationBarView() const override { return left; }
  ui::View* centerNavigationBarView() const override { return center; }
  ui::View* rightNavigationBarView() const override { return right; }
  QPointer<ui::View> left, center, right;
};

struct Shell {
  Shell() {
    ZKNavigationBar::setScreenWidthOverride(320);
    nav->view()->setFrame(QRectF(0, 0, 320, 480));
    bar = new ZKNavigationBar();
    nav->navigationView()->setNavigationBar(bar);
    nav->pushViewController(first, false);
    // The first screen's items are in the bar already, as a host puts them.
    bar->leftView()->addSubview(first->left);
    bar->centerView()->addSubview(first->center);
    bar->rightView()->addSubview(first->right);
    nav->view()->show();
    nav->view()->layoutIfNeeded();
  }
  ~Shell() { ZKNavigationBar::setScreenWidthOverride(std::nullopt); }
  static void advance(int ms) { ui::AnimationClock::shared().advance(ms); }

  std::shared_ptr<ZKNavigationController> nav = std::make_shared<ZKNavigationController>();
  std::shared_ptr<Screen> first = std::make_shared<Screen>();
  ZKNavigationBar* bar = nullptr;
};

}  // namespace tavrel::navigation::testing
