#pragma once
// NetworkErrorView: the shell's own error panel, a centred block of title,
// description and retry button on white. It takes its texts from the state
// and knows nothing of the network.

#include "tavrel/navigation/error_view_protocol.h"
#include "tavrel/rx/disposable.h"
#include "tavrel/rx/subjects.h"
#include "tavrel/ui/control.h"
#include "tavrel/ui/label.h"
#include "tavrel/ui/view.h"

namespace tavrel::navigation {

// A button with a one-line title: a tap control over a centred label.
class TitleButton : public ui::Control {
  Q_OBJECT
 public:
  explicit TitleButton(const QRectF& frame = {});
  ui::Label& titleLabel() { return *title_; }
  void setTitle(const QString& title) { title_->setText(title); }
  void setTitleColor(const QColor& color) { title_->setTextColor(color); }
  void layoutSubviews() override;

 private:
  ui::Label* title_;
};

class NetworkErrorView : public ui::View, public ErrorViewProtocol {
  // No meta-object: its members hold reactive types, which moc cannot read.
 public:
  explicit NetworkErrorView(const NavigationViewState& state);

  rx::PublishSubject<rx::Unit> retryAction() const override { return retryAction_; }
  // The colour of the button's title; the labels keep their grey.
  void setTintColor(std::optional<QColor> color) override;
  void update(const NavigationViewState& state) override;
  using QWidget::update;
  void layoutSubviews() override;

  ui::Label& titleView() { return *titleView_; }
  ui::Label& descView() { return *descView_; }
  TitleButton& retryButton() { return *retryButton_; }
  ui::View& containerView() { return *containerView_; }

 private:
  ui::Label* titleView_;
  ui::Label* descView_;
  TitleButton* retryButton_;
  ui::View* containerView_;
  rx::PublishSubject<rx::Unit> retryAction_;
  rx::DisposeBag disposeBag_;
};

}  // namespace tavrel::navigation
