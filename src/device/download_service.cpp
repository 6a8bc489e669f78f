#include "tavrel/device/download_service.h"

#include <filesystem>

#include "tavrel/core/encoding_url.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/device/user_defaults.h"

namespace tavrel {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kFolder = "tavrel";

// Why the file name could leave the folder, as written or decoded; "" if not.
std::string unsafeName(std::string_view name) {
  if (auto why = unsafeFileNameReason(name); !why.empty()) return why;
  const auto decoded = removePercentEncoding(name);
  if (decoded && *decoded != name) {
    if (auto why = unsafeFileNameReason(*decoded); !why.empty()) return why + " once percent-decoded";
  }
  return "";
}

}  // namespace

struct DownloadService::Inner {
  Inner(SDDownloadManager& m, UserDefaults& d) : manager(m), defaults(d) {}
  SDDownloadManager& manager;
  UserDefaults& defaults;
  std::mutex mutex;
  std::map<std::string, rx::BehaviorSubject<State>, std::less<>> downloadState;
};

DownloadService& DownloadService::shared() {
  static DownloadService service(SDDownloadManager::shared(), UserDefaults::standard());
  return service;
}

DownloadService::DownloadService(SDDownloadManager& manager, UserDefaults& defaults)
    : inner_(std::make_shared<Inner>(manager, defaults)) {}

std::optional<std::string> DownloadService::getDownloadKey(std::string_view url) {
  auto encoded = EncodingURL(url).url();
  if (!encoded) return std::nullopt;
  return encoded->absoluteString();
}

void DownloadService::fail(std::string_view url, std::string text) {
  getFileState(url, State::error(text)).onNext(State::error(text));
}

void DownloadService::startDownload(std::string_view withUrl) {
  const EncodingURL encoding(withUrl);
  const auto url = encoding.url();
  const auto& original = encoding.originalFilename();
  if (!url || !original || original->empty()) return fail(withUrl, "Invalid file url: " + std::string(withUrl));
  if (auto why = unsafeName(*original); !why.empty()) {
    return fail(withUrl, "Unsafe file name in " + std::string(withUrl) + ": " + why);
  }
  const fs::path caches = inner_->manager.baseDirectory();
  fs::path target = caches / kFolder / *original;
  std::string extension = target.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  // Every ".<extension>" goes, as the platform's backward search removes them all.
  std::string baseName = *original;
  const std::string dotted = "." + extension;
  for (auto at = baseName.rfind(dotted); at != std::string::npos; at = baseName.rfind(dotted)) {
    baseName.erase(at, dotted.size());
  }
  std::string fileName = *original;
  std::error_code ec;
  for (int counter = 1; fs::exists(target, ec); ++counter) {
    fileName = baseName + "_" + std::to_string(counter) + "." + extension;
    target = caches / kFolder / fileName;
  }
  HttpRequest request;
  request.url = url->absoluteString();
  const std::string key(withUrl);
  inner_->manager.downloadFile(std::move(request), kFolder, fileName, true, getProgressBlock(key),
                               getCompleteBlock(key));
}

void DownloadService::cancel(std::string_view withUrl) {
  inner_->manager.cancelDownload(getDownloadKey(withUrl).value_or(""));
}

rx::BehaviorSubject<DownloadService::State> DownloadService::getFileState(std::string_view forUrl,
                                                                        State withInitial) {
  std::unique_lock lock(inner_->mutex);
  auto& states = inner_->downloadState;
  if (auto it = states.find(forUrl); it != states.end()) return it->second;
  const std::string url(forUrl);
  if (auto key = getDownloadKey(url); key && inner_->manager.isDownloadInProgress(*key)) {
    rx::BehaviorSubject<State> subject(State::progress(0));
    states.emplace(url, subject);
    lock.unlock();
    inner_->manager.alterBlocksForOngoingDownload(*key, getProgressBlock(url), getCompleteBlock(url));
    return subject;
  }
  auto stored = inner_->defaults.url(url);
  rx::BehaviorSubject<State> subject(stored ? State::done(*stored) : std::move(withInitial));
  states.emplace(url, subject);
  return subject;
}

SDDownloadManager::ProgressBlock DownloadService::getProgressBlock(const std::string& url) {
  return [weak = std::weak_ptr<Inner>(inner_), url](double fraction) {
    auto inner = weak.lock();
    if (!inner) return;
    DownloadService view(inner);
    view.getFileState(url).onNext(State::progress(static_cast<int>(fraction * 100)));
  };
}

SDDownloadManager::CompletionBlock DownloadService::getCompleteBlock(const std::string& url) {
  return [weak = std::weak_ptr<Inner>(inner_), defaults = &inner_->defaults, url](
             const std::optional<DownloadError>& error, const std::optional<Url>& file) {
    if (file) defaults->set(*file, url);
    auto inner = weak.lock();
    if (!inner) return;
    DownloadService view(inner);
    view.getFileState(url).onNext(file ? State::done(*file)
                                       : State::error(error ? error->localizedDescription
                                                            : "unknown file downloading error"));
  };
}

std::string toString(const DownloadService::State& state) {
  using Case = DownloadService::State::Case;
  switch (state.kind) {
    case Case::progress: return "progress " + std::to_string(state.percent);
    case Case::done: return "done " + (state.file ? state.file->absoluteString() : "");
    case Case::error: return "error " + state.text;
    case Case::none: break;
  }
  return "none";
}

}  // namespace tavrel
