#pragma once
// Rows in a vertical scroll area, for the conversation list and the help
// centre: an optional avatar, a title, a grey second line; a click calls
// the row's action.

#include <QScrollArea>
#include <functional>
#include <optional>
#include <vector>

#include "tavrel/model/person.h"
#include "tavrel/ui/view.h"

namespace tavrel::desk {

// A vertical scroll area in parent around a new, white column of views; its
// viewport is white below the column too, not the window's grey.
QScrollArea* whiteScrollArea(QWidget* parent, ui::View*& column);

struct RowItem {
  QString title;
  QString subtitle;
  std::optional<Person> avatar;  // none: no avatar
  QString badge;                 // on the right, as "2"; empty for none
  std::function<void()> action;
};

class RowListView : public ui::View {
 public:
  static constexpr double kRowHeight = 64;
  explicit RowListView(const QRectF& frame = {});
  void setRows(std::vector<RowItem> rows);
  // Space above the first row (for the bar over it).
  void setTopInset(double inset);
  void layoutSubviews() override;

 private:
  void rebuild();
  QScrollArea* scroll_;
  ui::View* column_;
  std::vector<RowItem> rows_;
  double topInset_ = 0;
};

}  // namespace tavrel::desk
