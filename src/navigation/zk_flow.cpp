#include "tavrel/navigation/zk_flow.h"

#include <QDesktopServices>
#include <QUrl>

#include "tavrel/core/encoding_url.h"
#include "tavrel/navigation/image_viewer.h"
#include "tavrel/ui/colors.h"

namespace tavrel::navigation {

ZKFlow::ZKFlow(std::optional<QColor> /*mainColor*/) : navigationController(std::make_shared<ZKNavigationController>()) {
  navigationController->setTintColor(ui::colors::black());
}

FlowContributors ZKFlow::navigate(const StepPtr& step) {
  navigationController->initRightSwipe(std::nullopt);
  navigationController->initLeftSwipe(std::nullopt);
  const auto* zk = dynamic_cast<const ZKStep*>(step.get());
  if (!zk) return FlowContributors::none();
  if (const auto* image = std::get_if<ZKStep::openImage>(&zk->value))
    return openImage(image->images, image->currentIndex);
  return openFile(std::get<ZKStep::openFile>(zk->value).url);
}

FlowContributors ZKFlow::openFile(const Url& url) {
  // This desktop's share sheet: the application that handles the file.
  QDesktopServices::openUrl(QUrl(QString::fromStdString(url.absoluteString())));
  return FlowContributors::none();
}

FlowContributors ZKFlow::openImage(const std::vector<std::string>& images, long currentIndex) {
  std::vector<std::string> urls;
  for (const std::string& text : images) {
    // A text that gives no URL keeps its place, and shows no image.
    const auto url = EncodingURL(text).url();
    urls.push_back(url ? url->absoluteString() : std::string());
  }
  ImageViewer::closeButtonText = QStringLiteral("✖️");
  auto* viewer = new ImageViewer(std::move(urls), currentIndex);
  ui::View* host = navigationController->view();
  viewer->setFrame(host->bounds());
  viewer->setAlpha(0);
  host->addSubview(viewer);
  ui::View::animate(0.3, [viewer] { viewer->setAlpha(1); });
  return FlowContributors::none();
}

}  // namespace tavrel::navigation
