#pragma once
// PanRecognizer: follows a drag on one widget (a press, moves, a release)
// and reports its translation from the press. A recogniser has one view at a
// time: attaching it to another takes it from the first.

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QWidget>
#include <optional>

namespace tavrel::ui {

class PanRecognizer : public QObject {
  Q_OBJECT
 public:
  enum class State { began, changed, ended };

  QWidget* view() const { return view_; }
  void attach(QWidget* view);

 Q_SIGNALS:
  void panned(tavrel::ui::PanRecognizer::State state, QPointF translation);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QPointer<QWidget> view_;
  std::optional<QPointF> start_;
};

}  // namespace tavrel::ui
