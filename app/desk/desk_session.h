#pragma once
// The window's side of the library: the visitor's settings, the services the
// screens call, the live events of the session's socket, and the network
// switch of `--network manual`. One per window, on the main thread.
//
// Requests: `request` runs a service's stream and hands its end to the
// screen on the main queue as a Loaded value, or nothing once the screen's
// guard is gone.

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "chat_events.h"
#include "live_socket.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/knowledge_base_service.h"
#include "tavrel/api/message_service.h"
#include "tavrel/core/result.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/subjects.h"

namespace tavrel::desk {

// How a request ended, as a screen shows it.
enum class Outcome {
  ok,       // the value came
  refused,  // the service or a decoder refused: a Result error
  failed,   // below HTTP (no connection, a time-out), or no envelope
  offline,  // not sent: the network is off
};

template <class V>
struct Loaded {
  Outcome outcome = Outcome::failed;
  std::optional<V> value;
  std::string problem;  // in words, for the log line
};

// A screen's token: callbacks for a screen whose guard is gone are dropped.
using Guard = std::shared_ptr<bool>;
inline Guard makeGuard() { return std::make_shared<bool>(true); }

class DeskSession {
 public:
  // `network` is the manual backend with --network manual, else null.
  DeskSession(std::shared_ptr<NetworkSettings> settings, HttpTransport* transport,
              std::shared_ptr<ManualConnectivityBackend> network);
  ~DeskSession();
  DeskSession(const DeskSession&) = delete;
  DeskSession& operator=(const DeskSession&) = delete;

  const ConversationService& conversations() const { return conversations_; }
  const MessageService& messages() const { return messages_; }
  const KnowledgeBaseService& knowledgeBase() const { return knowledgeBase_; }

  // Runs the stream; `done` gets its end on the main queue while `guard` lives.
  template <class V>
  void request(const rx::Observable<Result<V>>& stream, const Guard& guard,
               std::function<void(Loaded<V>)> done);

  // Connects the live events; false when no socket can be formed.
  bool connect();
  // Every frame of the socket, parsed, on the main thread.
  rx::Observable<cli::ChatFrame> frames() const { return frames_.asObservable(); }
  // Each time the connection opens (a screen reads what it missed).
  rx::Observable<bool> connected() const { return connected_.asObservable(); }
  // Whether a connection has opened since `connect`.
  bool connectedOnce() const { return live_->everConnected(); }

  // Whether the network is usable now.
  bool online() const { return online_; }
  // The network status as it changes (the current one first).
  rx::Observable<ReachabilityService::Status> reachability() const;
  // Whether the window may switch the network (--network manual).
  bool hasNetworkSwitch() const { return live_->hasManualNetwork(); }
  void setOnline(bool online) { live_->setOnline(online); }

  // A random id for a reply: a positive whole number of 63 bits.
  static std::int64_t newRandomId();
  // The words for a failure below HTTP.
  static std::string describe(std::exception_ptr error);

 private:
  void reconnectLater();

  std::shared_ptr<NetworkSettings> settings_;
  ConversationService conversations_;
  MessageService messages_;
  KnowledgeBaseService knowledgeBase_;
  rx::PublishRelay<cli::ChatFrame> frames_;
  rx::PublishRelay<bool> connected_;
  std::unique_ptr<cli::LiveSocket> live_;
  bool online_ = true;
  std::chrono::seconds retry_{1};
  Guard alive_ = makeGuard();
  rx::DisposeBag bag_;
};

template <class V>
void DeskSession::request(const rx::Observable<Result<V>>& stream, const Guard& guard,
                          std::function<void(Loaded<V>)> done) {
  std::weak_ptr<bool> weak = guard;
  auto finish = [weak, done = std::move(done)](Loaded<V> loaded) {
    rx::MainQueue::shared().post([weak, done, loaded = std::move(loaded)]() mutable {
      if (weak.lock()) done(std::move(loaded));
    });
  };
  if (!online_) return finish({Outcome::offline, std::nullopt, "the network is off"});
  // The request ends by itself; its subscription is not kept.
  stream.subscribe(
      [finish](const Result<V>& result) {
        if (result.succeed()) return finish({Outcome::ok, result.success(), ""});
        finish({Outcome::refused, std::nullopt, result.error()->localizedDescription()});
      },
      [finish](std::exception_ptr error) { finish({Outcome::failed, std::nullopt, describe(error)}); });
}

}  // namespace tavrel::desk
