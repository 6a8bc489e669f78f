#pragma once
// ZKNavigationBar: the shell's own bar, a strip over a white translucent
// blur with three item containers, left, centre and right, that screens
// fill with their own views. The side containers are squares of the bar's
// height; the centre one takes the rest of the screen's width.

#include <QPointer>
#include <optional>

#include "tavrel/navigation/flow.h"
#include "tavrel/navigation/presenter.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/ui/view.h"
#include "tavrel/ui/visual_effect_view.h"

namespace tavrel::navigation {

// Marks the bar's kind; no operations.
class ZKNavigationBarProtocol {
 public:
  virtual ~ZKNavigationBarProtocol() = default;
};

// A screen that brings its own bar items. Each is a view, or null.
class ZKChangeNavigationBarProtocol {
 public:
  virtual ~ZKChangeNavigationBarProtocol() = default;
  virtual ui::View* leftNavigationBarView() const = 0;
  virtual ui::View* rightNavigationBarView() const = 0;
  virtual ui::View* centerNavigationBarView() const = 0;
};

class ZKNavigationBar : public ui::View, public ZKNavigationBarProtocol {
  Q_OBJECT
 public:
  // Spans the screen's width (see `screenWidth`), `height` high.
  ZKNavigationBar();

  // The width the bar and its containers are made for: the primary screen's,
  // unless a host that draws into a window of its own sets another.
  static double screenWidth();
  static void setScreenWidthOverride(std::optional<double> width);

  // Height of the bar and side of the square side containers. The
  // containers take their frames once, when first read.
  double height = 52;

  // The containers, made at first read. Writing one only stores the view:
  // it is not added, and the old one is not removed.
  ui::View* leftView();
  ui::View* centerView();
  ui::View* rightView();
  void setLeftView(ui::View* view) { leftView_ = view; }
  void setCenterView(ui::View* view) { centerView_ = view; }
  void setRightView(ui::View* view) { rightView_ = view; }

  ui::VisualEffectView& visualEffectView() { return *visualEffectView_; }

 private:
  QPointer<ui::View> leftView_;
  QPointer<ui::View> centerView_;
  QPointer<ui::View> rightView_;
  bool leftBuilt_ = false, centerBuilt_ = false, rightBuilt_ = false;
  ui::VisualEffectView* visualEffectView_;
};

// The small presenter that a bar's content may hold; a tap in the bar can
// reach the flow through `steps`, which outlives `dettach`.
class ZKNavigationBarPresenter : public Presenter<ui::View>, public Stepper {
 public:
  void attach(ui::View* view) override { setObject(view); }
  void dettach() override { setObject(nullptr); }
};

}  // namespace tavrel::navigation
