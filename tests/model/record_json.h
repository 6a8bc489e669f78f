#pragma once
// Builds JSON object texts for record tests: a known-good record with some
// members replaced, added or removed.

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavrel::testing {

// Members of an object in order, each value as raw JSON text.
using Members = std::vector<std::pair<std::string, std::string>>;
// A change: a value replaces the member or appends it; nullopt removes it.
using Change = std::pair<std::string, std::optional<std::string>>;

inline std::string objectJson(Members members, const std::vector<Change>& changes = {}) {
  for (const auto& [key, value] : changes) {
    auto it = std::find_if(members.begin(), members.end(),
                           [&](const auto& m) { return m.first == key; });
    if (!value) {
      if (it != members.end()) members.erase(it);
    } else if (it != members.end()) {
      it->second = *value;
    } else {
      members.emplace_back(key, *value);
    }
  }
  std::string out = "{";
  for (const auto& [key, value] : members) {
    if (out.size() > 1) out += ',';
    out += '"' + key + "\":" + value;
  }
  return out + "}";
}

// A complete message object with every key the service sends.
inline const Members& messageMembers() {
  static const Members members{
      {"id", R"("m1")"}, {"random_id", "77"}, {"body", R"("Привет! 👋")"},
      {"type", R"("reply")"}, {"created", "1700000000"}, {"direction", R"("u2a")"},
      {"read", "true"}, {"sent_via", R"("ios")"}, {"reply_type", R"("text")"},
      {"from", R"({"id":"u1","type":"user","name":"Аня","avatar":""})"},
      {"conversation", R"("c1")"}, {"body_json", R"({"blocks":[1,2.5,"x",true,null]})"},
      {"meta_data", R"({"k":"v"})"}, {"attachments", R"([{"filename":"a.png","size":12}])"},
  };
  return members;
}

// A complete person (or admin) object.
inline const Members& personMembers() {
  static const Members members{{"id", R"("a7")"}, {"type", R"("admin")"},
                                {"name", R"("Мария")"},
                                {"avatar", R"("https://cdn.example/a7.png")"}};
  return members;
}

}  // namespace tavrel::testing
