#include "tavrel/model/person.h"

#include <utility>

#include "tavrel/model/coding_keys.h"

namespace tavrel {

Person::Person(std::optional<std::string> id_, std::string type_, std::string name_,
               std::string avatar_)
    : id(std::move(id_)), type(std::move(type_)), name(std::move(name_)),
      avatar(std::move(avatar_)) {}

void Person::fill(const JsonNode& node, Person& person) {
  auto keys = node.object();
  // A number, null or any other shape under "id" is no string id.
  person.id.emplace();
  if (!keys.decodeLenient(rawValue(CodingKeys::id), *person.id)) person.id.reset();
  keys.decode(rawValue(CodingKeys::type), person.type);
  keys.decode(rawValue(CodingKeys::name), person.name);
  keys.decode(rawValue(CodingKeys::avatar), person.avatar);
}

Person Person::decode(const JsonNode& node) {
  Person person{Blank{}};
  fill(node, person);
  return person;
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
  Admin admin{Blank{}};
  fill(node, admin);
  return admin;
}

}  // namespace tavrel
