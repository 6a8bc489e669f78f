#include "tavrel/model/dialog.h"

#include <utility>

#include "tavrel/model/coding_keys.h"

namespace tavrel {

namespace {
constexpr std::string_view key(CodingKeys k) noexcept { return rawValue(k); }
}  // namespace

Dialog::Dialog(std::string id_, std::int64_t created_, bool replied_,
               std::optional<std::string> message_, std::string type_, std::string replyType_,
               std::shared_ptr<Message> partLast_, std::ptrdiff_t partsCount_,
               std::shared_ptr<Admin> lastAdmin_, std::int64_t lastUpdate_,
               std::ptrdiff_t unreadPartsCount_, std::optional<JsonValue> bodyJson_,
               std::ptrdiff_t userUnreadCount_, std::optional<std::int64_t> expirationTime_)
    : id(std::move(id_)),
      created(created_),
      replied(replied_),
      message(std::move(message_)),
      type(std::move(type_)),
      replyType(std::move(replyType_)),
      partLast(std::move(partLast_)),
      partsCount(partsCount_),
      lastAdmin(std::move(lastAdmin_)),
      lastUpdate(lastUpdate_),
      unreadPartsCount(unreadPartsCount_),
      bodyJson(std::move(bodyJson_)),
      userUnreadCount(userUnreadCount_),
      expirationTime(expirationTime_) {}

Dialog Dialog::decode(const JsonNode& node) {
  auto keys = node.object();
  using K = CodingKeys;
  Dialog d{Blank{}};
  keys.decode(key(K::id), d.id);  // a number is refused
  keys.decode(key(K::created), d.created);
  d.replied = keys.decodeLenient<bool>(key(K::replied)).value_or(false);
  keys.decodeIfPresent(key(K::message), d.message);
  keys.decode(key(K::type), d.type);
  keys.decode(key(K::replyType), d.replyType);
  keys.decode(key(K::partLast), d.partLast);
  keys.decode(key(K::partsCount), d.partsCount);
  keys.decode(key(K::lastAdmin), d.lastAdmin);  // null fails
  keys.decode(key(K::lastUpdate), d.lastUpdate);
  keys.decode(key(K::unreadPartsCount), d.unreadPartsCount);
  keys.decodeIfPresent(key(K::bodyJson), d.bodyJson);
  keys.decode(key(K::userUnreadCount), d.userUnreadCount);
  d.expirationTime = keys.decodeLenient<std::int64_t>(key(K::expirationTime));
  return d;
}

void Dialog::encode(JsonWriter& writer) const {
  using K = CodingKeys;
  writer.beginObject();
  writer.field(key(K::id), id);
  writer.field(key(K::created), created);
  writer.field(key(K::replied), replied);
  writer.field(key(K::message), message);
  writer.field(key(K::type), type);
  writer.field(key(K::replyType), replyType);
  if (!partLast) return writer.fail("the dialog " + id + " has no last message");
  writer.key(key(K::partLast));
  partLast->encode(writer);
  writer.field(key(K::partsCount), partsCount);
  if (!lastAdmin) return writer.fail("the dialog " + id + " has no last operator");
  writer.key(key(K::lastAdmin));
  lastAdmin->encode(writer);
  writer.field(key(K::lastUpdate), lastUpdate);
  writer.field(key(K::unreadPartsCount), unreadPartsCount);
  writer.field(key(K::bodyJson), bodyJson);
  writer.field(key(K::userUnreadCount), userUnreadCount);
  writer.field(key(K::expirationTime), expirationTime);
  writer.endObject();
}

}  // namespace tavrel
