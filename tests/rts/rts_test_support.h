#pragma once
// What the real-time tests share: a library bundle pointing at a loopback
// server, a service that records what it hears, the debug lines, the frames,
// and draining the main queue (where socket events arrive) up to a bound.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "rx/recorder.h"
#include "support/test_ws_server.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/model/rts.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::test {

// Registers a library bundle whose "wssUrl" is `wssUrl` (none: no such key)
// for the life of the object.
class LibBundle {
 public:
  explicit LibBundle(const std::optional<std::string>& wssUrl) {
    static int serial = 0;
    dir_ = std::filesystem::temp_directory_path() /
           ("tavrel_rts_" + std::to_string(::getpid()) + "_" + std::to_string(++serial));
    std::filesystem::create_directories(dir_);
    std::string entry = wssUrl ? "<key>wssUrl</key><string>" + *wssUrl + "</string>" : "";
    std::ofstream(dir_ / "Info.plist") << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                          "<plist version=\"1.0\"><dict><key>apiUrl</key>"
                                          "<string>http://x/</string>" << entry << "</dict></plist>\n";
    Bundle::registerBundle(Bundle::libIdentifier, dir_);
  }
  ~LibBundle() {
    Bundle::registerBundle(Bundle::libIdentifier, {});
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }

 private:
  std::filesystem::path dir_;
};

// An RtsServiceProtocol that keeps every text it is given.
class Recorder final : public RtsServiceProtocol {
 public:
  void onRtsMessage(const std::string& text) override {
    std::lock_guard lock(mutex_);
    texts_.push_back(text);
  }
  std::vector<std::string> texts() const {
    std::lock_guard lock(mutex_);
    return texts_;
  }
  std::size_t count() const { return texts().size(); }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
};

// The debug lines written while the object lives.
struct DebugLines : rx::rxtest::CapturedLines {
  // How many lines hold `part` (the whole line unless `anywhere`).
  std::size_t count(const std::string& part, bool anywhere = false) {
    std::lock_guard lock(mutex);
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
      return anywhere ? l.find(part) != std::string::npos : l == part;
    }));
  }
};

// A frame's text.
inline std::string frame(int id, const std::string& tag, const std::string& time) {
  return "{\"id\":" + std::to_string(id) + ",\"channel\":\"conversation_reply\",\"message\":{\"n\":" +
         std::to_string(id) + "},\"tag\":\"" + tag + "\",\"time\":\"" + time + "\"}";
}

// Runs the main queue on this thread until `done` holds; false after 10 s.
inline bool drainUntil(const std::function<bool()>& done) {
  return rx::MainQueue::shared().runUntil(done, std::chrono::seconds(10));
}

// The network the connectivity monitor sees; installed before the first use
// of ReachabilityService, so call it before making an RtsManager.
inline ManualConnectivityBackend& network() {
  static const auto backend = ManualConnectivityBackend::installAsDefault();
  return *backend;
}

// Sets the network and runs the main queue until the reachability service
// (and so every manager, subscribed before) has heard of it.
inline void setNetwork(ConnectivityStatus status) {
  using Status = ReachabilityService::Status;
  const Status expected = isUsable(status) ? Status::online : Status::offline;
  Status seen = Status::offline;
  network().setStatus(status);
  auto probe = ReachabilityService::shared().isReachable().subscribe([&](Status s) { seen = s; });
  EXPECT_TRUE(drainUntil([&] { return seen == expected; }));
  probe.dispose();
}

}  // namespace tavrel::test
