// `tavrel download URL...`: fetches files into the cache folder through
// DownloadService, with a progress bar per file on a terminal, and prints
// each local path. Ctrl-C stops the transfers and keeps what came, so the
// same command goes on from there. `tavrel download --state URL...` says
// what is known of each file without fetching anything.
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "command.h"
#include "listen_host.h"
#include "progress_bar.h"
#include "tavrel/core/encoding_url.h"
#include "tavrel/device/download_service.h"
#include "tavrel/device/user_defaults.h"
#include "tavrel/http/download_manager.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Case = DownloadService::State::Case;

constexpr int kInterrupted = 130;

constexpr std::string_view kHelp =
    "usage: tavrel download URL...\n"
    "       tavrel download --state URL...\n"
    "\n"
    "Fetches each file into the folder \"tavrel\" of the cache directory\n"
    "($XDG_CACHE_HOME, else ~/.cache) and prints its local path on standard\n"
    "output. A name already taken there gets \"_1\", \"_2\", ... before its\n"
    "extension. Progress goes to standard error: a bar per file (percentage,\n"
    "size, speed, time left) on a terminal, plain percentage lines otherwise.\n"
    "\n"
    "Ctrl-C (or SIGTERM) stops the transfers and keeps what has arrived; the\n"
    "same command later goes on where they stopped. So does one cut off by a\n"
    "lost connection or a kill. Finished files are remembered in\n"
    "$XDG_STATE_HOME/tavrel/defaults.sqlite (else ~/.local/state/tavrel).\n"
    "\n"
    "  --state   prints, for each URL, \"done PATH\", \"in progress\" (cut off,\n"
    "            and goes on at the next download) or \"none\"; fetches nothing\n"
    "\n"
    "Exit statuses:\n"
    "    0  every file came\n"
    "    2  a file failed; standard error says why (the status, the refused\n"
    "       connection, no space left, ...)\n"
    "   64  usage error\n"
    "  130  interrupted by Ctrl-C or SIGTERM\n";

std::string fileNameOf(const std::string& url) {
  const EncodingURL encoding(url);
  const auto& name = encoding.filename();
  return name && !name->empty() ? *name : url;
}

std::optional<std::string> keyOf(const std::string& url) {
  auto encoded = EncodingURL(url).url();
  if (!encoded) return std::nullopt;
  return encoded->absoluteString();
}

int printStates(std::span<const std::string> urls, Io io) {
  for (const auto& url : urls) {
    io.out << url << ": ";
    const auto key = keyOf(url);
    if (key && SDDownloadManager::shared().isDownloadInProgress(*key)) {
      io.out << "in progress\n";
    } else if (auto file = UserDefaults::standard().url(url)) {
      const auto path = filePath(*file);
      io.out << "done " << (path ? path->string() : file->absoluteString());
      std::error_code ec;
      if (path && !fs::exists(*path, ec)) io.out << " (the file has been deleted since)";
      io.out << '\n';
    } else {
      io.out << "none\n";
    }
  }
  return kSuccess;
}

// One file on the command line.
struct Item {
  std::string url, name;
  std::optional<std::string> key;
  DownloadService::State state;
  bool ended = false;
  int printed = -1;  // the last percentage printed as a line
  int percent = 0;   // the last progress
  SpeedMeter speed;
  std::uint64_t bytes = 0;
  std::optional<std::uint64_t> total;
};

class Downloader {
 public:
  Downloader(std::span<const std::string> urls, Io io)
      : io_(io), terminal_(&io.err == &std::cerr && ::isatty(2)) {
    std::set<std::string> seen;
    for (const auto& url : urls) {
      if (!seen.insert(url).second) continue;
      Item item;
      item.url = url;
      item.name = fileNameOf(url);
      item.key = keyOf(url);
      items_.push_back(std::move(item));
    }
  }

  int run() {
    SignalPipe signals({SIGINT, SIGTERM});
    auto& service = DownloadService::shared();
    for (std::size_t i = 0; i < items_.size(); ++i) {
      auto subject = service.getFileState(items_[i].url);
      // A transfer cut off earlier goes on by itself; others start now. The
      // state the subject had before that is no news.
      const bool resumed = subject.value().kind == Case::progress;
      bool first = true;
      subject.asObservable()
          .subscribe([this, i, resumed, first](const DownloadService::State& s) mutable {
            if (std::exchange(first, false) && !resumed) return;
            std::lock_guard lock(mutex_);
            items_[i].state = s;
            if (s.kind == Case::progress) items_[i].percent = s.percent;
            items_[i].ended = s.kind == Case::done || s.kind == Case::error;
            changed_.notify_all();
          })
          .disposed(bag_);
      if (!resumed) service.startDownload(items_[i].url);
    }
    bool interrupted = false;
    auto deadline = Clock::time_point::max();
    while (!allEnded() && Clock::now() < deadline) {
      pollfd signal{signals.fd(), POLLIN, 0};
      if (::poll(&signal, 1, terminal_ ? 100 : 50) > 0) {
        char number;
        if (::read(signals.fd(), &number, 1) == 1 && !interrupted) {
          interrupted = true;
          deadline = Clock::now() + std::chrono::seconds(10);
          for (const auto& item : items_) service.cancel(item.url);
        }
      }
      show();
    }
    show();
    bag_ = {};
    return finish(interrupted);
  }

 private:
  bool allEnded() {
    std::lock_guard lock(mutex_);
    for (const auto& item : items_) {
      if (!item.ended) return false;
    }
    return true;
  }

  // Redraws the bars, or prints the percentages that changed.
  void show() {
    std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    for (auto& item : items_) {
      if (auto sizes = item.key ? SDDownloadManager::shared().transferSizes(*item.key) : std::nullopt) {
        item.bytes = sizes->bytes;
        item.total = sizes->total;
        item.speed.sample(item.bytes, now);
      }
    }
    if (!terminal_) {
      for (auto& item : items_) {
        const int percent = item.state.kind == Case::progress ? item.state.percent
                            : item.state.kind == Case::done   ? 100
                                                              : -1;
        if (percent > item.printed) {
          io_.err << item.name << ": " << percent << "%\n";
          item.printed = percent;
        }
      }
      io_.err.flush();
      return;
    }
    winsize size{};
    const int width = ::ioctl(2, TIOCGWINSZ, &size) == 0 && size.ws_col > 20 ? size.ws_col : 80;
    if (drawn_) io_.err << "\x1b[" << items_.size() << "A";
    for (const auto& item : items_) {
      BarState bar{item.name, item.percent, item.bytes, item.total,
                   item.speed.bytesPerSecond(), ""};
      if (item.state.kind == Case::done) {
        bar.percent = 100, bar.end = "done";
        if (item.total) bar.bytes = *item.total;
      } else if (item.state.kind == Case::error) {
        bar.end = item.state.text == "cancelled" ? "stopped" : "failed";
      }
      io_.err << "\r\x1b[2K" << formatBar(bar, width - 1) << '\n';
    }
    io_.err.flush();
    drawn_ = true;
  }

  int finish(bool interrupted) {
    std::lock_guard lock(mutex_);
    int status = interrupted ? kInterrupted : kSuccess;
    for (const auto& item : items_) {
      if (item.state.kind == Case::done && item.state.file) {
        const auto path = filePath(*item.state.file);
        io_.out << (path ? path->string() : item.state.file->absoluteString()) << '\n';
        continue;
      }
      if (status == kSuccess) status = kFailed;
      if (!item.ended) {
        io_.err << "tavrel download: " << item.url << ": did not stop in time\n";
      } else if (interrupted && item.state.text == "cancelled") {
        io_.err << "tavrel download: " << item.url
                << ": stopped; what came is kept, and the same command goes on from there\n";
      } else {
        io_.err << "tavrel download: " << item.url << ": " << item.state.text << '\n';
      }
    }
    io_.out.flush();
    return status;
  }

  Io io_;
  const bool terminal_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Item> items_;
  rx::DisposeBag bag_;
  bool drawn_ = false;
};

int runDownload(std::span<const std::string> args, Io io) {
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    io.out << kHelp;
    return kSuccess;
  }
  const bool state = !args.empty() && args[0] == "--state";
  const auto urls = args.subspan(state ? 1 : 0);
  if (urls.empty()) return usageError(io.err, "tavrel download", "missing URL");
  for (const auto& url : urls) {
    if (url.starts_with("-")) {
      return usageError(io.err, "tavrel download", "unknown option '" + url + "'");
    }
  }
  if (state) return printStates(urls, io);
  return Downloader(urls, io).run();
}

}  // namespace

TAVREL_COMMAND("download", "fetches files into the cache folder, resuming cut-off transfers",
               runDownload);

}  // namespace tavrel::cli
