#pragma once
// ScreenEdgePanGestureRecognizer: a drag that starts at an edge of its view,
// from a touch or from the mouse. A press within `edgeMargin` points of one
// of `edges` arms it; the first move begins the gesture, the next ones
// change it, the release ends it, and a touch that the system takes away
// cancels it. A press anywhere else starts nothing. Once a gesture has
// begun, its moves and release are kept from the widgets under it.
//
// The recogniser watches every event of the application (an application
// event filter), so presses on the view's children count too.

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <functional>
#include <optional>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

// Edges of a rectangle, as bit flags.
enum class RectEdge : unsigned { none = 0, top = 1, left = 2, bottom = 4, right = 8, all = 15 };

class ScreenEdgePanGestureRecognizer : public QObject {
  Q_OBJECT
 public:
  enum class State { possible, began, changed, ended, cancelled };
  static constexpr double edgeMargin = 20;
  using Action = std::function<void(ScreenEdgePanGestureRecognizer&)>;

  explicit ScreenEdgePanGestureRecognizer(Action action, QObject* parent = nullptr);
  ~ScreenEdgePanGestureRecognizer() override;

  RectEdge edges() const { return edges_; }
  void setEdges(RectEdge edges) { edges_ = edges; }
  State state() const { return state_; }
  // The view it watches, or null.
  View* view() const { return view_; }
  void attach(View* view);
  // How far the drag has moved since the press, in `view`'s coordinates
  // (null: the recogniser's view).
  QPointF translationInView(const View* view) const;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  bool press(QObject* target, QPointF global);
  bool move(QPointF global);
  bool release(QPointF global, State end);
  void report(State state);

  Action action_;
  RectEdge edges_ = RectEdge::none;
  QPointer<View> view_;
  State state_ = State::possible;
  std::optional<QPointF> start_;
  QPointF last_;
};

}  // namespace tavrel::ui
