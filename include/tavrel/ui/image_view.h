#pragma once
// ImageView: one image, scaled to fill its bounds. A template image is drawn
// as a mask in the view's tint colour.
//
// Named images come from a process-wide catalogue: the library's own icons,
// drawn at first use, and whatever the host registers.

#include <QImage>
#include <optional>
#include <string_view>

#include "tavrel/ui/view.h"

namespace tavrel::ui {

class ImageView : public View {
  Q_OBJECT
 public:
  enum class RenderingMode { original, alwaysTemplate };

  explicit ImageView(const QRectF& frame = {}, std::optional<QImage> image = std::nullopt);

  const std::optional<QImage>& image() const { return image_; }
  void setImage(std::optional<QImage> image);
  RenderingMode renderingMode() const { return mode_; }
  void setRenderingMode(RenderingMode mode);

  // The image of that name, if the catalogue has one.
  static std::optional<QImage> imageNamed(std::string_view name);
  // Adds or replaces a named image. Main thread.
  static void registerImage(std::string_view name, const QImage& image);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::optional<QImage> image_;
  RenderingMode mode_ = RenderingMode::original;
};

}  // namespace tavrel::ui
