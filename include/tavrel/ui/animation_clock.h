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
#include <memory>
#include <vector>

namespace tavrel::ui {

// A time line that a group of animations follows in place of the clock's
// own: it is held at a point, moved by hand, or played on, forward to the
// animations' end or back to their start, from where it is. It starts held
// at 0. Times are milliseconds.
class AnimationTimeline {
 public:
  double time() const;
  // Holds at `ms` and shows the animations there.
  void seek(double ms);
  // Plays on from where it is; back (false) ends at 0.
  void play(bool forward);
  bool isHeld() const { return direction_ == 0; }
  bool isReversed() const { return direction_ < 0; }

 private:
  double base_ = 0;
  qint64 since_ = 0;
  int direction_ = 0;
};

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
  // The same on `timeline`: the animations of one time line end together,
  // when it has played forward past the last one's end or back to 0, in the
  // order they were started (back: in the reverse order).
  void run(QVariantAnimation* animation, const std::shared_ptr<AnimationTimeline>& timeline, int delayMs,
           std::function<void(bool)> done);
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
    qint64 start;  // on a time line: the delay
    std::function<void(bool)> done;
    std::shared_ptr<AnimationTimeline> timeline;
  };
  void startTimer();
  // The time lines that have come to an end, forward or back.
  std::vector<AnimationTimeline*> endedTimelines() const;
  std::vector<Entry> entries_;
  qint64 now_ = 0;
  bool manual_ = false;
  QTimer frameTimer_;
  QElapsedTimer elapsed_;
  qint64 lastReal_ = 0;
};

}  // namespace tavrel::ui
