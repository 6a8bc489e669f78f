#pragma once
// What the conversation screen shows of one dialog: the pages of history,
// the replies that came live and the visitor's own sends, each message once,
// oldest first. Plain data, on the main thread; no Qt.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tavrel/model/message.h"

namespace tavrel::desk {

class ConversationLog {
 public:
  enum class Delivery { delivered, sending, failed };
  struct Entry {
    Message message;
    Delivery delivery = Delivery::delivered;
  };

  const std::string& dialogId() const noexcept { return dialogId_; }
  // Starts over with another dialog ("" for one not started yet).
  void open(std::string dialogId);
  // Once the service has given a new dialog its id: what was sent keeps its
  // place.
  void setDialogId(std::string dialogId) { dialogId_ = std::move(dialogId); }

  // A page of history or a message that came live; returns whether anything
  // changed. A message of another dialog is ignored; one seen before (by id,
  // or one of ours by its random id and type) replaces the copy held.
  bool merge(const std::vector<Message>& messages);
  bool merge(const Message& message) { return merge(std::vector<Message>{message}); }

  // One of ours, as typed, before the service has it: shown at the end as
  // sending, matched later by its random id.
  void addSending(const std::string& body, std::int64_t randomId);
  // The service took it (its id) or refused it.
  void confirm(std::int64_t randomId, const std::string& id);
  void fail(std::int64_t randomId);
  // The body of a send that failed, taken out of the log: to be typed again.
  std::optional<std::string> takeFailed(std::int64_t randomId);

  const std::vector<Entry>& entries() const noexcept { return entries_; }
  bool empty() const noexcept { return entries_.empty(); }

  // Where the next older page starts; none once the oldest has come.
  const std::optional<std::string>& olderPosition() const noexcept { return older_; }
  void setOlderPosition(std::optional<std::string> position) { older_ = std::move(position); }

  // The kind of message sent as "type" of a reply.
  static constexpr const char* kReplyType = "reply";

 private:
  Entry* find(const Message& message);
  Entry* findSent(std::int64_t randomId);
  void sort();

  std::string dialogId_;
  std::vector<Entry> entries_;
  std::optional<std::string> older_;
};

}  // namespace tavrel::desk
