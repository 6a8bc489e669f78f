#include "service/hub.h"

#include <charconv>
#include <chrono>

#include "service/crypto.h"

namespace tavrel::service {
namespace {

std::optional<std::int64_t> number(std::string_view text) {
  std::int64_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

FrameHub::FrameHub(std::size_t keep) : keep_(keep), run_(randomHex(4)) {}

bool FrameHub::hears(const Listener& listener, const Frame& frame) {
  return (listener.userId == 0 || listener.userId == frame.userId) &&
         listener.channels.count(frame.channel) > 0;
}

std::string FrameHub::publish(std::int64_t appId, std::int64_t userId, const std::string& channel,
                              const std::string& messageJson) {
  std::lock_guard lock(mutex_);
  Log& log = logs_[appId];
  Frame frame;
  frame.id = log.nextId++;
  frame.userId = userId;
  frame.channel = channel;
  // Times only grow, so that a resume by time alone finds the right place.
  const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
  lastMicros_ = std::max(lastMicros_ + 1, static_cast<std::int64_t>(now));
  frame.micros = lastMicros_;

  // Channel names, tags and times are plain ASCII: no escaping needed.
  std::string text = "{\"id\":" + std::to_string(frame.id) + ",\"channel\":\"" + channel +
                     "\",\"message\":" + messageJson + ",\"tag\":\"" + run_ + "-" +
                     std::to_string(frame.id) + "\",\"time\":\"" + std::to_string(frame.micros) + "\"}";
  frame.text = text;

  for (auto& [id, listener] : listeners_) {
    if (listener.appId == appId && hears(listener, frame)) listener.deliver(frame.text);
  }
  log.frames.push_back(std::move(frame));
  while (log.frames.size() > keep_) log.frames.pop_front();
  return text;
}

FrameHub::ListenerId FrameHub::listen(Listener listener, const std::optional<std::string>& tag,
                                      const std::optional<std::string>& time) {
  std::lock_guard lock(mutex_);
  if (tag && time) {
    // A tag of this hub names the frame itself; another (from before a
    // restart) leaves the time to find the place.
    std::optional<std::int64_t> afterId;
    std::optional<std::int64_t> afterMicros = number(*time);
    if (tag->rfind(run_ + "-", 0) == 0) afterId = number(std::string_view(*tag).substr(run_.size() + 1));
    auto found = logs_.find(listener.appId);
    if (found != logs_.end() && (afterId || afterMicros)) {
      for (const Frame& frame : found->second.frames) {
        const bool after = afterId ? frame.id > *afterId : frame.micros > *afterMicros;
        if (after && hears(listener, frame)) listener.deliver(frame.text);
      }
    }
  }
  const ListenerId id = nextListener_++;
  listeners_.emplace(id, std::move(listener));
  return id;
}

void FrameHub::unlisten(ListenerId id) {
  std::lock_guard lock(mutex_);
  listeners_.erase(id);
}

std::size_t FrameHub::kept(std::int64_t appId) const {
  std::lock_guard lock(mutex_);
  auto found = logs_.find(appId);
  return found == logs_.end() ? 0 : found->second.frames.size();
}

}  // namespace tavrel::service
