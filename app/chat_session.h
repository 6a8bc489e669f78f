#pragma once
// One run of `tavrel chat` once the visitor's session exists: the open
// conversation, what the visitor types, the live events, on the main thread.

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "api_common.h"
#include "chat_events.h"
#include "chat_terminal.h"
#include "live_socket.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/message_service.h"

namespace tavrel::cli {

struct ChatOptions {
  std::optional<std::string> conversation;  // --conversation ID
  bool startNew = false;                    // --new
  bool interactive = false;                 // a terminal: Ctrl-D ends at once
  std::chrono::milliseconds answerWait{10000};  // after the end of input
};

class ChatSession {
 public:
  ChatSession(Call& call, std::shared_ptr<NetworkSettings> settings,
              std::shared_ptr<ManualConnectivityBackend> network, ChatOptions options);
  ~ChatSession();
  ChatSession(const ChatSession&) = delete;
  ChatSession& operator=(const ChatSession&) = delete;

  // Where lines go; set before run.
  void setScreen(Screen* screen) { screen_ = screen; }

  // Opens the conversation the options choose and shows its newest page;
  // an exit status when that fails.
  std::optional<int> open();
  // Connects the live events; false when no socket can be formed.
  bool connect();

  // A line the visitor typed: a message, or a command ("/more").
  void onLine(const std::string& line);
  // The end of input.
  void onEnd();
  // A signal that reached the chat (SIGINT, SIGTERM, SIGTSTP, SIGCONT);
  // `stopped` runs after the socket has closed for SIGTSTP.
  void onSignal(int signal, const std::function<void()>& stopped);
  // The text of a frame, on the main thread.
  void onFrame(const std::string& text);

  // The exit status, once the chat is to end.
  const std::optional<int>& status() const noexcept { return status_; }
  // Whether the end of input has come and what it waited for is over.
  bool finished();
  // At the end: closes the connection.
  void close();

 private:
  template <class V>
  void request(const rx::Observable<Result<V>>& stream, std::string what,
               std::function<void(std::optional<V>)> done);
  void command(std::string_view line);
  // Takes the next line of the outbox, unless one is under way.
  void next();
  // The line under way is over.
  void done();
  void send(const std::string& body);
  void showPage(const std::vector<Message>& page, bool older);
  void markRead();
  void list();
  void load(const std::string& dialogId);
  bool more();  // false when nothing was asked
  void reconnectLater();
  // After a connection opened: sends what waited, shows what was missed.
  void catchUp();
  // Shows what the newest page holds that was not shown.
  void refresh();
  // A message of the open conversation that came live: shown once.
  void showLive(const Message& message);
  void fail(int status) { failure_ = std::max(failure_, status); }

  Call& call_;
  std::shared_ptr<NetworkSettings> settings_;
  ChatOptions options_;
  ConversationService conversations_;
  MessageService messages_;
  Screen* screen_ = nullptr;
  Transcript transcript_;
  std::unique_ptr<LiveSocket> live_;
  std::deque<std::string> outbox_;  // lines typed, in order
  bool busy_ = false;               // a line is under way
  bool typingShown_ = false;
  bool away_ = false;  // suspended: nothing is marked read
  std::optional<std::chrono::steady_clock::time_point> endBy_;  // after the end of input
  std::chrono::seconds retry_{1};
  std::chrono::steady_clock::time_point holdUntil_;  // the first sends wait till then
  int failure_ = 0;  // the worst status of a request that failed
  std::optional<int> status_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  rx::DisposeBag bag_;
};

}  // namespace tavrel::cli
