#pragma once
// LoadingView: the white cover with one spinner in its middle that a screen
// shows while it loads. Its tint colour is the spinner's.

#include "tavrel/ui/progress_view.h"

namespace tavrel::ui {

class LoadingView : public View {
  Q_OBJECT
 public:
  explicit LoadingView(const QRectF& frame = {});

  void setTintColor(std::optional<QColor> color) override;
  ProgressView& progressView() { return *progressView_; }
  void layoutSubviews() override;

 private:
  ProgressView* progressView_ = nullptr;
};

}  // namespace tavrel::ui
