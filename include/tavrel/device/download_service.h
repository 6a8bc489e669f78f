#pragma once
// DownloadService: fetches attachments into the folder "tavrel" of the
// caches directory and lets any number of views watch one file by its URL
// string. Finished files are remembered across launches in the user
// defaults (their file URL under the URL string), and a transfer cut off in
// an earlier run shows as in progress and goes on.
//
// File names. The local name is the URL's last path component as written; a
// name already taken gets "_1", "_2", ... before its extension. A name that
// could leave the folder is refused, not rewritten: one that is "." or "..",
// or holds "/", "\" or a control character (NUL included), as written or
// once percent-decoded, gives the `error` state with the text
// "Unsafe file name in <url>: <why>" and no transfer. Names with dots inside
// ("a..b.pdf") stay as they are: without a separator they name a file in
// the folder.
//
// Threads. States arrive on the subjects from the download manager's
// callbacks (the HTTP layer's callback queue), in order for one transfer;
// every operation may be called from any thread.

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/url.h"
#include "tavrel/http/download_manager.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {

class UserDefaults;

class DownloadService {
 public:
  // What is known of one file.
  struct State {
    enum class Case { progress, done, error, none };
    static State progress(int percent) { return {Case::progress, percent, std::nullopt, {}}; }
    static State done(Url file) { return {Case::done, 0, std::move(file), {}}; }
    static State error(std::string text) { return {Case::error, 0, std::nullopt, std::move(text)}; }
    static State none() { return {}; }

    Case kind = Case::none;
    int percent = 0;          // progress: 0 to 100
    std::optional<Url> file;  // done: the local copy
    std::string text;         // error: what went wrong
    friend bool operator==(const State&, const State&) = default;
  };

  // The one instance: the shared download manager, the standard user defaults.
  static DownloadService& shared();
  // A service on a manager and a store of the host's own; both must outlive it.
  DownloadService(SDDownloadManager& manager, UserDefaults& defaults);
  DownloadService(const DownloadService&) = delete;
  DownloadService& operator=(const DownloadService&) = delete;

  // Starts fetching the file; its states go to getFileState(url).
  void startDownload(std::string_view withUrl);
  // Stops the transfer of that URL, which then reports the `error` state.
  void cancel(std::string_view withUrl);
  // The subject of that URL string, made at the first ask: `progress` 0 for
  // a transfer in progress (one cut off earlier goes on), `done` for a file
  // fetched before (whether or not it still exists), else `initial`. A
  // subject that exists is returned as it is.
  rx::BehaviorSubject<State> getFileState(std::string_view forUrl, State withInitial = State::none());

 private:
  struct Inner;
  // A view of the same service, for its callbacks.
  explicit DownloadService(std::shared_ptr<Inner> inner) : inner_(std::move(inner)) {}
  SDDownloadManager::ProgressBlock getProgressBlock(const std::string& url);
  SDDownloadManager::CompletionBlock getCompleteBlock(const std::string& url);
  static std::optional<std::string> getDownloadKey(std::string_view url);
  void fail(std::string_view url, std::string text);

  std::shared_ptr<Inner> inner_;
};

// "progress 42", "done file:///...", "error <text>", "none".
std::string toString(const DownloadService::State& state);

}  // namespace tavrel
