#include "tavrel/ui/view.h"

#include <QCoreApplication>
#include <QGraphicsOpacityEffect>
#include <QMouseEvent>
#include <QPainter>
#include <QVariantAnimation>
#include <cmath>
#include <utility>

#include "tavrel/ui/animation_clock.h"

namespace tavrel::ui {
namespace {

// The animation block being recorded, if any (main thread only).
struct AnimationGroup {
  int pending = 0;
  bool finished = true;
  std::function<void(bool)> completion;
};

struct AnimationContext {
  double seconds = 0;
  bool keyframes = false;
  double keyStart = 0;
  double keyLength = 1;
  bool disabled = false;
  std::shared_ptr<AnimationGroup> group;
  bool cubic = false;
  std::shared_ptr<AnimationTimeline> timeline;
};

AnimationContext* current = nullptr;
// The time line that animation blocks recorded now follow, if any.
std::shared_ptr<AnimationTimeline> ambientTimeline;

// One property of one view in a keyframe block: a single animation over the
// whole duration, through the values the keyframes set at their ends. A
// keyframe starts from the value held at its start. Cubic eases in and out
// between every two values.
class KeyframeAnimation : public QVariantAnimation {
 public:
  KeyframeAnimation(QObject* parent, const QVariant& initial, bool cubic) : QVariantAnimation(parent), cubic_(cubic) {
    points_.emplace_back(0.0, initial);
  }

  void addKeyframe(double start, double end, const QVariant& value) {
    QVariant held = points_.front().second;
    for (const auto& [time, v] : points_)
      if (time <= start) held = v;
    set(start, held, false);
    set(end, value, true);
    KeyValues values(points_.begin(), points_.end());
    if (points_.back().first < 1) values.append({1.0, points_.back().second});
    setKeyValues(values);
  }

 protected:
  QVariant interpolated(const QVariant& from, const QVariant& to, qreal progress) const override {
    const qreal p = cubic_ ? progress * progress * (3 - 2 * progress) : progress;
    return QVariantAnimation::interpolated(from, to, p);
  }

 private:
  void set(double time, const QVariant& value, bool replace) {
    auto it = std::ranges::find_if(points_, [&](const auto& point) { return point.first >= time; });
    if (it != points_.end() && std::abs(it->first - time) < 1e-9) {
      if (replace) it->second = value;
      return;
    }
    points_.insert(it, {time, value});
  }

  std::vector<std::pair<double, QVariant>> points_;
  bool cubic_;
};

// Makes a context current for the changes made while it lives.
class ContextScope {
 public:
  explicit ContextScope(AnimationContext* context) : outer_(std::exchange(current, context)) {}
  ~ContextScope() { current = outer_; }
  ContextScope(const ContextScope&) = delete;
  ContextScope& operator=(const ContextScope&) = delete;

 private:
  AnimationContext* outer_;
};

void record(double seconds, bool keyframes, bool cubic, const std::function<void()>& changes,
            std::function<void(bool)> completion) {
  AnimationContext context{seconds, keyframes, 0, 1, false, std::make_shared<AnimationGroup>(), cubic,
                           ambientTimeline};
  context.group->completion = std::move(completion);
  {
    ContextScope scope(&context);
    changes();
  }
  if (context.group->pending == 0 && context.group->completion) context.group->completion(true);
}

QRect pixels(const QRectF& r) {
  const int left = static_cast<int>(std::lround(r.left()));
  const int top = static_cast<int>(std::lround(r.top()));
  return {left, top, static_cast<int>(std::lround(r.right())) - left,
          static_cast<int>(std::lround(r.bottom())) - top};
}

}  // namespace

View::View(const QRectF& frame) {
  setAttribute(Qt::WA_NoSystemBackground);
  setFrame(frame);
}

View::~View() = default;

void View::setFrame(const QRectF& frame) {
  const QRectF old = frame_;
  frame_ = frame;
  if (old.size() != frame.size()) setNeedsLayout();
  changeProperty("frame", current && current->keyframes ? QVariant(old) : QVariant(presented_), frame,
                 [this](const QVariant& v) { showFrame(v.toRectF()); },
                 [this](const QVariant& v) {
                   frame_ = v.toRectF();
                   setNeedsLayout();
                   Q_EMIT frameChanged(frame_);
                 });
  if (old != frame) Q_EMIT frameChanged(frame);
}

void View::setCenter(const QPointF& center) {
  QRectF f = frame_;
  f.moveCenter(center);
  setFrame(f);
}

void View::showFrame(const QRectF& frame) {
  presented_ = frame;
  setGeometry(pixels(frame));
}

QPointF View::convertPointFrom(const QPointF& point, const View* from) const {
  if (!from) return point;
  return mapFromGlobal(from->mapToGlobal(point));
}

void View::setAlpha(double alpha) {
  const double old = alpha_;  // keyframes start from the model value, a plain animation from the screen
  alpha_ = std::clamp(alpha, 0.0, 1.0);
  changeProperty("alpha", current && current->keyframes ? old : presentedAlpha_, alpha_,
                 [this](const QVariant& v) { showAlpha(v.toDouble()); },
                 [this](const QVariant& v) { alpha_ = v.toDouble(); });
}

void View::showAlpha(double alpha) {
  presentedAlpha_ = alpha;
  if (alpha >= 1) {
    setGraphicsEffect(nullptr);
    return;
  }
  auto* effect = qobject_cast<QGraphicsOpacityEffect*>(graphicsEffect());
  if (!effect) {
    effect = new QGraphicsOpacityEffect(this);
    setGraphicsEffect(effect);
  }
  effect->setOpacity(alpha);
}

void View::changeProperty(const char* property, const QVariant& from, const QVariant& to,
                          const std::function<void(const QVariant&)>& apply,
                          const std::function<void(const QVariant&)>& setModel) {
  const AnimationGroup* group = current && !current->disabled ? current->group.get() : nullptr;
  // Earlier animations of this property give way; in a keyframe block the
  // block's own animation of it takes the new keyframe.
  QVariantAnimation* same = nullptr;
  for (auto* running : findChildren<QVariantAnimation*>(property, Qt::FindDirectChildrenOnly)) {
    if (running->property("tavrelGroup").value<quintptr>() != reinterpret_cast<quintptr>(group) || !group)
      AnimationClock::shared().cancel(running);
    else same = running;
  }
  if (!group) {
    apply(to);
    return;
  }
  const double ms = current->seconds * 1000;
  if (auto* keyframes = dynamic_cast<KeyframeAnimation*>(same)) {
    keyframes->addKeyframe(current->keyStart, current->keyStart + current->keyLength, to);
    return;
  }
  QVariantAnimation* animation = nullptr;
  if (current->keyframes) {
    auto* keyframes = new KeyframeAnimation(this, from, current->cubic);
    keyframes->setDuration(std::max(1, static_cast<int>(std::lround(ms))));
    keyframes->addKeyframe(current->keyStart, current->keyStart + current->keyLength, to);
    animation = keyframes;
  } else {
    animation = new QVariantAnimation(this);
    animation->setDuration(std::max(1, static_cast<int>(std::lround(ms))));
    animation->setEasingCurve(QEasingCurve::InOutQuad);
    animation->setStartValue(from);
    animation->setEndValue(to);
  }
  animation->setObjectName(property);
  animation->setProperty("tavrelGroup", QVariant::fromValue(reinterpret_cast<quintptr>(group)));
  connect(animation, &QVariantAnimation::valueChanged, this, apply);
  auto shared = current->group;
  auto timeline = current->timeline;
  ++shared->pending;
  // Run back to its start, the change is undone in the model too.
  auto done = [shared, timeline, animation, setModel](bool finished) {
    if (timeline && timeline->isReversed()) setModel(animation->keyValueAt(0));
    shared->finished = shared->finished && finished;
    if (--shared->pending == 0 && shared->completion) shared->completion(shared->finished);
  };
  if (timeline) AnimationClock::shared().run(animation, timeline, 0, std::move(done));
  else AnimationClock::shared().run(animation, 0, std::move(done));
}

void View::animate(double seconds, const std::function<void()>& changes, std::function<void(bool)> completion) {
  record(seconds, false, false, changes, std::move(completion));
}

void View::animateKeyframes(double seconds, const std::function<void()>& changes,
                            std::function<void(bool)> completion, unsigned options) {
  record(seconds, true, (options & (7u << 10)) == calculationModeCubic, changes, std::move(completion));
}

void View::followTimeline(const std::shared_ptr<AnimationTimeline>& timeline, const std::function<void()>& changes) {
  auto outer = std::exchange(ambientTimeline, timeline);
  changes();
  ambientTimeline = std::move(outer);
}

void View::addKeyframe(double relativeStart, double relativeDuration, const std::function<void()>& changes) {
  if (!current || !current->keyframes) {
    changes();
    return;
  }
  const double start = current->keyStart, length = current->keyLength;
  current->keyStart = relativeStart;
  current->keyLength = relativeDuration;
  changes();
  current->keyStart = start;
  current->keyLength = length;
}

void View::performWithoutAnimation(const std::function<void()>& changes) {
  AnimationContext context{0, false, 0, 1, true, nullptr, false, nullptr};
  ContextScope scope(&context);
  changes();
}

void View::setHidden(bool hidden) {
  hidden_ = hidden;
  if (parentWidget()) QWidget::setVisible(!hidden);
  else if (hidden) QWidget::hide();
}

void View::setClipsToBounds(bool clips) {
  clipsToBounds_ = clips;
  update();
}

void View::setBackgroundColor(std::optional<QColor> color) {
  background_ = color;
  update();
}

QColor View::tintColor() const {
  if (tint_) return *tint_;
  if (const View* parent = superview()) return parent->tintColor();
  return QColor(0, 122, 255);
}

void View::setTintColor(std::optional<QColor> color) {
  tint_ = color;
  propagateTint();
}

void View::propagateTint() {
  tintColorDidChange();
  for (View* sub : subviews())
    if (!sub->tint_) sub->propagateTint();
}

void View::setCornerRadius(double radius) {
  cornerRadius_ = radius;
  update();
}

void View::setBorder(double width, QColor color) {
  borderWidth_ = width;
  borderColor_ = color;
  update();
}

void View::setUserInteractionEnabled(bool enabled) {
  interactive_ = enabled;
  setAttribute(Qt::WA_TransparentForMouseEvents, !enabled);
}

View* View::superview() const { return qobject_cast<View*>(parentWidget()); }

std::vector<View*> View::subviews() const {
  std::vector<View*> views;
  for (QObject* child : children())
    if (auto* view = qobject_cast<View*>(child)) views.push_back(view);
  return views;
}

void View::addSubview(View* view) {
  if (!view) return;
  if (view->parentWidget() != this) view->willMoveToSuperview(this);
  view->setParent(this);  // on top of its siblings
  view->raise();
  view->QWidget::setVisible(!view->hidden_);
  view->propagateTint();
}

void View::insertSubview(View* view, View* below) {
  if (!below || below->parentWidget() != this) return addSubview(view);
  addSubview(view);
  view->stackUnder(below);
}

void View::sendSubviewToBack(View* view) {
  if (view && view->parentWidget() == this) view->lower();
}

void View::removeFromSuperview() {
  if (!parentWidget()) return;
  willMoveToSuperview(nullptr);
  setParent(nullptr);
}

void View::willMoveToSuperview(View*) {}

void View::setNeedsLayout() {
  needsLayout_ = true;
  if (!layoutPosted_) {
    layoutPosted_ = true;
    QCoreApplication::postEvent(this, new QEvent(QEvent::LayoutRequest));
  }
}

void View::layoutIfNeeded() {
  if (needsLayout_) {
    needsLayout_ = false;
    layoutSubviews();
  }
  for (View* sub : subviews()) sub->layoutIfNeeded();
}

void View::setHeightConstraintConstants(double constant) {
  for (const auto& c : constraints_)
    if (c->firstAttribute() == LayoutConstraint::Attribute::height && c->firstItem() == this)
      c->setConstant(constant);
}

View* View::hitTest(const QPointF& point) {
  if (hidden_ || alpha_ < 0.01 || !interactive_ || !bounds().contains(point)) return nullptr;
  const auto subs = subviews();
  for (auto it = subs.rbegin(); it != subs.rend(); ++it)
    if (View* hit = (*it)->hitTest(point - (*it)->frame_.topLeft())) return hit;
  return passThrough_ ? nullptr : this;
}

bool View::event(QEvent* event) {
  // A window resized by its user: the model follows the window.
  if (event->type() == QEvent::Resize && isWindow() && size() != presented_.size().toSize()) {
    frame_.setSize(size());
    presented_ = frame_;
    setNeedsLayout();
    Q_EMIT frameChanged(frame_);
  }
  if (event->type() == QEvent::LayoutRequest) {
    layoutPosted_ = false;
    layoutIfNeeded();
  }
  return QWidget::event(event);
}

void View::mousePressEvent(QMouseEvent* event) {
  if (hitTest(event->position())) event->accept();
  else event->ignore();
}

QPainterPath View::clipPath() const {
  QPainterPath path;
  path.addRoundedRect(QRectF(rect()), cornerRadius_, cornerRadius_);
  for (const View* a = superview(); a; a = a->superview()) {
    if (!a->clipsToBounds_ || a->cornerRadius_ <= 0) continue;
    QPainterPath outer;
    outer.addRoundedRect(QRectF(a->rect()), a->cornerRadius_, a->cornerRadius_);
    path = path.intersected(outer.translated(mapFrom(a, QPoint(0, 0))));
  }
  return path;
}

void View::paintEvent(QPaintEvent*) {
  if (!background_ && borderWidth_ <= 0) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QPainterPath shape = clipPath();
  if (background_) painter.fillPath(shape, *background_);
  if (borderWidth_ > 0) {
    QPainterPath ring;
    ring.addRoundedRect(QRectF(rect()).adjusted(borderWidth_ / 2, borderWidth_ / 2, -borderWidth_ / 2,
                                                -borderWidth_ / 2),
                        std::max(0.0, cornerRadius_ - borderWidth_ / 2), std::max(0.0, cornerRadius_ - borderWidth_ / 2));
    painter.setClipPath(shape);
    painter.strokePath(ring, QPen(borderColor_, borderWidth_));
  }
}

}  // namespace tavrel::ui
