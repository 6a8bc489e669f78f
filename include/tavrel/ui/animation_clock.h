#pragma once
// The clock that moves every view animation. Animations are Qt's
// QVariantAnimation (interpolation and easing); this clock sets their current
// time instead of Qt's own timer, so that a test can stop time and move it by
// hand:
//
//     AnimationClock::shared().setManual(true);
//     bar.setText("hi");                       // starts a 0.2 s slide
//     AnimationClock::shared().advance(100);   // half way
//
// In the normal mode a frame timer of 16 ms advances it by the real time that
// passed, and runs only while an animation is under way. Main thread only.

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantAnimation>
#include <functional>
#include <vector>

namespace tavrel::ui {

class AnimationClock : public QObject {
  Q_OBJECT
 public:
  static AnimationClock& shared();

  // Manual: time moves only through `advance`. Switching mode keeps the
  // animations under way.
  void setManual(bool manual);
  bool isManual() const { return manual_; }
  // Moves time on by `ms` milliseconds and updates every animation.
  void advance(int ms);
  // Milliseconds since the clock was made, on its own time line.
  qint64 now() const { return now_; }

  // Runs `animation` from `delayMs` from now. The clock drives it; the
  // animation is deleted when it ends, after `done(true)`, or when it is
  // cancelled, after `done(false)`. An animation with an infinite loop count
  // runs until it is cancelled or its parent object goes away.
  void run(QVariantAnimation* animation, int delayMs = 0, std::function<void(bool)> done = {});
  // Ends the animation without moving it further.
  void cancel(QVariantAnimation* animation);
  // How many animations are under way or waiting for their delay.
  std::size_t running() const { return entries_.size(); }

 private:
  AnimationClock();
  void tick();
  void finish(std::size_t index, bool finished);

  struct Entry {
    QPointer<QVariantAnimation> animation;
    qint64 start;
    std::function<void(bool)> done;
  };
  std::vector<Entry> entries_;
  qint64 now_ = 0;
  bool manual_ = false;
  QTimer frameTimer_;
  QElapsedTimer elapsed_;
  qint64 lastReal_ = 0;
};

}  // namespace tavrel::ui
