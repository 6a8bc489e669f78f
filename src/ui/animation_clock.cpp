#include "tavrel/ui/animation_clock.h"

#include <algorithm>
#include <cmath>

namespace tavrel::ui {

AnimationClock& AnimationClock::shared() {
  static AnimationClock* clock = new AnimationClock();  // lives as long as the application
  return *clock;
}

AnimationClock::AnimationClock() {
  frameTimer_.setInterval(16);
  connect(&frameTimer_, &QTimer::timeout, this, [this] {
    const qint64 real = elapsed_.elapsed();
    const auto step = static_cast<int>(real - lastReal_);
    lastReal_ = real;
    advance(step);
  });
}

void AnimationClock::setManual(bool manual) {
  manual_ = manual;
  if (manual_) {
    frameTimer_.stop();
  } else if (!entries_.empty() && !frameTimer_.isActive()) {
    elapsed_.start();
    lastReal_ = 0;
    frameTimer_.start();
  }
}

void AnimationClock::advance(int ms) {
  now_ += std::max(ms, 0);
  tick();
}

double AnimationTimeline::time() const {
  if (direction_ == 0) return base_;
  return std::max(0.0, base_ + direction_ * double(AnimationClock::shared().now() - since_));
}

void AnimationTimeline::seek(double ms) {
  base_ = std::max(0.0, ms);
  direction_ = 0;
  AnimationClock::shared().advance(0);
}

void AnimationTimeline::play(bool forward) {
  base_ = time();
  since_ = AnimationClock::shared().now();
  direction_ = forward ? 1 : -1;
}

void AnimationClock::run(QVariantAnimation* animation, int delayMs, std::function<void(bool)> done) {
  entries_.push_back({animation, now_ + std::max(delayMs, 0), std::move(done), nullptr});
  if (delayMs <= 0) animation->setCurrentTime(0);
  startTimer();
}

void AnimationClock::run(QVariantAnimation* animation, const std::shared_ptr<AnimationTimeline>& timeline,
                         int delayMs, std::function<void(bool)> done) {
  entries_.push_back({animation, std::max(delayMs, 0), std::move(done), timeline});
  animation->setCurrentTime(std::clamp(static_cast<int>(timeline->time()) - std::max(delayMs, 0), 0,
                                       std::max(animation->totalDuration(), 0)));
  startTimer();
}

void AnimationClock::startTimer() {
  if (!manual_ && !frameTimer_.isActive()) {
    elapsed_.start();
    lastReal_ = 0;
    frameTimer_.start();
  }
}

void AnimationClock::cancel(QVariantAnimation* animation) {
  auto it = std::ranges::find_if(entries_, [&](const Entry& e) { return e.animation == animation; });
  if (it != entries_.end()) finish(static_cast<std::size_t>(it - entries_.begin()), false);
}

void AnimationClock::finish(std::size_t index, bool finished) {
  Entry entry = std::move(entries_[index]);
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
  if (entry.done) entry.done(finished);
  delete entry.animation.data();
}

std::vector<AnimationTimeline*> AnimationClock::endedTimelines() const {
  std::vector<AnimationTimeline*> ended;
  for (const auto& e : entries_) {
    AnimationTimeline* line = e.timeline.get();
    if (!line || line->isHeld() || std::ranges::find(ended, line) != ended.end()) continue;
    const double t = line->time();
    const bool done = line->isReversed() ? t <= 0 : std::ranges::all_of(entries_, [&](const Entry& other) {
      return other.timeline.get() != line || !other.animation ||
             t >= double(other.start + other.animation->totalDuration());
    });
    if (done) ended.push_back(line);
  }
  return ended;
}

void AnimationClock::tick() {
  // Animations started or cancelled by a completion are seen at once; each
  // entry is looked up again after every call out.
  const std::vector<AnimationTimeline*> ended = endedTimelines();
  std::vector<QVariantAnimation*> order;
  for (const auto& e : entries_) order.push_back(e.animation.data());
  std::vector<QVariantAnimation*> endedForward, endedBack;
  for (QVariantAnimation* target : order) {
    auto it = std::ranges::find_if(entries_, [&](const Entry& e) { return e.animation.data() == target; });
    if (it == entries_.end()) continue;
    const auto index = static_cast<std::size_t>(it - entries_.begin());
    if (!it->animation) {
      finish(index, false);
      continue;
    }
    if (AnimationTimeline* line = it->timeline.get()) {
      const int total = std::max(it->animation->totalDuration(), 0);
      const auto t = static_cast<int>(std::lround(line->time())) - static_cast<int>(it->start);
      it->animation->setCurrentTime(std::clamp(t, 0, total));
      if (std::ranges::find(ended, line) != ended.end())
        (line->isReversed() ? endedBack : endedForward).push_back(target);
      continue;
    }
    const qint64 t = now_ - it->start;
    if (t < 0) continue;
    const int total = it->animation->totalDuration();  // -1 for ever
    if (total >= 0 && t >= total) {
      it->animation->setCurrentTime(total);
      // setCurrentTime may have run code that cancelled this very entry.
      auto again = std::ranges::find_if(entries_, [&](const Entry& e) { return e.animation.data() == target; });
      if (again != entries_.end()) finish(static_cast<std::size_t>(again - entries_.begin()), true);
    } else {
      it->animation->setCurrentTime(static_cast<int>(t));
    }
  }
  // The animations of a time line that has ended finish together; run back,
  // the last started finishes first.
  std::ranges::reverse(endedBack);
  for (const auto* list : {&endedForward, &endedBack})
    for (QVariantAnimation* target : *list) {
      auto it = std::ranges::find_if(entries_, [&](const Entry& e) { return e.animation.data() == target; });
      if (it != entries_.end()) finish(static_cast<std::size_t>(it - entries_.begin()), true);
    }
  std::erase_if(entries_, [](const Entry& e) { return e.animation.isNull() && !e.done; });
  if (entries_.empty()) frameTimer_.stop();
}

}  // namespace tavrel::ui
