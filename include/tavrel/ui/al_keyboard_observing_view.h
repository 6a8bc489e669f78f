#pragma once
// ALKeyboardObservingView: an invisible view that the host places in the
// view carrying the keyboard (see Keyboard::setCarrier). It follows its
// superview's centre, and every time that moves it posts the superview's
// frame as "ALKeyboardFrameDidChangeNotification" on the default
// NotificationCenter, under UIKeyboardFrameEndUserInfoKey as a QRectF. The
// host answers by moving the input bar. The bar reports its height here, and
// this view's height rules follow it.

#include <QMetaObject>
#include <QPointer>
#include <string_view>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

inline constexpr std::string_view ALKeyboardFrameDidChangeNotification = "ALKeyboardFrameDidChangeNotification";
inline constexpr std::string_view UIKeyboardFrameEndUserInfoKey = "UIKeyboardFrameEndUserInfoKey";

class ALKeyboardObservingView : public View {
  Q_OBJECT
 public:
  explicit ALKeyboardObservingView(const QRectF& frame = {});
  ~ALKeyboardObservingView() override;

  double defaultHeight() const { return defaultHeight_; }
  void setDefaultHeight(double height) { defaultHeight_ = height; }
  View* observedView() const { return qobject_cast<View*>(observedView_.data()); }
  QSizeF intrinsicContentSize() const override { return {-1, defaultHeight_}; }

  // Each height rule of this view takes `height`, or `defaultHeight` if that
  // is more.
  void updateHeight(double height);
  static std::string_view keyboardHandlingKeyPath() { return "center"; }

 protected:
  void willMoveToSuperview(View* superview) override;

 private:
  void addKeyboardObserver(View* superview);
  void removeKeyboardObserver();
  void keyboardDidChangeFrame(const QRectF& frame);

  QPointer<QObject> observedView_;  // a View, until its destruction starts
  QMetaObject::Connection observation_;
  QPointF lastCenter_;
  double defaultHeight_ = 44.0;
};

}  // namespace tavrel::ui
