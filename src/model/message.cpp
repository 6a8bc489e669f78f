#include "tavrel/model/message.h"

#include <charconv>
#include <utility>

#include "tavrel/model/coding_keys.h"

namespace tavrel {

namespace {
constexpr std::string_view key(CodingKeys k) noexcept { return rawValue(k); }
}  // namespace

Message::Message(std::string id_, std::int64_t randomId_, std::string body_, std::string type_,
                 std::int64_t created_, std::string direction_, bool read_,
                 std::string sentVia_, std::string replyType_, JsonValue from_,
                 std::optional<std::string> conversation_, std::optional<JsonValue> bodyJson_,
                 std::optional<JsonValue> metaData_, std::optional<JsonValue> attachments_)
    : id(std::move(id_)),
      randomId(randomId_),
      body(std::move(body_)),
      type(std::move(type_)),
      created(created_),
      direction(std::move(direction_)),
      read(read_),
      sentVia(std::move(sentVia_)),
      replyType(std::move(replyType_)),
      from(std::move(from_)),
      conversation(std::move(conversation_)),
      bodyJson(std::move(bodyJson_)),
      metaData(std::move(metaData_)),
      attachments(std::move(attachments_)) {}

Message Message::decode(const JsonNode& node) {
  auto keys = node.object();
  using K = CodingKeys;

  // The id is always text: a string as it is, an integer as its decimal
  // digits, anything else (or nothing) as "".
  std::string id;
  if (auto text = keys.decodeLenient<std::string>(key(K::id))) id = std::move(*text);
  if (auto number = keys.decodeLenient<std::int64_t>(key(K::id))) {
    char digits[24];
    auto end = std::to_chars(digits, digits + sizeof digits, *number).ptr;
    id.assign(digits, end);
  }
  std::int64_t randomId = keys.decodeLenient<std::int64_t>(key(K::randomId)).value_or(0);
  auto body = keys.decode<std::string>(key(K::body));
  auto type = keys.decode<std::string>(key(K::type));
  auto created = keys.decode<std::int64_t>(key(K::created));
  auto direction = keys.decode<std::string>(key(K::direction));
  bool read = keys.decodeLenient<bool>(key(K::read)).value_or(false);
  auto sentVia = keys.decode<std::string>(key(K::sentVia));
  auto replyType = keys.decode<std::string>(key(K::replyType));
  auto from = keys.decode<JsonValue>(key(K::from));  // null is the empty case
  auto conversation = keys.decodeIfPresent<std::string>(key(K::conversation));
  auto bodyJson = keys.decodeIfPresent<JsonValue>(key(K::bodyJson));
  auto metaData = keys.decodeIfPresent<JsonValue>(key(K::metaData));
  auto attachments = keys.decodeIfPresent<JsonValue>(key(K::attachments));
  return Message(std::move(id), randomId, std::move(body), std::move(type), created,
                 std::move(direction), read, std::move(sentVia), std::move(replyType),
                 std::move(from), std::move(conversation), std::move(bodyJson),
                 std::move(metaData), std::move(attachments));
}

void Message::encode(JsonWriter& writer) const {
  using K = CodingKeys;
  writer.beginObject();
  writer.field(key(K::id), id);
  writer.field(key(K::randomId), randomId);
  writer.field(key(K::body), body);
  writer.field(key(K::type), type);
  writer.field(key(K::created), created);
  writer.field(key(K::direction), direction);
  writer.field(key(K::read), read);
  writer.field(key(K::sentVia), sentVia);
  writer.field(key(K::replyType), replyType);
  writer.field(key(K::from), from);
  writer.field(key(K::conversation), conversation);
  writer.field(key(K::bodyJson), bodyJson);
  writer.field(key(K::metaData), metaData);
  writer.field(key(K::attachments), attachments);
  writer.endObject();
}

bool matches(const Message& element, const Message& message) noexcept {
  if (element.id == message.id) return true;
  return element.randomId == message.randomId && element.randomId != 0 &&
         element.type == message.type;
}

std::shared_ptr<Message> find(const std::vector<std::shared_ptr<Message>>& messages,
                              const Message& message) noexcept {
  for (const auto& element : messages) {
    if (element && matches(*element, message)) return element;
  }
  return nullptr;
}

const Message* find(const std::vector<Message>& messages, const Message& message) noexcept {
  for (const Message& element : messages) {
    if (matches(element, message)) return &element;
  }
  return nullptr;
}

}  // namespace tavrel
