#include "tavrel/navigation/network_error_view.h"

#include <QFontMetricsF>
#include <algorithm>
#include <cmath>

#include "tavrel/core/info_plist.h"
#include "tavrel/rx/rx.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"

namespace tavrel::navigation {
namespace {

constexpr double blockWidth = 305;
const QColor grey = QColor::fromRgbF(0.6f, 0.6f, 0.6f, 1.0f);

// What the label's text needs, wrapped at the block's width: the label
// "sized to fit".
QSizeF fittingSize(const ui::Label& label) {
  if (label.text().isEmpty()) return {0, 0};
  const QFontMetricsF metrics(label.font());
  const QRectF r = metrics.boundingRect(QRectF(0, 0, blockWidth, 1e6), Qt::AlignHCenter | Qt::TextWordWrap, label.text());
  return {std::ceil(r.width()), std::ceil(r.height())};
}

void centerAt(ui::View& view, double x, double y) { view.setCenter(QPointF(x, y)); }

}  // namespace

TitleButton::TitleButton(const QRectF& frame) : Control(frame), title_(new ui::Label(bounds())) {
  title_->setTextAlignment(Qt::AlignCenter);
  addSubview(title_);
}

void TitleButton::layoutSubviews() { title_->setFrame(bounds()); }

NetworkErrorView::NetworkErrorView(const NavigationViewState& state)
    : View(QRectF()),
      titleView_(new ui::Label(QRectF(0, 0, blockWidth, 20))),
      descView_(new ui::Label(QRectF(0, 0, blockWidth, 40))),
      retryButton_(new TitleButton(QRectF(0, 0, blockWidth, 20))),
      containerView_(new ui::View()) {
  setBackgroundColor(ui::colors::white());
  setAlpha(0.0);
  setClipsToBounds(true);
  addSubview(containerView_);
  containerView_->addSubview(titleView_);
  containerView_->addSubview(descView_);
  containerView_->addSubview(retryButton_);

  titleView_->setFont(ui::Font::system(20, QFont::Medium));
  titleView_->setTextColor(grey);
  titleView_->setText(state.getTitle());
  titleView_->setTextAlignment(Qt::AlignHCenter);

  descView_->setFont(ui::Font::system(15));
  descView_->setNumberOfLines(0);
  descView_->setTextColor(grey);
  descView_->setText(state.getDesc());
  descView_->setTextAlignment(Qt::AlignHCenter);

  const std::string retry = localize("Повторить попытку", AppType::lib);
  retryButton_->setTitle(QString::fromStdString(retry.empty() ? "Повторить попытку" : retry));
  retryButton_->titleLabel().setFont(ui::Font::system(15, QFont::DemiBold));
  retryButton_->setTitleColor(tintColor());
  retryButton_->setHidden(state.isButtonHidden());

  rx::PublishSubject<rx::Unit> taps;
  QObject::connect(retryButton_, &ui::Control::touchUpInside, retryButton_, [taps] { taps.onNext(rx::Unit{}); });
  disposeBag_.insert(taps.asObservable().debug("tap").subscribe(retryAction_.asObserver()));
}

void NetworkErrorView::update(const NavigationViewState& state) {
  titleView_->setText(state.getTitle());
  descView_->setText(state.getDesc());
  retryButton_->setHidden(state.isButtonHidden());
  setNeedsLayout();
}

void NetworkErrorView::setTintColor(std::optional<QColor> color) {
  View::setTintColor(color);
  retryButton_->setTitleColor(tintColor());
}

void NetworkErrorView::layoutSubviews() {
  View::layoutSubviews();
  QRectF d = descView_->frame();
  d.setSize(fittingSize(*descView_));
  descView_->setFrame(d);

  // The block: its children's heights and the two gaps, 10 and 20; a
  // hidden button still counts, so the block does not move without it.
  const auto parts = containerView_->subviews();
  double h = 30, w = parts.empty() ? 100.0 : 0.0;
  for (View* part : parts) {
    h += part->frame().height();
    w = std::max(w, part->frame().width());
  }
  containerView_->setFrame(QRectF(containerView_->frame().topLeft(), QSizeF(w, h)));
  containerView_->setCenter(QPointF(frame().width() / 2, frame().height() / 2));

  const double c = containerView_->bounds().width() / 2;
  const double title = titleView_->frame().height(), desc = descView_->frame().height();
  centerAt(*titleView_, c, title / 2);
  centerAt(*descView_, c, title + 10 + desc / 2);
  centerAt(*retryButton_, c, title + 10 + desc + 20 + retryButton_->frame().height() / 2);
}

}  // namespace tavrel::navigation
