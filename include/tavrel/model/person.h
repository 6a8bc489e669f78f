#pragma once
// Person: a participant of a conversation; Admin: an operator of the support
// team, as a Dialog names its last one. Both are records of the Model family,
// so either can stand in a JsonValue's `model` case.

#include <optional>
#include <string>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"

namespace tavrel {

class Person : public Model {
 public:
  Person(std::optional<std::string> id, std::string type, std::string name,
         std::string avatar);

  // Reads "id" (any failure gives absent; no coercion from numbers), then the
  // required "type", "name" and "avatar". Throws DecodingError.
  static Person decode(const JsonNode& node);
  // Writes "id" (null when absent), "type", "name", "avatar".
  void encode(JsonWriter& writer) const override;

  std::optional<std::string> id;  // absent without a usable string id
  std::string type;               // kind of person, opaque
  std::string name;               // display name
  std::string avatar;             // avatar image address

 protected:
  struct Blank {};
  // No id and empty texts: for decode to fill in place.
  explicit Person(Blank) {}
  // Reads the keys of a person into `person`.
  static void fill(const JsonNode& node, Person& person);
};

// An operator. Decodes from and encodes to exactly the JSON of a Person.
class Admin : public Person {
 public:
  using Person::Person;

  static Admin decode(const JsonNode& node);

 private:
  explicit Admin(Blank blank) : Person(blank) {}
};

}  // namespace tavrel
