#pragma once
// Keyboard: the on-screen keyboard, as far as the views need it. Its visible
// height is a `Driver`; on platforms with an on-screen keyboard it follows
// QInputMethod's keyboard rectangle, elsewhere the host (or a test) sets it.
//
// The carrier is the view that rides on the keyboard (the one that holds an
// ALKeyboardObservingView): the keyboard keeps its bottom edge at the
// keyboard's top inside its superview. The pan recogniser follows drags on
// the view registered with `registerView`; a drag down lowers the keyboard
// with the finger, and on release it hides if it went down by half or more,
// else it comes back. The carrier moves with it, and so whatever follows the
// carrier moves too.

#include <QPointer>

#include "tavrel/rx/driver.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/ui/pan_recognizer.h"
#include "tavrel/ui/view.h"

namespace tavrel::ui {

class Keyboard : public QObject {
  // No meta-object: its members hold reactive types, which moc cannot read.
 public:
  // Made at first use, after the QApplication.
  static Keyboard& shared();

  rx::Driver<double> visibleHeight() const { return height_.asDriver(); }
  double currentHeight() const { return height_.value(); }
  void setVisibleHeight(double height);

  void setCarrier(View* carrier);
  View* carrier() const { return carrier_; }

  // Hands the pan recogniser to `view`; nothing without a view.
  void registerView(View* view);

  PanRecognizer panRecognizer;

 private:
  Keyboard();
  void placeCarrier();
  void onPan(PanRecognizer::State state, QPointF translation);

  rx::BehaviorRelay<double> height_{0.0};
  QPointer<View> carrier_;
  double heightAtPress_ = 0;
};

}  // namespace tavrel::ui
