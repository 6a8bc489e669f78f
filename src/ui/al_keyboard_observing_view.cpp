#include "tavrel/ui/al_keyboard_observing_view.h"

#include "tavrel/device/notification_center.h"

namespace tavrel::ui {

ALKeyboardObservingView::ALKeyboardObservingView(const QRectF& frame) : View(frame) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

ALKeyboardObservingView::~ALKeyboardObservingView() { removeKeyboardObserver(); }

void ALKeyboardObservingView::willMoveToSuperview(View* superview) {
  removeKeyboardObserver();
  if (superview) addKeyboardObserver(superview);
  View::willMoveToSuperview(superview);
}

void ALKeyboardObservingView::addKeyboardObserver(View* superview) {
  observedView_ = superview;
  lastCenter_ = superview->center();
  observation_ = connect(superview, &View::frameChanged, this, [this](const QRectF& frame) {
    // Only a move of the centre counts.
    if (frame.center() == lastCenter_ || observedView_.data() != static_cast<QObject*>(this->superview())) return;
    lastCenter_ = frame.center();
    keyboardDidChangeFrame(frame);
  });
}

void ALKeyboardObservingView::removeKeyboardObserver() {
  if (!observedView_) return;
  disconnect(observation_);
  observedView_ = nullptr;
}

void ALKeyboardObservingView::keyboardDidChangeFrame(const QRectF& frame) {
  NotificationCenter::defaultCenter().post(ALKeyboardFrameDidChangeNotification,
                                           {{std::string(UIKeyboardFrameEndUserInfoKey), std::any(frame)}});
}

void ALKeyboardObservingView::updateHeight(double height) {
  setHeightConstraintConstants(std::max(height, defaultHeight_));
}

}  // namespace tavrel::ui
