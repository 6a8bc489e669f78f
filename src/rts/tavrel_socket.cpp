#include "tavrel/rts/tavrel_socket.h"

#include <utility>
#include <variant>

#include "tavrel/core/info_plist.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/log.h"
#include "tavrel/core/percent_encoding.h"

namespace tavrel {

namespace {

const std::string* textOf(const WebSocketEvent& event) {
  const auto* text = std::get_if<WebSocketEvent::Text>(&event.payload);
  return text ? &text->text : nullptr;
}

}  // namespace

std::optional<Url> TavrelSocket::getUrl(const NetworkSettings& settings,
                                        const std::vector<Channel>& channels,
                                        const std::optional<std::string>& tag,
                                        const std::optional<std::string>& time) {
  std::string url = InfoPlist::shared().getValue(InfoPlist::Keys::wssUrl, AppType::lib).value_or("error");
  for (Channel channel : channels) {
    url += '/';
    url += rawValue(channel);
    url += '.' + settings.appId;
    if (settings.connection == NetworkSettings::ConnectionType::sdk) url += '.' + settings.userId;
  }
  url += "?auth_token=" + settings.getToken();
  if (tag && time) {
    url += "&tag=" + percentEncode(*tag, charset::alphanumerics());
    url += "&time=" + percentEncode(*time, charset::alphanumerics());
  }
  return Url::parse(url);
}

std::optional<RtsResumePosition> TavrelSocket::resumePosition(std::string_view text) {
  auto frame = decodeJson<RtsResponse>(text);
  if (!frame) return std::nullopt;
  return RtsResumePosition{std::move(frame->tag), std::move(frame->time)};
}

std::shared_ptr<TavrelSocket> TavrelSocket::create(std::shared_ptr<NetworkSettings> settings,
                                                   std::vector<Channel> channels,
                                                   std::shared_ptr<RtsServiceProtocol> service) {
  if (!settings) return nullptr;
  auto url = getUrl(*settings, channels);
  if (!url) return nullptr;
  auto socket = std::make_shared<TavrelSocket>(Token{}, std::move(settings), std::move(channels),
                                               std::move(service), std::move(*url));
  socket->start();
  return socket;
}

TavrelSocket::TavrelSocket(Token, std::shared_ptr<NetworkSettings> settings, std::vector<Channel> channels,
                           std::shared_ptr<RtsServiceProtocol> service, Url url)
    : WebSocket(URLRequest(std::move(url), initialTimeoutInterval)),
      settings_(std::move(settings)),
      channels_(std::move(channels)),
      service_(std::move(service)) {}

TavrelSocket::~TavrelSocket() { delivery_.dispose(); }

// The subscriptions of creation, in this order: events into `message`,
// `message` into the resume position, and the
// connection state into the debug output. Being first on `response`, they see
// a frame before its delivery.
void TavrelSocket::start() {
  std::weak_ptr<TavrelSocket> weak = weak_from_this();
  response()
      .subscribe([weak](const WebSocketEvent& event) {
        if (auto self = weak.lock()) self->onEvent(event);
      })
      .disposed(disposeBag_);
  message.asObservable()
      .subscribe([weak](const std::string& text) {
        auto position = resumePosition(text);
        if (!position) return;
        if (auto self = weak.lock()) {
          self->time = std::move(position->time);
          self->tag = std::move(position->tag);
        }
      })
      .disposed(disposeBag_);
  connected()
      .subscribe([weak](bool value) {
        if (weak.lock()) debugPrint(std::string("ZEBOK: rts connected ") + (value ? "true" : "false"));
      })
      .disposed(disposeBag_);
}

void TavrelSocket::onEvent(const WebSocketEvent& event) {
  const std::string* text = textOf(event);
  message.accept(text ? *text : std::string());
}

void TavrelSocket::connect() {
  auto url = getUrl(*settings_, channels_, tag, time);
  if (!url) return;
  request = URLRequest(std::move(*url));
  WebSocket::connect();
  if (!externalDisposeBag) {
    externalDisposeBag.emplace();
    debugPrint("create dispose bag");
  }
  if (delivering_->load()) return;  // the live subscription goes on delivering

  auto delivering = std::make_shared<std::atomic<bool>>(true);
  std::weak_ptr<TavrelSocket> weak = weak_from_this();
  rx::Disposable inner = response().subscribe([weak](const WebSocketEvent& event) {
    debugPrint("ZEBOK: rts message");
    if (auto self = weak.lock()) self->deliver(event);
  });
  delivery_ = rx::Disposable::create([inner, delivering] {
    delivering->store(false);
    inner.dispose();
  });
  delivering_ = delivering;
  externalDisposeBag->insert(delivery_);
}

void TavrelSocket::deliver(const WebSocketEvent& event) {
  if (!service_) return;
  if (const std::string* text = textOf(event)) service_->onRtsMessage(*text);
}

void TavrelSocket::disconnect(std::optional<double> forceTimeout, std::uint16_t closeCode) {
  WebSocket::disconnect(forceTimeout, closeCode);
  externalDisposeBag.reset();
  delivery_.dispose();  // also when a client moved the bag elsewhere
  debugPrint("ZEBOK: destroy dispose bag");
}

}  // namespace tavrel
