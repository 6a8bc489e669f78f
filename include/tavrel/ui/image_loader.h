#pragma once
// ImageLoader: fetches images for the views. It looks in a memory cache, then
// in a disk cache, then asks the HTTP transport; an answer with a 2xx status
// whose body Qt can decode is kept in both caches. A "file:" URL is read from
// the disk as it is, and not cached.
//
// Completions run on the main queue: at once for a memory hit, else when the
// main queue is next drained. Nothing is retried; a failure (no URL, a
// status outside 2xx, a body that is no image, a transfer that failed)
// completes with no image. Main thread only, but the transport's threads.

#include <QCache>
#include <QImage>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavrel {
class HttpTransport;
}

namespace tavrel::ui {

class ImageLoader {
 public:
  using Completion = std::function<void(std::optional<QImage>)>;

  // Holds `transport` by reference: it must outlive the loader.
  ImageLoader(HttpTransport& transport, std::filesystem::path cacheDirectory);
  ~ImageLoader();
  ImageLoader(const ImageLoader&) = delete;
  ImageLoader& operator=(const ImageLoader&) = delete;

  // The process-wide loader: the shared transport, the default folder.
  static ImageLoader& shared();
  // $XDG_CACHE_HOME/tavrel/images, else ~/.cache/tavrel/images.
  static std::filesystem::path defaultCacheDirectory();

  void load(const std::string& url, Completion done);
  void clearMemoryCache();
  const std::filesystem::path& cacheDirectory() const { return directory_; }

 private:
  struct Shared;
  std::filesystem::path fileFor(const std::string& url) const;
  void finish(const std::string& url, const std::string& body, bool ok, const Completion& done);

  HttpTransport& transport_;
  std::filesystem::path directory_;
  QCache<std::string, QImage> memory_;
  std::shared_ptr<Shared> alive_;
};

}  // namespace tavrel::ui
