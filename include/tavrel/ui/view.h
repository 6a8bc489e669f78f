#pragma once
// View: the base of every view here, a QWidget with the geometry vocabulary
// that the views are written in. Lengths are points, Qt's device-independent
// pixels, as doubles; the widget's integer geometry follows them, rounded.
//
// - `frame` is the model value, in the superview's coordinates. Inside
//   `View::animate` a change of frame or alpha takes effect at once in the
//   model and is shown gradually: `presentationFrame` is what is on screen.
// - Subviews are the child views, bottom to top. A view owns its subviews.
// - Layout is done by hand in `layoutSubviews`, which runs on
//   `layoutIfNeeded` after `setNeedsLayout` (a change of size sets it too),
//   or by itself at the next turn of the event loop.
// - The layer's look: background colour, corner radius, border, and
//   `masksToBounds`, which clips the view and what its subviews draw to the
//   rounded shape. Qt always clips a child to its parent's rectangle.
// - `hitTest` finds the deepest view under a point. With
//   `setTouchesPassThrough(true)` a view answers none where none of its
//   subviews is hit, and the press goes on to the widget beneath.

#include <QColor>
#include <QPainterPath>
#include <QRectF>
#include <QSizeF>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tavrel/ui/layout_constraint.h"

namespace tavrel::ui {

class AnimationTimeline;

class View : public QWidget {
  Q_OBJECT
 public:
  explicit View(const QRectF& frame = {});
  ~View() override;

  // Geometry.
  QRectF frame() const { return frame_; }
  virtual void setFrame(const QRectF& frame);
  QRectF bounds() const { return {0, 0, frame_.width(), frame_.height()}; }
  QPointF center() const { return frame_.center(); }
  void setCenter(const QPointF& center);
  QRectF presentationFrame() const { return presented_; }
  // A point of `from`'s coordinates in this view's, through the widgets.
  QPointF convertPointFrom(const QPointF& point, const View* from) const;

  // Visibility and look.
  double alpha() const { return alpha_; }
  void setAlpha(double alpha);
  double presentationAlpha() const { return presentedAlpha_; }
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden);
  bool clipsToBounds() const { return clipsToBounds_; }
  void setClipsToBounds(bool clips);
  std::optional<QColor> backgroundColor() const { return background_; }
  void setBackgroundColor(std::optional<QColor> color);
  // The own tint colour, else the superview's, else the system blue.
  QColor tintColor() const;
  virtual void setTintColor(std::optional<QColor> color);
  double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius);
  void setBorder(double width, QColor color);
  double borderWidth() const { return borderWidth_; }
  QColor borderColor() const { return borderColor_; }
  bool isUserInteractionEnabled() const { return interactive_; }
  void setUserInteractionEnabled(bool enabled);

  // Hierarchy.
  View* superview() const;
  std::vector<View*> subviews() const;
  void addSubview(View* view);
  // Adds `view` just below `sibling`, a subview of this view.
  void insertSubview(View* view, View* below);
  void sendSubviewToBack(View* view);
  // Takes the view out of its superview; the caller owns it then.
  void removeFromSuperview();

  // Layout.
  void setNeedsLayout();
  void layoutIfNeeded();
  virtual void layoutSubviews() {}
  // Width and height that the view's content asks for; negative for none.
  virtual QSizeF intrinsicContentSize() const { return {-1, -1}; }
  std::vector<std::shared_ptr<LayoutConstraint>>& constraints() { return constraints_; }
  // Sets the constant of each height rule whose first item is this view.
  void setHeightConstraintConstants(double constant);

  // Touches.
  virtual View* hitTest(const QPointF& point);
  void setTouchesPassThrough(bool pass) { passThrough_ = pass; }

  // Animations. Changes of frame and alpha made inside `changes` are shown
  // over `seconds`; `completion` hears whether they ran to the end.
  static void animate(double seconds, const std::function<void()>& changes,
                      std::function<void(bool)> completion = {});
  // Keyframes: inside `changes`, each `addKeyframe` names its share of the
  // whole duration (start and length, 0 to 1) and its own changes.
  // A property changed by several keyframes follows them as one curve
  // through their values; the options pick how the curve runs between them.
  enum KeyframeAnimationOptions : unsigned {
    calculationModeLinear = 0,
    calculationModeCubic = 3u << 10,  // eased in and out at every keyframe
  };
  static void animateKeyframes(double seconds, const std::function<void()>& changes,
                               std::function<void(bool)> completion = {}, unsigned options = calculationModeLinear);
  static void addKeyframe(double relativeStart, double relativeDuration, const std::function<void()>& changes);
  // Animations started inside `changes` follow `timeline` instead of the
  // clock's own time (see AnimationTimeline).
  static void followTimeline(const std::shared_ptr<AnimationTimeline>& timeline,
                             const std::function<void()>& changes);
  // Changes made inside `changes` show at once, even inside an animation.
  static void performWithoutAnimation(const std::function<void()>& changes);

 Q_SIGNALS:
  // The model frame moved or changed size.
  void frameChanged(const QRectF& frame);

 protected:
  // Called before the view joins `superview`, or leaves its own (null).
  virtual void willMoveToSuperview(View* superview);
  // The tint colour of this view changed, its own or an inherited one.
  virtual void tintColorDidChange() { update(); }
  // The shape that clips this view: its own rounded bounds intersected with
  // those of every ancestor that masks to bounds, in local coordinates.
  QPainterPath clipPath() const;
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void showFrame(const QRectF& frame);
  void showAlpha(double alpha);
  // Shows `to` at once, or animates from `from` inside an animation block;
  // either way ends this view's earlier animations of `property`. An
  // animation run back to its start gives `setModel` its start value.
  void changeProperty(const char* property, const QVariant& from, const QVariant& to,
                      const std::function<void(const QVariant&)>& apply,
                      const std::function<void(const QVariant&)>& setModel);
  void propagateTint();

  QRectF frame_;
  QRectF presented_;
  double alpha_ = 1;
  double presentedAlpha_ = 1;
  bool hidden_ = false;
  bool clipsToBounds_ = false;
  std::optional<QColor> background_;
  std::optional<QColor> tint_;
  double cornerRadius_ = 0;
  double borderWidth_ = 0;
  QColor borderColor_ = Qt::black;
  bool interactive_ = true;
  bool passThrough_ = false;
  bool needsLayout_ = true;
  bool layoutPosted_ = false;
  std::vector<std::shared_ptr<LayoutConstraint>> constraints_;
};

}  // namespace tavrel::ui
