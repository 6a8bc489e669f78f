#pragma once
// ImageViewer: images shown full screen over a screen, one at a time, from
// their URLs, on black. A tap on the left third goes back, on the right
// third on; the close button (its text is `closeButtonText`) takes the
// viewer away and deletes it.

#include <QString>
#include <string>
#include <vector>

#include "tavrel/ui/control.h"
#include "tavrel/ui/image_view.h"
#include "tavrel/ui/label.h"

namespace tavrel::navigation {

class ImageViewer : public ui::Control {
  Q_OBJECT
 public:
  // The text of every viewer's close button made from now on.
  static QString closeButtonText;

  // `startIndex` is clamped to the images.
  ImageViewer(std::vector<std::string> urls, long startIndex);

  long currentIndex() const { return index_; }
  const std::vector<std::string>& urls() const { return urls_; }
  ui::Label& closeButton() { return *closeLabel_; }
  void showImage(long index);
  void close();
  void layoutSubviews() override;

 protected:
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  std::vector<std::string> urls_;
  long index_ = 0;
  ui::ImageView* image_;
  ui::Label* counter_;
  ui::Control* close_;
  ui::Label* closeLabel_;
};

}  // namespace tavrel::navigation
