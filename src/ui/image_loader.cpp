#include "tavrel/ui/image_loader.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSaveFile>
#include <QUrl>
#include <cstdlib>

#include "tavrel/core/log.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::ui {

// What the transport's completions hold: the loader while it lives.
struct ImageLoader::Shared {
  ImageLoader* loader;
};

ImageLoader::ImageLoader(HttpTransport& transport, std::filesystem::path cacheDirectory)
    : transport_(transport), directory_(std::move(cacheDirectory)), alive_(std::make_shared<Shared>(Shared{this})) {
  memory_.setMaxCost(64 * 1024);  // kilobytes
}

ImageLoader::~ImageLoader() { alive_->loader = nullptr; }

ImageLoader& ImageLoader::shared() {
  static auto* loader = new ImageLoader(HttpTransport::shared(), defaultCacheDirectory());
  return *loader;
}

std::filesystem::path ImageLoader::defaultCacheDirectory() {
  const char* xdg = std::getenv("XDG_CACHE_HOME");
  std::filesystem::path base;
  if (xdg && *xdg) base = xdg;
  else if (const char* home = std::getenv("HOME")) base = std::filesystem::path(home) / ".cache";
  else base = std::filesystem::temp_directory_path();
  return base / "tavrel" / "images";
}

std::filesystem::path ImageLoader::fileFor(const std::string& url) const {
  const QByteArray hash = QCryptographicHash::hash(QByteArray::fromStdString(url), QCryptographicHash::Sha1).toHex();
  return directory_ / hash.toStdString();
}

void ImageLoader::clearMemoryCache() { memory_.clear(); }

void ImageLoader::load(const std::string& url, Completion done) {
  if (const QImage* hit = memory_.object(url)) {
    done(*hit);
    return;
  }
  const QUrl parsed(QString::fromStdString(url), QUrl::StrictMode);
  auto deliver = [done](std::optional<QImage> image) {
    rx::MainQueue::shared().post([done, image = std::move(image)] { done(image); });
  };
  if (url.empty() || !parsed.isValid()) return deliver(std::nullopt);
  if (parsed.isLocalFile()) {
    QImage image(parsed.toLocalFile());
    return deliver(image.isNull() ? std::nullopt : std::optional<QImage>(image));
  }
  if (parsed.scheme() != "http" && parsed.scheme() != "https") return deliver(std::nullopt);
  QFile cached(fileFor(url));
  if (cached.open(QIODevice::ReadOnly)) {
    QImage image = QImage::fromData(cached.readAll());
    if (!image.isNull()) {
      memory_.insert(url, new QImage(image), static_cast<int>(image.sizeInBytes() / 1024) + 1);
      return deliver(image);
    }
  }
  HttpRequest request;
  request.url = url;
  std::weak_ptr<Shared> alive = alive_;
  transport_.send(std::move(request), [alive, url, done](HttpResult result) {
    // On the transport's callback queue: only hand the bytes over.
    const auto* response = std::get_if<HttpResponse>(&result);
    const bool ok = response && response->statusCode >= 200 && response->statusCode < 300;
    std::string body = ok ? response->data : std::string();
    rx::MainQueue::shared().post([alive, url, done, ok, body = std::move(body)] {
      auto shared = alive.lock();
      if (shared && shared->loader) shared->loader->finish(url, body, ok, done);
      else done(std::nullopt);
    });
  });
}

void ImageLoader::finish(const std::string& url, const std::string& body, bool ok, const Completion& done) {
  QImage image;
  if (ok) image = QImage::fromData(QByteArray::fromStdString(body));
  if (image.isNull()) {
    done(std::nullopt);
    return;
  }
  memory_.insert(url, new QImage(image), static_cast<int>(image.sizeInBytes() / 1024) + 1);
  std::error_code error;
  std::filesystem::create_directories(directory_, error);
  QSaveFile file(QString::fromStdString(fileFor(url).string()));
  if (error || !file.open(QIODevice::WriteOnly) || file.write(body.data(), qint64(body.size())) < 0 || !file.commit())
    debugPrint("ImageLoader: could not keep " + url + " in " + directory_.string());
  done(image);
}

}  // namespace tavrel::ui
