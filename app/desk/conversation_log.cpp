#include "conversation_log.h"

#include <algorithm>

namespace tavrel::desk {
namespace {

// Oldest first: sends still under way last, in the order typed; then by
// creation time, and by id as a number where it is one.
bool before(const ConversationLog::Entry& a, const ConversationLog::Entry& b) {
  const bool aPending = a.message.id.empty(), bPending = b.message.id.empty();
  if (aPending != bPending) return bPending;
  if (aPending) return false;
  if (a.message.created != b.message.created) return a.message.created < b.message.created;
  if (a.message.id.size() != b.message.id.size()) return a.message.id.size() < b.message.id.size();
  return a.message.id < b.message.id;
}

}  // namespace

void ConversationLog::open(std::string dialogId) {
  dialogId_ = std::move(dialogId);
  entries_.clear();
  older_.reset();
}

ConversationLog::Entry* ConversationLog::find(const Message& message) {
  for (auto& entry : entries_) {
    const Message& held = entry.message;
    if (!held.id.empty() && held.id == message.id) return &entry;
    if (message.randomId != 0 && held.randomId == message.randomId &&
        (held.type == message.type || held.id.empty())) {
      return &entry;
    }
  }
  return nullptr;
}

ConversationLog::Entry* ConversationLog::findSent(std::int64_t randomId) {
  for (auto& entry : entries_) {
    if (entry.message.randomId == randomId && entry.delivery != Delivery::delivered) return &entry;
  }
  return nullptr;
}

bool ConversationLog::merge(const std::vector<Message>& messages) {
  bool changed = false;
  for (const Message& message : messages) {
    if (message.id.empty()) continue;
    if (message.conversation && !dialogId_.empty() && *message.conversation != dialogId_) continue;
    if (Entry* held = find(message)) {
      held->message = message;
      held->delivery = Delivery::delivered;
    } else {
      entries_.push_back({message, Delivery::delivered});
    }
    changed = true;
  }
  if (changed) sort();
  return changed;
}

void ConversationLog::addSending(const std::string& body, std::int64_t randomId) {
  Message message("", randomId, body, kReplyType, 0, "u2a", true, "", "", JsonValue(),
                  dialogId_.empty() ? std::nullopt : std::optional(dialogId_), std::nullopt,
                  std::nullopt, std::nullopt);
  entries_.push_back({std::move(message), Delivery::sending});
}

void ConversationLog::confirm(std::int64_t randomId, const std::string& id) {
  Entry* entry = findSent(randomId);
  if (!entry) return;  // the message itself came first, live
  // The copy live or in a page may already be here: keep that one.
  const bool seen = std::any_of(entries_.begin(), entries_.end(),
                                [&](const Entry& e) { return e.message.id == id; });
  if (seen) {
    entries_.erase(entries_.begin() + (entry - entries_.data()));
    return;
  }
  entry->message.id = id;
  entry->delivery = Delivery::delivered;
  // Its time is the service's, unknown until it comes back: it stays last.
  entry->message.created = entries_.empty() ? 0 : std::max_element(entries_.begin(), entries_.end(),
      [](const Entry& a, const Entry& b) { return a.message.created < b.message.created; })
      ->message.created;
  sort();
}

void ConversationLog::fail(std::int64_t randomId) {
  if (Entry* entry = findSent(randomId)) entry->delivery = Delivery::failed;
}

std::optional<std::string> ConversationLog::takeFailed(std::int64_t randomId) {
  Entry* entry = findSent(randomId);
  if (!entry || entry->delivery != Delivery::failed) return std::nullopt;
  std::string body = entry->message.body;
  entries_.erase(entries_.begin() + (entry - entries_.data()));
  return body;
}

void ConversationLog::sort() { std::stable_sort(entries_.begin(), entries_.end(), before); }

}  // namespace tavrel::desk
