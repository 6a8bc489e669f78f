#include "tavrel/ui/keyboard.h"

#include <QGuiApplication>
#include <QInputMethod>
#include <QMouseEvent>

namespace tavrel::ui {

void PanRecognizer::attach(QWidget* view) {
  if (view_) view_->removeEventFilter(this);
  view_ = view;
  start_.reset();
  if (view_) view_->installEventFilter(this);
}

bool PanRecognizer::eventFilter(QObject* watched, QEvent* event) {
  if (watched != view_) return false;
  switch (event->type()) {
    case QEvent::MouseButtonPress:
      start_ = static_cast<QMouseEvent*>(event)->globalPosition();
      Q_EMIT panned(State::began, {});
      return false;
    case QEvent::MouseMove:
      if (start_) Q_EMIT panned(State::changed, static_cast<QMouseEvent*>(event)->globalPosition() - *start_);
      return false;
    case QEvent::MouseButtonRelease:
      if (start_) {
        const QPointF moved = static_cast<QMouseEvent*>(event)->globalPosition() - *start_;
        start_.reset();
        Q_EMIT panned(State::ended, moved);
      }
      return false;
    default:
      return false;
  }
}

Keyboard& Keyboard::shared() {
  static Keyboard* keyboard = new Keyboard();  // lives as long as the application
  return *keyboard;
}

Keyboard::Keyboard() {
  QInputMethod* input = QGuiApplication::inputMethod();
  connect(input, &QInputMethod::keyboardRectangleChanged, this, [this, input] {
    setVisibleHeight(input->isVisible() ? input->keyboardRectangle().height() : 0.0);
  });
  connect(&panRecognizer, &PanRecognizer::panned, this, &Keyboard::onPan);
}

void Keyboard::setVisibleHeight(double height) {
  height_.accept(std::max(0.0, height));
  placeCarrier();
}

void Keyboard::setCarrier(View* carrier) {
  carrier_ = carrier;
  placeCarrier();
}

void Keyboard::placeCarrier() {
  if (!carrier_ || !carrier_->superview()) return;
  QRectF f = carrier_->frame();
  f.moveBottom(carrier_->superview()->frame().height() - height_.value());
  carrier_->setFrame(f);
}

void Keyboard::registerView(View* view) {
  if (view) panRecognizer.attach(view);
}

void Keyboard::onPan(PanRecognizer::State state, QPointF translation) {
  switch (state) {
    case PanRecognizer::State::began:
      heightAtPress_ = height_.value();
      break;
    case PanRecognizer::State::changed:
      setVisibleHeight(std::clamp(heightAtPress_ - translation.y(), 0.0, heightAtPress_));
      break;
    case PanRecognizer::State::ended:
      setVisibleHeight(translation.y() >= heightAtPress_ / 2 ? 0.0 : heightAtPress_);
      break;
  }
}

}  // namespace tavrel::ui
