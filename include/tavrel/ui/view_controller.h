#pragma once
// ViewController: a screen. It owns its root view, made at the first read of
// `view()`, and knows the navigation controller that shows it, if any (held
// weakly). A screen fills its root view in `viewDidLoad` or from outside; the
// appearance hooks run as a navigation controller shows and hides the view.

#include <QObject>
#include <QPointer>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class NavigationController;

class ViewController : public QObject {
  Q_OBJECT
 public:
  ViewController();
  ~ViewController() override;
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;

  // The root view, made on first read. The controller deletes it when it
  // goes; a view whose Qt parent went first is simply gone.
  View* view();
  bool isViewLoaded() const { return !view_.isNull(); }
  // The navigation controller whose stack holds this screen, or null.
  NavigationController* navigationController() const;

  // Called once, after the root view is made.
  virtual void viewDidLoad() {}
  // Called by the root view's layout pass, before its subviews are laid out.
  virtual void viewWillLayoutSubviews() {}
  virtual void viewWillAppear(bool /*animated*/) {}
  virtual void viewDidAppear(bool /*animated*/) {}
  virtual void viewWillDisappear(bool /*animated*/) {}
  virtual void viewDidDisappear(bool /*animated*/) {}

 private:
  friend class NavigationController;
  QPointer<View> view_;
  QPointer<NavigationController> navigationController_;
};

// The controller whose root view holds `view`: the walk goes up through the
// superviews and stops at the first root view of a controller; null if none.
ViewController* findViewController(const View* view);

}  // namespace tavrel::ui
