#pragma once
// The small flow library the shell is written against: a `Step` is a
// navigation intent, a `Stepper` emits steps, a `Flow` turns each step into
// screens and says with `FlowContributors` what else takes part.

#include <memory>

#include "tavrel/rx/subjects.h"
#include "tavrel/ui/view_controller.h"

namespace tavrel::navigation {

// A navigation intent. Steps are immutable and shared.
class Step {
 public:
  virtual ~Step() = default;
};
using StepPtr = std::shared_ptr<const Step>;

// What a flow shows: a screen.
using Presentable = ui::ViewController;

class Stepper {
 public:
  virtual ~Stepper() = default;
  // The steps for the flow.
  rx::PublishRelay<StepPtr> steps;
  // The step a flow takes at once, none by default.
  virtual StepPtr initialStep() const { return nullptr; }
  // Called when the flow listens; nothing by default.
  virtual void readyToEmitSteps() {}
};

// What a flow's answer to a step brings in: nothing more, or one screen
// with the stepper that drives it from now on.
class FlowContributors {
 public:
  enum class Kind { none, one };
  static FlowContributors none() { return {}; }
  static FlowContributors one(std::shared_ptr<Presentable> presentable, std::shared_ptr<Stepper> stepper) {
    FlowContributors c;
    c.kind_ = Kind::one;
    c.presentable_ = std::move(presentable);
    c.stepper_ = std::move(stepper);
    return c;
  }
  Kind kind() const { return kind_; }
  const std::shared_ptr<Presentable>& presentable() const { return presentable_; }
  const std::shared_ptr<Stepper>& stepper() const { return stepper_; }

 private:
  Kind kind_ = Kind::none;
  std::shared_ptr<Presentable> presentable_;
  std::shared_ptr<Stepper> stepper_;
};

class Flow {
 public:
  virtual ~Flow() = default;
  virtual std::shared_ptr<Presentable> root() const = 0;
  virtual FlowContributors navigate(const StepPtr& step) = 0;
};

}  // namespace tavrel::navigation
