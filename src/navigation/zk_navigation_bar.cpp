#include "tavrel/navigation/zk_navigation_bar.h"

#include <QGuiApplication>
#include <QScreen>

#include "tavrel/ui/colors.h"

namespace tavrel::navigation {
namespace {

std::optional<double>& widthOverride() {
  static std::optional<double> width;
  return width;
}

}  // namespace

double ZKNavigationBar::screenWidth() {
  if (widthOverride()) return *widthOverride();
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen ? screen->geometry().width() : 0.0;
}

void ZKNavigationBar::setScreenWidthOverride(std::optional<double> width) { widthOverride() = width; }

ZKNavigationBar::ZKNavigationBar() : View(QRectF(0, 0, screenWidth(), 52)) {
  visualEffectView_ = new ui::VisualEffectView(bounds());
  visualEffectView_->setColorTint(ui::colors::white());
  visualEffectView_->setColorTintAlpha(0.9);
  visualEffectView_->setBlurRadius(20);
  // Flexible width and height: the blur covers the bar whatever its size.
  QObject::connect(this, &View::frameChanged, visualEffectView_,
                   [this](const QRectF& f) { visualEffectView_->setFrame(QRectF(QPointF(0, 0), f.size())); });
  addSubview(visualEffectView_);
  addSubview(leftView());
  addSubview(centerView());
  addSubview(rightView());
}

ui::View* ZKNavigationBar::leftView() {
  if (!leftBuilt_) {
    leftBuilt_ = true;
    leftView_ = new ui::View(QRectF(0, 0, height, height));
  }
  return leftView_;
}

ui::View* ZKNavigationBar::centerView() {
  if (!centerBuilt_) {
    centerBuilt_ = true;
    centerView_ = new ui::View(QRectF(height, 0, screenWidth() - 2 * height, height));
  }
  return centerView_;
}

ui::View* ZKNavigationBar::rightView() {
  if (!rightBuilt_) {
    rightBuilt_ = true;
    rightView_ = new ui::View(QRectF(screenWidth() - height, 0, height, height));
  }
  return rightView_;
}

}  // namespace tavrel::navigation
