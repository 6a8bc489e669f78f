#pragma once
// The frame hub: every real-time frame of an application, numbered in order,
// kept for replay, and handed to the sockets that listen on its channel.
//
// A frame goes to one visitor (`userId`) of one application: the visitor's
// own sockets hear it, and so do the application-wide ones (user id 0). The
// last `keep` frames of each application stay for replay: a socket that
// comes back with the `tag` and `time` of the last frame it saw gets every
// kept frame after it, then the live ones, with none lost or doubled.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tavrel::service {

class FrameHub {
 public:
  explicit FrameHub(std::size_t keep = 10000);

  struct Listener {
    std::int64_t appId = 0;
    std::int64_t userId = 0;         // 0: every visitor of the application
    std::set<std::string> channels;  // wire names, "conversation_reply"
    // Called with each frame's text, under the hub's lock and in frame order:
    // it must only queue the text.
    std::function<void(const std::string&)> deliver;
  };
  using ListenerId = std::uint64_t;

  // Numbers, keeps and delivers a frame; gives its text.
  std::string publish(std::int64_t appId, std::int64_t userId, const std::string& channel,
                      const std::string& messageJson);

  // Adds a listener. With a resume position, the kept frames after it that
  // the listener would have heard are delivered first, in the same step, so
  // nothing published meanwhile can come between them.
  ListenerId listen(Listener listener, const std::optional<std::string>& tag,
                    const std::optional<std::string>& time);
  void unlisten(ListenerId id);

  std::size_t kept(std::int64_t appId) const;

 private:
  struct Frame {
    std::int64_t id = 0;
    std::int64_t userId = 0;
    std::int64_t micros = 0;
    std::string channel;
    std::string text;
  };
  struct Log {
    std::deque<Frame> frames;
    std::int64_t nextId = 1;
  };
  static bool hears(const Listener& listener, const Frame& frame);

  const std::size_t keep_;
  const std::string run_;  // the first part of every tag of this hub
  mutable std::mutex mutex_;
  std::map<std::int64_t, Log> logs_;
  std::map<ListenerId, Listener> listeners_;
  ListenerId nextListener_ = 1;
  std::int64_t lastMicros_ = 0;
};

}  // namespace tavrel::service
