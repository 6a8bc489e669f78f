#include "chat_session.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <utility>

#include "tavrel/emoji/conversion.h"
#include "tavrel/rx/main_queue.h"

namespace tavrel::cli {
namespace {

// How long the first messages wait for the first connection.
constexpr std::chrono::seconds kFirstConnection{5};

constexpr std::string_view kHelp =
    "Write a message and press Enter; :shortname: becomes its emoji (:smile:).\n"
    "/more           earlier messages of this conversation\n"
    "/list           your conversations\n"
    "/open ID        opens conversation ID\n"
    "/new            the next message starts a new conversation\n"
    "/offline, /online   the network status (with --network manual)\n"
    "/quit           ends the chat (so does Ctrl-D)";

// Hands the text of each frame to the chat while it lives.
class FrameReceiver final : public RtsServiceProtocol {
 public:
  explicit FrameReceiver(std::function<void(const std::string&)> onFrame)
      : onFrame_(std::move(onFrame)) {}
  void onRtsMessage(const std::string& text) override {
    if (onFrame_) onFrame_(text);
  }
  std::function<void(const std::string&)> onFrame_;
};

// A random id for a reply: a positive whole number of 63 bits.
std::int64_t newRandomId() {
  static std::mt19937_64 engine{std::random_device{}()};
  return static_cast<std::int64_t>(engine() >> 1) + 1;
}

bool isId(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           c == '-' || c == '_';
  });
}

// Oldest first: by creation time, then by id as a number where it is one.
bool older(const Message& a, const Message& b) {
  if (a.created != b.created) return a.created < b.created;
  if (a.id.size() != b.id.size()) return a.id.size() < b.id.size();
  return a.id < b.id;
}

}  // namespace

ChatSession::ChatSession(Call& call, std::shared_ptr<NetworkSettings> settings,
                         std::shared_ptr<ManualConnectivityBackend> network, ChatOptions options)
    : call_(call),
      settings_(settings),
      options_(std::move(options)),
      conversations_(settings, &call.transport()),
      messages_(settings, &call.transport()) {
  auto receiver = std::make_shared<FrameReceiver>(
      [this, alive = alive_](const std::string& text) {
        if (*alive) onFrame(text);
      });
  live_ = std::make_unique<LiveSocket>(
      settings, std::vector<Channel>{Channel::conversationReply, Channel::conversationTyping},
      receiver, std::move(network), [this](std::string_view line) { screen_->note(line); });
  live_->onLost = [this](bool) { reconnectLater(); };
  live_->onConnected = [this] { catchUp(); };
}

ChatSession::~ChatSession() { *alive_ = false; }

template <class V>
void ChatSession::request(const rx::Observable<Result<V>>& stream, std::string what,
                          std::function<void(std::optional<V>)> done) {
  auto& queue = rx::MainQueue::shared();
  auto alive = alive_;
  auto finish = [this, alive, done](std::optional<V> value, std::string problem, int status) {
    if (!*alive) return;
    if (!problem.empty()) {
      screen_->note(problem);
      fail(status);
    }
    done(std::move(value));
  };
  stream
      .subscribe(
          [&queue, finish, what](const Result<V>& result) {
            queue.post([finish, what, result] {
              if (result.succeed()) return finish(result.success(), "", 0);
              finish(std::nullopt, what + ": " + result.error()->localizedDescription(),
                     kRefused);
            });
          },
          [&queue, finish, what](std::exception_ptr error) {
            queue.post([finish, what, error] {
              finish(std::nullopt, what + ": " + Call::describeFailure(error), kFailed);
            });
          })
      .disposed(bag_);
}

std::optional<int> ChatSession::open() {
  if (options_.startNew) {
    screen_->note("a new conversation: your first message starts it");
    return std::nullopt;
  }
  std::string dialogId;
  if (options_.conversation) {
    dialogId = *options_.conversation;
  } else {
    auto page = call_.await(conversations_.getDialogs(""));
    if (auto* status = std::get_if<int>(&page)) return *status;
    const auto& dialogs = std::get<Response<std::vector<Dialog>>>(page).data;
    if (dialogs.empty()) {
      screen_->note("no conversation yet: your first message starts one (/help for more)");
      return std::nullopt;
    }
    const auto newest = std::max_element(dialogs.begin(), dialogs.end(),
                                         [](const Dialog& a, const Dialog& b) {
                                           return a.lastUpdate < b.lastUpdate;
                                         });
    dialogId = newest->id;
  }
  auto page = call_.await(messages_.getMessages(dialogId));
  if (auto* status = std::get_if<int>(&page)) return *status;
  transcript_.open(dialogId);
  screen_->note("conversation " + dialogId + " (/more for earlier messages, /help for more)");
  const auto& answer = std::get<Response<std::vector<Message>>>(page);
  transcript_.setOlderPosition(answer.meta.nextBeforePosition);
  showPage(answer.data, false);
  markRead();
  return std::nullopt;
}

bool ChatSession::connect() {
  holdUntil_ = std::chrono::steady_clock::now() + kFirstConnection;
  return live_->start();
}

void ChatSession::catchUp() {
  retry_ = std::chrono::seconds(1);
  next();  // what waited for the first connection
  refresh();
}

void ChatSession::refresh() {
  // What was said while no connection was open and had no resume position to
  // come back with, or before the conversation's id was known: the newest
  // page, each message shown once.
  const std::string dialogId = transcript_.dialogId();
  if (dialogId.empty()) return;
  request(messages_.getMessages(dialogId), "the newest messages did not come",
          std::function<void(std::optional<Response<std::vector<Message>>>)>(
              [this, dialogId](auto page) {
                if (!page || transcript_.dialogId() != dialogId) return;
                std::sort(page->data.begin(), page->data.end(), older);
                for (const auto& message : page->data) showLive(message);
              }));
}

void ChatSession::showLive(const Message& message) {
  // The visitor's own messages are on the screen already, as typed.
  if (!transcript_.admit(message) || message.direction == "u2a") return;
  typingShown_ = false;
  screen_->show(messageLine(message));
  transcript_.answered();
  markRead();
}

void ChatSession::showPage(const std::vector<Message>& page, bool olderPage) {
  std::vector<const Message*> shown;
  for (const auto& message : page) {
    if (transcript_.admit(message)) shown.push_back(&message);
  }
  std::sort(shown.begin(), shown.end(), [](auto* a, auto* b) { return older(*a, *b); });
  if (olderPage) {
    screen_->note(shown.empty() ? "no earlier messages"
                                : "earlier, " + std::to_string(shown.size()) + " messages:");
  }
  for (const auto* message : shown) screen_->show(messageLine(*message));
}

void ChatSession::markRead() {
  if (transcript_.dialogId().empty() || away_) return;
  request(conversations_.markRead(transcript_.dialogId()), "not marked read",
          std::function<void(std::optional<Response<std::optional<JsonValue>>>)>([](auto) {}));
}

void ChatSession::onLine(const std::string& line) {
  if (status_ || line.find_first_not_of(" \t\r") == std::string::npos) return;
  outbox_.push_back(line);
  next();
}

void ChatSession::next() {
  if (busy_ || outbox_.empty() || status_) return;
  // An answer that comes before the first connection would be missed: the
  // first lines wait for it, a little.
  const auto now = std::chrono::steady_clock::now();
  if (!live_->everConnected() && now < holdUntil_) {
    rx::MainQueue::shared()
        .postAfter(holdUntil_ - now,
                   [this, alive = alive_] {
                     if (*alive) next();
                   })
        .disposed(bag_);
    return;
  }
  busy_ = true;
  const std::string line = outbox_.front();
  outbox_.pop_front();
  if (line.starts_with('/')) return command(line);
  send(emojiUnescapedString(line));
}

void ChatSession::done() {
  busy_ = false;
  next();
}

void ChatSession::command(std::string_view line) {
  const auto space = line.find(' ');
  const auto word = line.substr(0, space);
  std::string rest(space == line.npos ? "" : line.substr(space + 1));
  rest.erase(0, rest.find_first_not_of(' '));
  rest.erase(rest.find_last_not_of(" \r") + 1);
  // The commands that ask the service call done() when the answer is in.
  if (word == "/more" && more()) return;
  if (word == "/list") return list();
  if (word == "/open" && isId(rest)) return load(rest);
  if (word == "/quit") {
    status_ = failure_;
  } else if (word == "/help") {
    screen_->note(kHelp);
  } else if (word == "/new") {
    transcript_.open("");
    screen_->note("a new conversation: your next message starts it");
  } else if (word == "/open") {
    screen_->note("/open takes the id of a conversation (see /list)");
  } else if ((word == "/offline" || word == "/online") && live_->hasManualNetwork()) {
    live_->setOnline(word == "/online");
  } else if (word == "/offline" || word == "/online") {
    screen_->note("the network status follows this machine; " + std::string(word) +
                  " needs --network manual");
  } else if (word != "/more") {
    screen_->note("unknown command '" + std::string(word) + "'; /help lists them");
  }
  done();
}

void ChatSession::send(const std::string& body) {
  auto sent = [this, body](bool ok) {
    if (!ok) screen_->note("not sent: " + body);
    if (ok && !options_.interactive) screen_->show("you: " + body);
    done();
  };
  if (transcript_.dialogId().empty()) {
    request(conversations_.start(body), "the conversation did not start",
            std::function<void(std::optional<Response<SimpleId>>)>([this, sent](auto answer) {
              if (answer) {
                transcript_.open(answer->data.id);
                transcript_.sent("", 0);
                screen_->note("conversation " + answer->data.id + " started");
                refresh();  // an answer may have come before its id was known
              }
              sent(answer.has_value());
            }));
    return;
  }
  const auto randomId = newRandomId();
  request(conversations_.reply(transcript_.dialogId(), body, std::to_string(randomId), "reply"),
          "the message was not sent",
          std::function<void(std::optional<Response<SimpleId>>)>(
              [this, sent, randomId](auto answer) {
                if (answer) transcript_.sent(answer->data.id, randomId);
                sent(answer.has_value());
              }));
}

bool ChatSession::more() {
  if (transcript_.dialogId().empty()) {
    screen_->note("no conversation is open");
    return false;
  }
  if (!transcript_.olderPosition()) {
    screen_->note("no earlier messages");
    return false;
  }
  const std::string dialogId = transcript_.dialogId();
  request(messages_.getMessages(dialogId, transcript_.olderPosition()),
          "no earlier messages came",
          std::function<void(std::optional<Response<std::vector<Message>>>)>(
              [this, dialogId](auto page) {
                if (page && transcript_.dialogId() == dialogId) {
                  transcript_.setOlderPosition(page->meta.nextBeforePosition);
                  showPage(page->data, true);
                }
                done();
              }));
  return true;
}

void ChatSession::list() {
  request(conversations_.getDialogs(""), "no list came",
          std::function<void(std::optional<Response<std::vector<Dialog>>>)>([this](auto page) {
            if (page && page->data.empty()) screen_->note("no conversations yet");
            for (const auto& dialog : page ? page->data : std::vector<Dialog>{}) {
              std::string line = "  " + dialog.id;
              if (dialog.id == transcript_.dialogId()) line += " (open)";
              if (dialog.userUnreadCount > 0) {
                line += " [" + std::to_string(dialog.userUnreadCount) + " unread]";
              }
              if (dialog.partLast) line += "  " + messageLine(*dialog.partLast);
              screen_->note(line);
            }
            done();
          }));
}

void ChatSession::load(const std::string& dialogId) {
  request(messages_.getMessages(dialogId), "conversation " + dialogId + " did not open",
          std::function<void(std::optional<Response<std::vector<Message>>>)>(
              [this, dialogId](auto page) {
                if (page) {
                  transcript_.open(dialogId);
                  transcript_.setOlderPosition(page->meta.nextBeforePosition);
                  screen_->note("conversation " + dialogId);
                  showPage(page->data, false);
                  markRead();
                }
                done();
              }));
}

void ChatSession::onFrame(const std::string& text) {
  const auto frame = ChatFrame::parse(text);
  if (const auto* reply = std::get_if<ChatFrame::Reply>(&frame.event)) {
    const Message& message = reply->message;
    if (transcript_.dialogId().empty()) return;
    const bool here = !message.conversation || *message.conversation == transcript_.dialogId();
    if (!here) {
      if (message.direction != "u2a") {
        screen_->note("in conversation " + *message.conversation + ": " + messageLine(message));
      }
      return;
    }
    showLive(message);
  } else if (const auto* typing = std::get_if<ChatFrame::Typing>(&frame.event)) {
    const bool here = typing->dialogId.empty() || typing->dialogId == transcript_.dialogId();
    if (!here || transcript_.dialogId().empty() || std::exchange(typingShown_, true)) return;
    screen_->show((typing->who.empty() ? std::string("support") : typing->who) +
                  " is typing...");
  }
}

void ChatSession::reconnectLater() {
  if (status_) return;
  screen_->note("connecting again in " + std::to_string(retry_.count()) + " s");
  rx::MainQueue::shared()
      .postAfter(retry_,
                 [this, alive = alive_] {
                   if (*alive && !status_ && !away_) live_->start();
                 })
      .disposed(bag_);
  retry_ = std::min(retry_ * 2, std::chrono::seconds(30));
}

void ChatSession::onEnd() {
  if (options_.interactive) {
    status_ = failure_;
    return;
  }
  endBy_ = std::chrono::steady_clock::now() + options_.answerWait;
}

bool ChatSession::finished() {
  if (status_) return true;
  if (!endBy_) return false;
  const bool waiting = busy_ || !outbox_.empty() || transcript_.unanswered() > 0;
  if (waiting && std::chrono::steady_clock::now() < *endBy_) return false;
  if (transcript_.unanswered() > 0) {
    screen_->note(std::to_string(transcript_.unanswered()) +
                  " message(s) had no answer within " +
                  std::to_string(options_.answerWait.count() / 1000) + " s");
  }
  status_ = failure_;
  return true;
}

void ChatSession::onSignal(int signal, const std::function<void()>& stopped) {
  if (status_) return;
  if (signal == SIGTSTP) {
    away_ = true;
    live_->suspend();
    stopped();
  } else if (signal == SIGCONT) {
    away_ = false;
    live_->foreground();
    markRead();
  } else {
    status_ = failure_;
  }
}

void ChatSession::close() {
  *alive_ = false;
  bag_ = rx::DisposeBag();
  live_->stopAll();
}

}  // namespace tavrel::cli
