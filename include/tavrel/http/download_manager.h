#pragma once
// SDDownloadManager: file transfers to disk over the HTTP transport, with
// continuation across cuts and restarts, as a desktop process can have it.
//
// Files. A transfer writes to "<base>/<directory>/.partial/<key hash>.part"
// and keeps beside it "<key hash>.resume", the record that lets it go on:
// the URL, the final name, the server's ETag or Last-Modified and the bytes
// known to be on disk. Only a complete body is flushed and renamed to
// "<base>/<directory>/<name>", so a file under its final name is always
// whole; a kill, a crash, a cut connection or a cancel leaves the partial
// file and its record, never a file that looks done. The file is not synced
// to the device (a sync costs milliseconds per file): after a power cut, a
// whole file under its name relies on the file system writing data before
// the rename that names it, as ext4 and XFS do by default.
//
// Continuation. A transfer that was cut off stays known under its key, in
// this process and (from the records on disk) in the next one: for it
// isDownloadInProgress is true, and alterBlocksForOngoingDownload or
// downloadFile carries it on with a Range request validated by If-Range.
// A server that answers with the whole body instead (no ranges, or the
// resource changed) is followed from the start.
//
// Threads. Transfers run on the transport's I/O thread, which writes the
// file as the bytes arrive, in constant memory. The callbacks run on the
// HTTP layer's callback queue, one at a time and in order for one transfer:
// progress at most every 1% or every 100 ms, and the completion last. All
// operations may be called from any thread.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/url.h"
#include "tavrel/http/http_message.h"
#include "tavrel/http/url_error.h"

namespace tavrel {

class HttpTransport;

// The platform's caches directory: $XDG_CACHE_HOME when it is an absolute
// path, else "~/.cache".
std::filesystem::path cachesDirectory();

// The file URL of a local path ("file:///tmp/a%20b.pdf"), and back.
Url fileUrl(const std::filesystem::path& path);
std::optional<std::filesystem::path> filePath(const Url& url);

// Why `name` cannot be one plain path component, or "" when it can: it is
// empty, "." or "..", or holds "/", "\\", NUL or another control character.
std::string unsafeFileNameReason(std::string_view name);

// Why a transfer ended without its file.
struct DownloadError {
  enum class Kind {
    transport,  // below HTTP: urlError says what
    status,     // the server answered with an error status
    file,       // the file could not be written (no space left, ...)
    refused,    // the directory or name would leave the base directory
  };
  Kind kind = Kind::transport;
  std::string localizedDescription;  // one line in plain English
  std::optional<URLError::Code> urlError;
  int status = 0;  // for Kind::status
};

class SDDownloadManager {
 public:
  // fraction: 0 to 1 of the whole body, once its length is known.
  using ProgressBlock = std::function<void(double fraction)>;
  // Exactly one of the two is present: the error, or the file URL of the
  // completed file.
  using CompletionBlock =
      std::function<void(const std::optional<DownloadError>& error, const std::optional<Url>& file)>;

  // The process-wide manager: the caches directory as base, the shared transport.
  static SDDownloadManager& shared();

  // A manager of its own, writing below `base`, sending through `transport`
  // (which must outlive it; HttpTransport::shared() when null).
  explicit SDDownloadManager(std::filesystem::path base, HttpTransport* transport = nullptr);
  // Cancels what runs, leaving it resumable, and waits for its completions.
  ~SDDownloadManager();
  SDDownloadManager(const SDDownloadManager&) = delete;
  SDDownloadManager& operator=(const SDDownloadManager&) = delete;

  const std::filesystem::path& baseDirectory() const noexcept;

  // Starts a GET of request.url into `<base>/<directory>/<name>` and returns
  // its key, the request's URL; nothing when a transfer of that key already
  // runs (its callbacks stay as they were). A transfer of that key that was
  // cut off goes on where it stopped. `directory` and `name` must each be
  // one plain path component (not "." or "..", no "/", "\", NUL or other
  // control character); otherwise the completion gets Kind::refused.
  // `inBackground` false: a transfer cut off is dropped with its partial file
  // instead of being kept for later.
  std::optional<std::string> downloadFile(HttpRequest request, std::string_view directory,
                                          std::string_view name, bool inBackground,
                                          ProgressBlock onProgress, CompletionBlock onCompletion);

  // True while the transfer of that key runs, and when it was cut off and
  // can go on (also one that an earlier process left).
  bool isDownloadInProgress(std::string_view key);

  // Bytes of a running transfer's file so far, and of the whole body when
  // known; nothing when no transfer of that key runs.
  struct Sizes {
    std::uint64_t bytes = 0;
    std::optional<std::uint64_t> total;
  };
  std::optional<Sizes> transferSizes(std::string_view key);

  // Gives a running transfer these callbacks instead of its own; a transfer
  // that was cut off starts again with them, where it stopped. Nothing for
  // an unknown key.
  void alterBlocksForOngoingDownload(std::string_view key, ProgressBlock onProgress,
                                     CompletionBlock onCompletion);

  // Stops a running transfer: it completes with URLError cancelled and stays
  // resumable. A transfer that was cut off and does not run is forgotten and
  // its partial file deleted. Nothing for an unknown key.
  void cancelDownload(std::string_view key);

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
};

}  // namespace tavrel
