#include "tavrel/http/download_manager.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <variant>
#include <vector>

#include "http/callback_queue.h"
#include "http/resume_record.h"
#include "tavrel/core/log.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/http/http_transport.h"

namespace tavrel {
namespace fs = std::filesystem;
using detail::ResumeRecord;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::uint64_t kRecordEvery = 16u << 20;  // bytes between updates of the record
constexpr std::size_t kFileBuffer = 1u << 20;       // the most a transfer buffers
constexpr std::uint64_t kSmallBody = 256u << 10;     // restarting it costs no more than resuming
constexpr auto kReportEvery = std::chrono::milliseconds(100);

struct ContentRange {
  std::uint64_t first = 0;
  std::optional<std::uint64_t> total;
};

std::optional<std::uint64_t> number(std::string_view text) {
  std::uint64_t value = 0;
  if (text.empty()) return std::nullopt;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return value;
}

// "bytes 100-199/200" or "bytes 100-199/*".
std::optional<ContentRange> parseContentRange(std::string_view v) {
  if (!v.starts_with("bytes ")) return std::nullopt;
  v.remove_prefix(6);
  const auto dash = v.find('-'), slash = v.find('/');
  if (dash == std::string_view::npos || slash == std::string_view::npos || slash < dash) {
    return std::nullopt;
  }
  auto first = number(v.substr(0, dash));
  if (!first) return std::nullopt;
  ContentRange range{*first, number(v.substr(slash + 1))};
  return range;
}

std::string hostPort(std::string_view url) {
  const auto parsed = Url::parse(url);
  if (!parsed || !parsed->host()) return std::string(url);
  const int port = parsed->port().value_or(parsed->scheme() == "https" ? 443 : 80);
  return *parsed->host() + ":" + std::to_string(port);
}

DownloadError transportError(const URLError& e, std::string_view url) {
  DownloadError error{DownloadError::Kind::transport, {}, e.code(), 0};
  switch (e.code()) {
    case URLError::Code::cancelled: error.localizedDescription = "cancelled"; break;
    case URLError::Code::cannotConnectToHost:
      error.localizedDescription = "cannot connect to " + hostPort(url) + ": " + e.detail();
      break;
    default:
      error.localizedDescription = std::string(toString(e.code())) + ": " + e.detail();
  }
  return error;
}

DownloadError statusError(int status) {
  return {DownloadError::Kind::status,
          "the server answered with status " + std::to_string(status), std::nullopt, status};
}

DownloadError fileError(const fs::path& path, int err) {
  return {DownloadError::Kind::file, "cannot write " + path.string() + ": " + std::strerror(err),
          std::nullopt, 0};
}

}  // namespace

fs::path cachesDirectory() {
  const char* xdg = std::getenv("XDG_CACHE_HOME");
  if (xdg && *xdg == '/') return xdg;
  const char* home = std::getenv("HOME");
  return fs::path(home && *home ? home : "/") / ".cache";
}

Url fileUrl(const fs::path& path) {
  return *Url::parse("file://" + percentEncode(path.string(), charset::urlPathAllowed()));
}

std::optional<fs::path> filePath(const Url& url) {
  if (url.scheme() != "file") return std::nullopt;
  auto path = removePercentEncoding(url.path());
  if (!path) return std::nullopt;
  return fs::path(*path);
}

namespace {

// One transfer, from downloadFile to its completion.
struct Transfer : std::enable_shared_from_this<Transfer> {
  using Pending = std::variant<double, std::pair<std::optional<DownloadError>, std::optional<Url>>>;

  std::string key;
  HttpRequest request;
  ResumeRecord record;  // where it goes and, while it runs, what the record file says
  bool background = true;
  fs::path folder, partial, recordPath, target;

  // Guarded by mutex: the callbacks, what waits for them, the handle.
  std::mutex mutex;
  SDDownloadManager::ProgressBlock onProgress;
  SDDownloadManager::CompletionBlock onCompletion;
  std::deque<Pending> pending;
  bool draining = false;
  RequestHandle handle;
  bool cancelled = false;

  // The I/O thread's while the request runs, then its completion's.
  std::uint64_t resumeFrom = 0;  // the offset asked for with Range
  std::uint64_t written = 0;     // bytes in the partial file
  std::optional<std::uint64_t> total;
  FILE* file = nullptr;
  std::unique_ptr<char[]> buffer;  // the file's, sized to the body
  std::optional<DownloadError> failure;  // why the sink stopped the transfer
  bool restart = false;                  // the answer did not fit the range asked for
  bool restarted = false;
  double reported = -1;
  Clock::time_point reportedAt;
  // Copies of written and total for transferSizes; total + 1, 0 when unknown.
  std::atomic<std::uint64_t> bytesSeen{0}, totalSeen{0};
};

using TransferPtr = std::shared_ptr<Transfer>;

// Gives the complete partial file its final name without replacing a file
// that took that name meanwhile (another transfer's): then the next free
// "<stem>_<n><extension>". The errno of a failure, else 0.
int publish(Transfer& t) {
  const fs::path folder = t.target.parent_path();
  const std::string stem = t.target.stem().string(), extension = t.target.extension().string();
  bool linkOnly = false;  // a file system without rename's no-replace mode
  for (int n = 1; n < 10000; ++n) {
    if (!linkOnly) {
      if (::renameat2(AT_FDCWD, t.partial.c_str(), AT_FDCWD, t.target.c_str(), RENAME_NOREPLACE) == 0) return 0;
      linkOnly = errno == EINVAL || errno == ENOSYS;
    }
    if (linkOnly && ::link(t.partial.c_str(), t.target.c_str()) == 0) {
      ::unlink(t.partial.c_str());
      return 0;
    }
    if (errno != EEXIST) return errno;
    t.target = folder / (stem + "_" + std::to_string(n) + extension);
  }
  return EEXIST;
}

}  // namespace

struct SDDownloadManager::Impl : std::enable_shared_from_this<Impl> {
  Impl(fs::path b, HttpTransport& t) : base(std::move(b)), transport(t) {}

  fs::path base;
  HttpTransport& transport;

  std::mutex mutex;
  std::condition_variable ended;
  std::map<std::string, TransferPtr, std::less<>> running;
  std::map<std::string, ResumeRecord, std::less<>> paused;  // cut off, resumable
  bool scanned = false;

  // The records an earlier run left, read at the first need.
  void scanLocked() {
    if (scanned) return;
    scanned = true;
    for (auto& record : detail::findRecords(base)) {
      if (!running.contains(record.url)) paused.emplace(record.url, std::move(record));
    }
  }

  void begin(const TransferPtr& t);
  bool onResponse(Transfer& t, int status, const HeaderFields& headers);
  bool onData(Transfer& t, std::string_view bytes);
  void report(Transfer& t, bool last);
  void finished(const TransferPtr& t, HttpResult result);
  void closeFile(Transfer& t);
  void end(const TransferPtr& t, bool keep, std::optional<DownloadError> error,
           std::optional<Url> file);
  void post(const TransferPtr& t, Transfer::Pending event);
  static void drain(const TransferPtr& t);
};

void SDDownloadManager::Impl::begin(const TransferPtr& t) {
  t->folder = detail::partialFolder(base, t->record.directory);
  t->partial = detail::partialFile(t->folder, t->key);
  t->recordPath = detail::recordFile(t->folder, t->key);
  t->target = base / t->record.directory / t->record.name;
  std::error_code ec;
  fs::create_directories(t->folder, ec);
  if (ec) {
    t->failure = fileError(t->folder, ec.value());
    transport.post([self = shared_from_this(), t] { self->finished(t, URLError(URLError::Code::unknown)); });
    return;
  }
  // Without a validator nobody can tell whether the bytes on disk still
  // belong to the resource, so such a transfer starts over.
  t->resumeFrom = 0;
  if (!t->restarted && t->record.bytes > 0 && !t->record.validator().empty()) {
    const auto size = fs::file_size(t->partial, ec);
    if (!ec) t->resumeFrom = std::min<std::uint64_t>(size, t->record.bytes);
  }
  HttpRequest request = t->request;
  if (t->resumeFrom > 0) {
    setHeader(request.headers, "Range", "bytes=" + std::to_string(t->resumeFrom) + "-");
    setHeader(request.headers, "If-Range", t->record.validator());
  }
  Transfer* raw = t.get();  // the sink runs only before the completion, which holds t
  BodySink sink{
      [self = this, raw](int status, const HeaderFields& h) { return self->onResponse(*raw, status, h); },
      [self = this, raw](std::string_view bytes) { return self->onData(*raw, bytes); }};
  auto handle = transport.stream(std::move(request), std::move(sink),
                                 [self = shared_from_this(), t](HttpResult result) {
                                   self->finished(t, std::move(result));
                                 });
  bool cancel;
  {
    std::lock_guard lock(t->mutex);
    t->handle = handle;
    cancel = t->cancelled;
  }
  if (cancel) handle.cancel();
}

// I/O thread: the head of the answer decides where its bytes go.
bool SDDownloadManager::Impl::onResponse(Transfer& t, int status, const HeaderFields& headers) {
  if (status == 416 && t.resumeFrom > 0) {
    t.restart = true;  // the partial file is longer than the resource now is
    return false;
  }
  if (status < 200 || status >= 300) {
    t.failure = statusError(status);
    return false;
  }
  std::uint64_t start = 0;
  const auto length = number(headerValue(headers, "Content-Length").value_or(""));
  t.total = length;
  if (status == 206) {
    const auto range = parseContentRange(headerValue(headers, "Content-Range").value_or(""));
    if (!range || range->first != t.resumeFrom) {
      t.restart = true;
      return false;
    }
    start = range->first;
    t.total = range->total ? range->total : length ? std::optional(start + *length) : std::nullopt;
  }
  // A 200 is the whole body: the server ignored the range, or the resource changed.
  const int fd = ::open(t.partial.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0 || ::ftruncate(fd, static_cast<off_t>(start)) != 0 ||
      ::lseek(fd, static_cast<off_t>(start), SEEK_SET) < 0 || !(t.file = ::fdopen(fd, "wb"))) {
    t.failure = fileError(t.partial, errno);
    if (fd >= 0) ::close(fd);
    return false;
  }
  // A buffer no bigger than the body: a big one costs fresh pages per file.
  const std::size_t bufferSize =
      t.total ? std::clamp<std::uint64_t>(*t.total - start, 4096, kFileBuffer) : kFileBuffer;
  t.buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
  std::setvbuf(t.file, t.buffer.get(), _IOFBF, bufferSize);
  t.written = start;
  t.bytesSeen.store(start, std::memory_order_relaxed);
  t.totalSeen.store(t.total ? *t.total + 1 : 0, std::memory_order_relaxed);
  t.record.etag = headerValue(headers, "ETag").value_or("");
  t.record.lastModified = headerValue(headers, "Last-Modified").value_or("");
  t.record.bytes = start;
  // A small body that a kill cuts off starts over: it needs no record until
  // a cut-off that the process sees (end() writes it then).
  if (!t.total || *t.total - start >= kSmallBody) detail::writeRecord(t.recordPath, t.record);
  report(t, false);
  return true;
}

bool SDDownloadManager::Impl::onData(Transfer& t, std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), t.file) != bytes.size()) {
    t.failure = fileError(t.partial, errno);
    return false;
  }
  t.written += bytes.size();
  t.bytesSeen.store(t.written, std::memory_order_relaxed);
  if (t.written - t.record.bytes >= kRecordEvery) {
    if (std::fflush(t.file) != 0) {
      t.failure = fileError(t.partial, errno);
      return false;
    }
    t.record.bytes = t.written;
    detail::writeRecord(t.recordPath, t.record);
  }
  report(t, false);
  return true;
}

// A progress report when the fraction rose by 1% or 100 ms went by; `last`
// for the whole body, before the completion.
void SDDownloadManager::Impl::report(Transfer& t, bool last) {
  double fraction = 1;
  if (!last) {
    if (!t.total || *t.total == 0) return;
    fraction = std::min(1.0, static_cast<double>(t.written) / static_cast<double>(*t.total));
    const auto now = Clock::now();
    if (fraction <= t.reported ||
        (fraction - t.reported < 0.01 && now - t.reportedAt < kReportEvery)) {
      return;
    }
    t.reportedAt = now;
  } else if (t.reported >= 1) {
    return;
  }
  t.reported = fraction;
  post(t.shared_from_this(), fraction);
}

void SDDownloadManager::Impl::closeFile(Transfer& t) {
  if (!t.file) return;
  bool ok = std::fflush(t.file) == 0;
  const int err = errno;
  if (std::fclose(t.file) != 0) ok = false;
  t.file = nullptr;
  t.buffer.reset();
  if (!ok && !t.failure) t.failure = fileError(t.partial, err ? err : errno);
  // What the system holds is what a later run may trust.
  std::error_code ec;
  const auto size = fs::file_size(t.partial, ec);
  t.written = ec ? 0 : std::min<std::uint64_t>(t.written, size);
}

// The transport's completion, on the callback queue.
void SDDownloadManager::Impl::finished(const TransferPtr& t, HttpResult result) {
  bool cancelled;
  {
    std::lock_guard lock(t->mutex);
    cancelled = t->cancelled;
    t->handle = {};
  }
  auto* response = std::get_if<HttpResponse>(&result);
  const bool whole = response && !t->failure && !t->restart &&
                     (!t->total || t->written == *t->total);
  closeFile(*t);
  if (cancelled) {
    return end(t, t->background, transportError(URLError(URLError::Code::cancelled), t->key),
               std::nullopt);
  }
  if (t->restart && !t->restarted) {
    t->restart = false;
    t->restarted = true;
    t->record.bytes = 0;
    return begin(t);
  }
  if (t->failure) {
    // A refusal by the server leaves nothing worth keeping; a file error
    // (a full disk) is kept, to go on once there is room.
    const bool keep = t->failure->kind == DownloadError::Kind::file && t->background;
    return end(t, keep, t->failure, std::nullopt);
  }
  auto* error = std::get_if<URLError>(&result);
  if (error && error->code() != URLError::Code::networkConnectionLost) {
    return end(t, t->background, transportError(*error, t->key), std::nullopt);
  }
  if (error || t->restart || !whole) {
    std::string got = std::to_string(t->written);
    if (t->total) got += " of " + std::to_string(*t->total);
    DownloadError lost{DownloadError::Kind::transport,
                       "the connection was lost after " + got + " bytes",
                       URLError::Code::networkConnectionLost, 0};
    return end(t, t->background, lost, std::nullopt);
  }
  const int err = publish(*t);
  if (err != 0) return end(t, true, fileError(t->target, err), std::nullopt);
  report(*t, true);
  end(t, false, std::nullopt, fileUrl(t->target));
}

// Forgets the transfer, keeping its partial file and record for later or
// deleting them, and hands over its outcome.
void SDDownloadManager::Impl::end(const TransferPtr& t, bool keep,
                                  std::optional<DownloadError> error, std::optional<Url> file) {
  std::error_code ec;
  keep = keep && t->written > 0;  // nothing came: nothing to go on from
  if (keep) {
    t->record.bytes = t->written;
    keep = detail::writeRecord(t->recordPath, t->record);
  }
  if (!keep) {
    fs::remove(t->recordPath, ec);
    fs::remove(t->partial, ec);
  }
  {
    std::lock_guard lock(mutex);
    running.erase(t->key);
    if (keep) paused.insert_or_assign(t->key, t->record);
  }
  ended.notify_all();
  post(t, std::pair(std::move(error), std::move(file)));
}

// Queues a callback of the transfer; one job at a time delivers them in
// order. A newer progress report replaces one that still waits.
void SDDownloadManager::Impl::post(const TransferPtr& t, Transfer::Pending event) {
  {
    std::lock_guard lock(t->mutex);
    if (event.index() == 0 && !t->pending.empty() && t->pending.back().index() == 0) {
      t->pending.back() = event;
    } else {
      t->pending.push_back(std::move(event));
    }
    if (std::exchange(t->draining, true)) return;
  }
  transport.post([t] { drain(t); });
}

void SDDownloadManager::Impl::drain(const TransferPtr& t) {
  for (;;) {
    Transfer::Pending event;
    ProgressBlock progress;
    CompletionBlock completion;
    {
      std::lock_guard lock(t->mutex);
      if (t->pending.empty()) {
        t->draining = false;
        return;
      }
      event = std::move(t->pending.front());
      t->pending.pop_front();
      progress = t->onProgress;
      completion = t->onCompletion;
    }
    if (auto* fraction = std::get_if<double>(&event)) {
      if (progress) detail::runGuarded([&] { progress(*fraction); }, "download progress");
    } else if (completion) {
      auto& outcome = std::get<1>(event);  // the error, else the file
      detail::runGuarded([&] { completion(outcome.first, outcome.second); }, "download completion");
    }
  }
}

SDDownloadManager& SDDownloadManager::shared() {
  // The transport first, so that it is shut down after the manager.
  static SDDownloadManager manager((HttpTransport::shared(), cachesDirectory()));
  return manager;
}

SDDownloadManager::SDDownloadManager(fs::path base, HttpTransport* transport)
    : impl_(std::make_shared<Impl>(std::move(base),
                                   transport ? *transport : HttpTransport::shared())) {}

SDDownloadManager::~SDDownloadManager() {
  std::unique_lock lock(impl_->mutex);
  for (auto& [key, t] : impl_->running) {
    (void)key;
    std::lock_guard transferLock(t->mutex);
    t->cancelled = true;
    t->handle.cancel();
  }
  impl_->ended.wait_for(lock, std::chrono::seconds(10), [&] { return impl_->running.empty(); });
}

const fs::path& SDDownloadManager::baseDirectory() const noexcept { return impl_->base; }

std::optional<std::string> SDDownloadManager::downloadFile(HttpRequest request,
                                                           std::string_view directory,
                                                           std::string_view name, bool inBackground,
                                                           ProgressBlock onProgress,
                                                           CompletionBlock onCompletion) {
  auto t = std::make_shared<Transfer>();
  t->key = request.url;
  t->request = std::move(request);
  t->request.method = Method::get;
  t->background = inBackground;
  t->onProgress = std::move(onProgress);
  t->onCompletion = std::move(onCompletion);
  for (auto [what, text] : {std::pair{"directory", directory}, std::pair{"name", name}}) {
    if (auto why = unsafeFileNameReason(text); !why.empty()) {
      DownloadError refused{DownloadError::Kind::refused,
                            std::string("the file ") + what + " \"" + std::string(text) +
                                "\" cannot be used: " + why,
                            std::nullopt, 0};
      impl_->post(t, std::pair(std::move(refused), std::nullopt));
      return std::nullopt;
    }
  }
  {
    std::lock_guard lock(impl_->mutex);
    impl_->scanLocked();
    if (impl_->running.contains(t->key)) {
      debugPrint("SDDownloadManager: already downloading " + t->key);
      return std::nullopt;
    }
    if (auto it = impl_->paused.find(t->key); it != impl_->paused.end()) {
      // The bytes of a transfer that was cut off are used where they lie.
      if (it->second.directory == directory) t->record = it->second;
      impl_->paused.erase(it);
    }
    t->record.url = t->key;
    t->record.directory = std::string(directory);
    t->record.name = std::string(name);
    impl_->running.emplace(t->key, t);
  }
  impl_->begin(t);
  return t->key;
}

std::optional<SDDownloadManager::Sizes> SDDownloadManager::transferSizes(std::string_view key) {
  std::lock_guard lock(impl_->mutex);
  auto it = impl_->running.find(key);
  if (it == impl_->running.end()) return std::nullopt;
  Sizes sizes{it->second->bytesSeen.load(std::memory_order_relaxed), std::nullopt};
  if (auto total = it->second->totalSeen.load(std::memory_order_relaxed)) sizes.total = total - 1;
  return sizes;
}

bool SDDownloadManager::isDownloadInProgress(std::string_view key) {
  std::lock_guard lock(impl_->mutex);
  impl_->scanLocked();
  return impl_->running.contains(key) || impl_->paused.contains(key);
}

void SDDownloadManager::alterBlocksForOngoingDownload(std::string_view key, ProgressBlock onProgress,
                                                      CompletionBlock onCompletion) {
  TransferPtr resumed;
  {
    std::lock_guard lock(impl_->mutex);
    impl_->scanLocked();
    if (auto it = impl_->running.find(key); it != impl_->running.end()) {
      std::lock_guard transferLock(it->second->mutex);
      it->second->onProgress = std::move(onProgress);
      it->second->onCompletion = std::move(onCompletion);
      return;
    }
    auto it = impl_->paused.find(key);
    if (it == impl_->paused.end()) return;
    resumed = std::make_shared<Transfer>();
    resumed->key = it->second.url;
    resumed->request.url = it->second.url;
    resumed->record = it->second;
    resumed->onProgress = std::move(onProgress);
    resumed->onCompletion = std::move(onCompletion);
    impl_->paused.erase(it);
    impl_->running.emplace(resumed->key, resumed);
  }
  impl_->begin(resumed);
}

void SDDownloadManager::cancelDownload(std::string_view key) {
  std::unique_lock lock(impl_->mutex);
  impl_->scanLocked();
  if (auto it = impl_->running.find(key); it != impl_->running.end()) {
    auto t = it->second;
    lock.unlock();
    RequestHandle handle;
    {
      std::lock_guard transferLock(t->mutex);
      t->cancelled = true;
      handle = t->handle;
    }
    handle.cancel();
    return;
  }
  auto it = impl_->paused.find(key);
  if (it == impl_->paused.end()) return;
  const auto folder = detail::partialFolder(impl_->base, it->second.directory);
  std::error_code ec;
  fs::remove(detail::partialFile(folder, it->first), ec);
  fs::remove(detail::recordFile(folder, it->first), ec);
  impl_->paused.erase(it);
}

}  // namespace tavrel
