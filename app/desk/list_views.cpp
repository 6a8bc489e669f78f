#include "list_views.h"

#include <QMouseEvent>

#include "tavrel/ui/avatar.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/label.h"

namespace tavrel::desk {
namespace {

using ui::colors::hex;

// One row: clickable, with a hairline below.
class RowView : public ui::View {
 public:
  RowView(const RowItem& item, double width) : View(QRectF(0, 0, width, RowListView::kRowHeight)), action_(item.action) {
    setBackgroundColor(ui::colors::white());
    setCursor(Qt::PointingHandCursor);
    double x = 16;
    if (item.avatar) {
      auto* avatar = new ui::Avatar(QRectF(16, 12, 40, 40), hex(0xF5A623));
      addSubview(avatar);
      avatar->setup(*item.avatar);
      auto* initial = new ui::Label(QRectF(0, 0, 40, 40));
      initial->setText(QString::fromStdString(item.avatar->name).left(1).toUpper());
      initial->setFont(ui::Font::system(17, QFont::DemiBold));
      initial->setTextColor(ui::colors::white());
      initial->setTextAlignment(Qt::AlignCenter);
      avatar->addSubview(initial);
      x = 68;
    }
    const double badgeWidth = item.badge.isEmpty() ? 0 : 28;
    auto* title = new ui::Label(QRectF(x, 12, width - x - 16 - badgeWidth, 20));
    title->setFont(ui::Font::system(16, QFont::DemiBold));
    title->setText(item.title);
    addSubview(title);
    auto* subtitle = new ui::Label(QRectF(x, 34, width - x - 16, 18));
    subtitle->setFont(ui::Font::system(14));
    subtitle->setTextColor(hex(0x8E8E93));
    subtitle->setText(item.subtitle);
    addSubview(subtitle);
    if (!item.badge.isEmpty()) {
      auto* badge = new ui::Label(QRectF(width - 16 - 22, 12, 22, 22));
      badge->setBackgroundColor(hex(0x3478F6));
      badge->setCornerRadius(11);
      badge->setFont(ui::Font::system(12, QFont::DemiBold));
      badge->setTextColor(ui::colors::white());
      badge->setTextAlignment(Qt::AlignCenter);
      badge->setText(item.badge);
      addSubview(badge);
    }
    auto* line = new ui::View(QRectF(x, RowListView::kRowHeight - 0.5, width - x, 0.5));
    line->setBackgroundColor(hex(0xD1D1D6));
    addSubview(line);
  }

 protected:
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (rect().contains(event->position().toPoint()) && action_) action_();
  }

 private:
  std::function<void()> action_;
};

}  // namespace

RowListView::RowListView(const QRectF& frame) : View(frame) {
  setBackgroundColor(ui::colors::white());
  scroll_ = whiteScrollArea(this, column_);
}

void RowListView::setRows(std::vector<RowItem> rows) {
  rows_ = std::move(rows);
  rebuild();
}

void RowListView::setTopInset(double inset) {
  topInset_ = inset;
  setNeedsLayout();
}

void RowListView::rebuild() {
  for (View* row : column_->subviews()) {
    row->removeFromSuperview();
    row->deleteLater();
  }
  const double width = std::max(100.0, frame().width());
  double y = 0;
  for (const auto& item : rows_) {
    auto* row = new RowView(item, width);
    row->setFrame(QRectF(0, y, width, kRowHeight));
    column_->addSubview(row);
    row->show();
    y += kRowHeight;
  }
  column_->setFrame(QRectF(0, 0, width, y));
  column_->setFixedSize(column_->frame().size().toSize());
}

void RowListView::layoutSubviews() {
  scroll_->setGeometry(QRectF(0, topInset_, frame().width(), frame().height() - topInset_).toRect());
  if (std::abs(column_->frame().width() - frame().width()) > 0.5) rebuild();
}

QScrollArea* whiteScrollArea(QWidget* parent, ui::View*& column) {
  auto* scroll = new QScrollArea(parent);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QWidget& viewport = *scroll->viewport();
  QPalette palette = viewport.palette();
  palette.setColor(QPalette::Window, ui::colors::white());
  viewport.setPalette(palette);
  viewport.setAutoFillBackground(true);
  column = new ui::View();
  column->setBackgroundColor(ui::colors::white());
  scroll->setWidget(column);
  return scroll;
}

}  // namespace tavrel::desk
