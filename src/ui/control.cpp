#include "tavrel/ui/control.h"

#include <QMouseEvent>

namespace tavrel::ui {

void Control::mousePressEvent(QMouseEvent* event) {
  pressed_ = isUserInteractionEnabled();
  event->setAccepted(pressed_);
}

void Control::mouseReleaseEvent(QMouseEvent* event) {
  const bool tap = pressed_ && bounds().contains(event->position());
  pressed_ = false;
  if (tap) Q_EMIT touchUpInside();
}

}  // namespace tavrel::ui
