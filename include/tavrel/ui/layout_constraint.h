#pragma once
// A size rule that a host attaches to a view, the part of a layout system
// that the views read and write: which attribute it fixes, of which view, and
// to what constant. The views only ever change the constant of height rules
// whose first item is the view itself; the host applies the rules when it
// places its views.

namespace tavrel::ui {

class View;

class LayoutConstraint {
 public:
  enum class Attribute { width = 7, height = 8 };

  LayoutConstraint(Attribute attribute, View* firstItem, double constant)
      : firstAttribute_(attribute), firstItem_(firstItem), constant_(constant) {}

  Attribute firstAttribute() const { return firstAttribute_; }
  View* firstItem() const { return firstItem_; }
  double constant() const { return constant_; }
  void setConstant(double constant) { constant_ = constant; }

 private:
  Attribute firstAttribute_;
  View* firstItem_;
  double constant_;
};

}  // namespace tavrel::ui
