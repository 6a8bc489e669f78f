#pragma once
// Control: a view that reports taps. A press and a release inside the view
// is a tap; a release outside is none.

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class Control : public View {
  Q_OBJECT
 public:
  explicit Control(const QRectF& frame = {}) : View(frame) {}

 Q_SIGNALS:
  void touchUpInside();

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  bool pressed_ = false;
};

}  // namespace tavrel::ui
