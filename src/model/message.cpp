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
  Message m{Blank{}};

  // The id is always text: a string as it is, an integer as its decimal
  // digits, anything else (or nothing) as "".
  if (std::int64_t number = 0; !keys.decodeLenient(key(K::id), m.id) &&
                               keys.decodeLenient(key(K::id), number)) {
    char digits[24];
    auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    m.id.assign(digits, end);
  }
  m.randomId = keys.decodeLenient<std::int64_t>(key(K::randomId)).value_or(0);
  keys.decode(key(K::body), m.body);
  keys.decode(key(K::type), m.type);
  keys.decode(key(K::created), m.created);
  keys.decode(key(K::direction), m.direction);
  m.read = keys.decodeLenient<bool>(key(K::read)).value_or(false);
  keys.decode(key(K::sentVia), m.sentVia);
  keys.decode(key(K::replyType), m.replyType);
  keys.decode(key(K::from), m.from);  // null is the empty case
  keys.decodeIfPresent(key(K::conversation), m.conversation);
  keys.decodeIfPresent(key(K::bodyJson), m.bodyJson);
  keys.decodeIfPresent(key(K::metaData), m.metaData);
  keys.decodeIfPresent(key(K::attachments), m.attachments);
  return m;
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
