#include "tavrel/rts/web_socket.h"

#include <mutex>

#include "rts/ws_session.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/subjects.h"

namespace tavrel {
namespace {

bool isFrame(const WebSocketEvent& e) {
  return std::holds_alternative<WebSocketEvent::Text>(e.payload) ||
         std::holds_alternative<WebSocketEvent::Binary>(e.payload) ||
         std::holds_alternative<WebSocketEvent::Ping>(e.payload) ||
         std::holds_alternative<WebSocketEvent::Pong>(e.payload);
}

}  // namespace

// What a socket shares with the events on their way to the callback queue.
// Sessions reach it only weakly, so a destroyed socket gets nothing more.
//
// Delivery: a session reports on the I/O thread; the report is tagged with
// the session's generation and scheduled on the callback queue, where it is
// emitted only if no newer connect has been asked for meanwhile, and, for a
// frame, only if no disconnect has been asked for either.
struct WebSocket::Impl : std::enable_shared_from_this<Impl> {
  rx::PublishSubject<WebSocketEvent> events;

  std::mutex mutex;
  rx::SchedulerPtr queue = rx::MainScheduler::instance();
  std::shared_ptr<detail::WsSession> session;
  bool disconnectAsked = false;
  std::uint64_t generation = 0;

  void deliver(std::uint64_t gen, WebSocketEvent event) {
    rx::SchedulerPtr target;
    {
      std::lock_guard lock(mutex);
      if (gen != generation) return;
      target = queue;
    }
    target->schedule([weak = weak_from_this(), gen, event = std::move(event)] {
      auto self = weak.lock();
      if (!self) return;
      {
        std::lock_guard lock(self->mutex);
        if (gen != self->generation) return;
        if (self->disconnectAsked && isFrame(event)) return;
      }
      self->events.onNext(event);
    });
  }
};

WebSocket::WebSocket(URLRequest req, std::vector<std::string> protocols)
    : request(std::move(req)), protocols_(std::move(protocols)), impl_(std::make_shared<Impl>()) {}

WebSocket::~WebSocket() {
  std::lock_guard lock(impl_->mutex);
  ++impl_->generation;
  if (impl_->session) impl_->session->abandon();
}

void WebSocket::setCallbackQueue(rx::SchedulerPtr queue) {
  std::lock_guard lock(impl_->mutex);
  impl_->queue = queue ? std::move(queue) : rx::MainScheduler::instance();
}

void WebSocket::connect() {
  std::lock_guard lock(impl_->mutex);
  if (impl_->session && !impl_->session->ended() && !impl_->disconnectAsked) return;
  if (impl_->session) impl_->session->abandon();
  std::uint64_t gen = ++impl_->generation;
  impl_->disconnectAsked = false;
  auto sink = [weak = std::weak_ptr<Impl>(impl_), gen](WebSocketEvent event) {
    if (auto self = weak.lock()) self->deliver(gen, std::move(event));
  };
  impl_->session = detail::startWsSession({request, protocols_, maxMessageBytes, extraCaFile}, sink);
}

void WebSocket::disconnect(std::optional<double> forceTimeout, std::uint16_t closeCode) {
  std::lock_guard lock(impl_->mutex);
  if (!impl_->session || impl_->disconnectAsked) return;
  impl_->disconnectAsked = true;
  impl_->session->close(closeCode, forceTimeout);
}

void WebSocket::write(std::string text) {
  std::lock_guard lock(impl_->mutex);
  if (impl_->session) impl_->session->write(std::move(text));
}

rx::Observable<WebSocketEvent> WebSocket::response() const { return impl_->events.asObservable(); }

rx::Observable<bool> WebSocket::connected() const {
  return response()
      .filter([](const WebSocketEvent& e) { return !isFrame(e); })
      .map([](const WebSocketEvent& e) {
        return std::holds_alternative<WebSocketEvent::Connected>(e.payload);
      });
}

}  // namespace tavrel
