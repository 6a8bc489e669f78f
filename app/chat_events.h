#pragma once
// What `tavrel chat` makes of the real-time frames and the pages of history:
// the events of the open conversation, each shown once, as lines of text.
// Pure and single-threaded: the chat calls it on the main thread.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tavrel/model/message.h"

namespace tavrel::cli {

// One frame, as far as the chat reads it.
struct ChatFrame {
  struct Reply {  // "conversation_reply": a message
    Message message;
  };
  struct Typing {  // "conversation_typing": someone is writing
    std::string dialogId;
    std::string who;
  };
  struct Other {};  // any other channel, and what does not decode
  std::variant<Reply, Typing, Other> event;

  // Reads the text of a frame; never fails (Other for what it cannot read).
  static ChatFrame parse(std::string_view text);
};

// Who wrote a message, as the chat shows it: "you" for the visitor's own
// (direction "u2a"), else the sender's "name", else "support".
std::string senderName(const Message& message);
// "NAME: BODY", the body's line breaks kept as they are.
std::string messageLine(const Message& message);

// The open conversation's record of what has been shown.
class Transcript {
 public:
  // The dialog the transcript follows; empty until a new one is started.
  const std::string& dialogId() const noexcept { return dialogId_; }
  void open(std::string dialogId);

  // Whether `message` belongs here and is new: the first time an id (or the
  // random id of one of ours) is seen in this dialog. Records it.
  bool admit(const Message& message);
  // A message we sent: its id and random id are seen, and it waits for an
  // answer.
  void sent(const std::string& id, std::int64_t randomId);
  // Whether `message` answers us: from the other side, in this dialog.
  bool isAnswer(const Message& message) const;
  // One answer came: one message fewer waits (also when the answer came
  // before the service had confirmed the message).
  void answered() { ++answers_; }
  // How many messages we sent still wait for an answer.
  int unanswered() const noexcept { return sent_ > answers_ ? sent_ - answers_ : 0; }

  // The position before which the next older page starts; none when the
  // oldest message has been shown.
  const std::optional<std::string>& olderPosition() const noexcept { return older_; }
  void setOlderPosition(std::optional<std::string> position) { older_ = std::move(position); }

 private:
  std::string dialogId_;
  std::set<std::string> ids_;
  std::set<std::int64_t> randomIds_;
  std::optional<std::string> older_;
  int sent_ = 0;
  int answers_ = 0;
};

}  // namespace tavrel::cli
