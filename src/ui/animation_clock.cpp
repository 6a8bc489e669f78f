#include "tavrel/ui/animation_clock.h"

#include <algorithm>

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

void AnimationClock::run(QVariantAnimation* animation, int delayMs, std::function<void(bool)> done) {
  entries_.push_back({animation, now_ + std::max(delayMs, 0), std::move(done)});
  if (delayMs <= 0) animation->setCurrentTime(0);
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

void AnimationClock::tick() {
  // Animations started or cancelled by a completion are seen at once; each
  // entry is looked up again after every call out.
  std::vector<QVariantAnimation*> order;
  for (const auto& e : entries_) order.push_back(e.animation.data());
  for (QVariantAnimation* target : order) {
    auto it = std::ranges::find_if(entries_, [&](const Entry& e) { return e.animation.data() == target; });
    if (it == entries_.end()) continue;
    const auto index = static_cast<std::size_t>(it - entries_.begin());
    if (!it->animation) {
      finish(index, false);
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
  std::erase_if(entries_, [](const Entry& e) { return e.animation.isNull() && !e.done; });
  if (entries_.empty()) frameTimer_.stop();
}

}  // namespace tavrel::ui
