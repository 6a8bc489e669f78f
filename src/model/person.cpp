#include "tavrel/model/person.h"

#include <utility>

#include "tavrel/model/coding_keys.h"

namespace tavrel {

Person::Person(std::optional<std::string> id_, std::string type_, std::string name_,
               std::string avatar_)
    : id(std::move(id_)), type(std::move(type_)), name(std::move(name_)),
      avatar(std::move(avatar_)) {}

Person Person::decode(const JsonNode& node) {
  auto keys = node.object();
  // A number, null or any other shape under "id" is no string id.
  auto id = keys.decodeLenient<std::string>(rawValue(CodingKeys::id));
  auto type = keys.decode<std::string>(rawValue(CodingKeys::type));
  auto name = keys.decode<std::string>(rawValue(CodingKeys::name));
  auto avatar = keys.decode<std::string>(rawValue(CodingKeys::avatar));
  return Person(std::move(id), std::move(type), std::move(name), std::move(avatar));
}

void Person::encode(JsonWriter& writer) const {
  writer.beginObject();
  writer.field(rawValue(CodingKeys::id), id);
  writer.field(rawValue(CodingKeys::type), type);
  writer.field(rawValue(CodingKeys::name), name);
  writer.field(rawValue(CodingKeys::avatar), avatar);
  writer.endObject();
}

Admin Admin::decode(const JsonNode& node) {
  Person person = Person::decode(node);
  return Admin(std::move(person.id), std::move(person.type), std::move(person.name),
               std::move(person.avatar));
}

}  // namespace tavrel
