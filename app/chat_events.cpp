#include "chat_events.h"

#include <utility>

#include "tavrel/core/json_decoder.h"

namespace tavrel::cli {
namespace {

// A message inside a payload: the payload itself, or under one of the keys
// that wrap one.
std::optional<Message> findMessage(const JsonNode& payload) {
  if (auto message = payload.tryDecode<Message>()) return message;
  if (payload.type() != JsonNode::Type::object) return std::nullopt;
  const auto keys = payload.object();
  for (auto key : {"part", "message", "data"}) {
    if (auto inner = keys.find(key); inner && inner->type() == JsonNode::Type::object) {
      if (auto message = inner->tryDecode<Message>()) return message;
    }
  }
  return std::nullopt;
}

// An id given as text or as a whole number.
std::optional<std::string> idText(const JsonNode& node) {
  if (auto text = node.tryDecode<std::string>()) return text;
  if (auto number = node.tryDecode<std::int64_t>()) return std::to_string(*number);
  if (node.type() == JsonNode::Type::object) {
    if (auto id = node.object().find("id")) return idText(*id);
  }
  return std::nullopt;
}

ChatFrame::Typing readTyping(const JsonNode& payload) {
  ChatFrame::Typing typing;
  if (payload.type() != JsonNode::Type::object) return typing;
  const auto keys = payload.object();
  for (auto key : {"conversation", "conversation_id", "dialog_id"}) {
    if (auto node = keys.find(key)) {
      if (auto id = idText(*node)) {
        typing.dialogId = *id;
        break;
      }
    }
  }
  for (auto key : {"admin", "from", "user"}) {
    auto node = keys.find(key);
    if (!node || node->type() != JsonNode::Type::object) continue;
    if (auto name = node->object().decodeLenient<std::string>("name")) {
      typing.who = *name;
      break;
    }
  }
  if (typing.who.empty()) typing.who = keys.decodeLenient<std::string>("name").value_or("");
  return typing;
}

struct FrameRead {
  ChatFrame frame;
  static FrameRead decode(const JsonNode& node) {
    const auto keys = node.object();
    const auto channel = keys.decode<std::string>("channel");
    const auto payload = keys.at("message");
    if (channel == "conversation_reply") {
      if (auto message = findMessage(payload)) {
        return {ChatFrame{ChatFrame::Reply{std::move(*message)}}};
      }
    } else if (channel == "conversation_typing") {
      return {ChatFrame{readTyping(payload)}};
    }
    return {ChatFrame{ChatFrame::Other{}}};
  }
};

}  // namespace

ChatFrame ChatFrame::parse(std::string_view text) {
  auto read = decodeJson<FrameRead>(text);
  if (!read) return ChatFrame{Other{}};
  return std::move(read.value().frame);
}

std::string senderName(const Message& message) {
  if (message.direction == "u2a") return "you";
  if (auto name = message.from.getString("name"); name && !name->empty()) return *name;
  return "support";
}

std::string messageLine(const Message& message) { return senderName(message) + ": " + message.body; }

void Transcript::open(std::string dialogId) {
  if (dialogId == dialogId_) return;
  dialogId_ = std::move(dialogId);
  ids_.clear();
  randomIds_.clear();
  older_.reset();
  sent_ = answers_ = 0;
}

bool Transcript::admit(const Message& message) {
  if (message.conversation && !dialogId_.empty() && *message.conversation != dialogId_) {
    return false;
  }
  if (message.randomId != 0 && message.direction == "u2a" && randomIds_.count(message.randomId)) {
    ids_.insert(message.id);
    return false;
  }
  return ids_.insert(message.id).second;
}

void Transcript::sent(const std::string& id, std::int64_t randomId) {
  ids_.insert(id);
  randomIds_.insert(randomId);
  ++sent_;
}

bool Transcript::isAnswer(const Message& message) const {
  return message.direction != "u2a" &&
         (!message.conversation || *message.conversation == dialogId_);
}


}  // namespace tavrel::cli
