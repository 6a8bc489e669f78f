#include "tavrel/ui/screen_edge_pan_gesture_recognizer.h"

#include <QApplication>
#include <QMouseEvent>
#include <QTouchEvent>

namespace tavrel::ui {
namespace {

bool has(RectEdge set, RectEdge edge) { return (static_cast<unsigned>(set) & static_cast<unsigned>(edge)) != 0; }

}  // namespace

ScreenEdgePanGestureRecognizer::ScreenEdgePanGestureRecognizer(Action action, QObject* parent)
    : QObject(parent), action_(std::move(action)) {
  if (qApp) qApp->installEventFilter(this);  // without an application there is nothing to watch
}

ScreenEdgePanGestureRecognizer::~ScreenEdgePanGestureRecognizer() {
  if (qApp) qApp->removeEventFilter(this);
}

void ScreenEdgePanGestureRecognizer::attach(View* view) {
  view_ = view;
  start_.reset();
  state_ = State::possible;
  if (view) view->setAttribute(Qt::WA_AcceptTouchEvents);
}

QPointF ScreenEdgePanGestureRecognizer::translationInView(const View* view) const {
  if (!start_) return {};
  const View* in = view ? view : view_.data();
  if (!in) return last_ - *start_;
  return in->mapFromGlobal(last_) - in->mapFromGlobal(*start_);
}

bool ScreenEdgePanGestureRecognizer::press(QObject* target, QPointF global) {
  auto* widget = qobject_cast<QWidget*>(target);
  if (!view_ || !widget || !view_->isVisible() || (widget != view_ && !view_->isAncestorOf(widget))) return false;
  const QPointF local = view_->mapFromGlobal(global);
  const QRectF bounds = view_->bounds();
  if (!bounds.contains(local)) return false;
  const bool atLeft = has(edges_, RectEdge::left) && local.x() < bounds.left() + edgeMargin;
  const bool atRight = has(edges_, RectEdge::right) && local.x() >= bounds.right() - edgeMargin;
  const bool atTop = has(edges_, RectEdge::top) && local.y() < bounds.top() + edgeMargin;
  const bool atBottom = has(edges_, RectEdge::bottom) && local.y() >= bounds.bottom() - edgeMargin;
  if (!(atLeft || atRight || atTop || atBottom)) return false;
  start_ = global;
  last_ = global;
  state_ = State::possible;
  return false;  // the press still reaches what lies under it
}

bool ScreenEdgePanGestureRecognizer::move(QPointF global) {
  if (!start_) return false;
  last_ = global;
  report(state_ == State::possible ? State::began : State::changed);
  return true;
}

bool ScreenEdgePanGestureRecognizer::release(QPointF global, State end) {
  if (!start_) return false;
  last_ = global;
  const bool begun = state_ != State::possible;
  if (begun) report(end);
  start_.reset();
  state_ = State::possible;
  return begun;
}

void ScreenEdgePanGestureRecognizer::report(State state) {
  state_ = state;
  if (action_) action_(*this);
}

bool ScreenEdgePanGestureRecognizer::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress: {
      auto* mouse = static_cast<QMouseEvent*>(event);
      if (mouse->button() == Qt::LeftButton && !start_) return press(watched, mouse->globalPosition());
      return false;
    }
    case QEvent::MouseMove:
      if (!start_ || !qobject_cast<QWidget*>(watched)) return false;
      return move(static_cast<QMouseEvent*>(event)->globalPosition());
    case QEvent::MouseButtonRelease:
      if (!start_ || !qobject_cast<QWidget*>(watched)) return false;
      return release(static_cast<QMouseEvent*>(event)->globalPosition(), State::ended);
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel: {
      auto* touch = static_cast<QTouchEvent*>(event);
      if (!qobject_cast<QWidget*>(watched)) return false;
      if (event->type() == QEvent::TouchCancel) return release(last_, State::cancelled);
      if (touch->points().empty()) return false;
      const QPointF global = touch->points().front().globalPosition();
      if (event->type() == QEvent::TouchBegin) {
        if (!start_) press(watched, global);
        event->setAccepted(start_.has_value());  // so that the moves come here too
        return start_.has_value();
      }
      if (event->type() == QEvent::TouchUpdate) return move(global);
      return release(global, State::ended);
    }
    default:
      return false;
  }
}

}  // namespace tavrel::ui
