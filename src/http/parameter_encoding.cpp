#include "tavrel/http/parameter_encoding.h"

#include "tavrel/core/json_writer.h"
#include "tavrel/core/percent_encoding.h"

namespace tavrel {
namespace {

// What stays unescaped in a query key or value: the query-allowed characters
// without the delimiters ":#[]@" and "!$&'()*+,;=".
const AsciiSet& queryComponentAllowed() {
  static const AsciiSet set = charset::alphanumerics() | AsciiSet::of("-._~/?");
  return set;
}

std::string escape(std::string_view text) { return percentEncode(text, queryComponentAllowed()); }

void appendComponents(const URLEncoding& encoding, const std::string& key, const JsonValue& value,
                      std::vector<std::pair<std::string, std::string>>& out) {
  using K = JsonValue::Kind;
  switch (value.kind()) {
    case K::object: {
      const auto& members = *value.getIf<JsonValue::Object>();
      std::map<std::string_view, const std::optional<JsonValue>*> sorted;
      for (const auto& [name, member] : members) sorted.emplace(name, &member);
      for (const auto& [name, member] : sorted) {
        appendComponents(encoding, key + "[" + std::string(name) + "]",
                         *member ? **member : JsonValue(), out);
      }
      return;
    }
    case K::array: {
      std::string elementKey =
          encoding.arrayEncoding == URLEncoding::ArrayEncoding::brackets ? key + "[]" : key;
      for (const auto& element : *value.getIf<JsonValue::Array>()) {
        appendComponents(encoding, elementKey, element, out);
      }
      return;
    }
    case K::bool_: {
      bool flag = *value.getIf<bool>();
      std::string text = encoding.boolEncoding == URLEncoding::BoolEncoding::numeric
                             ? (flag ? "1" : "0")
                             : (flag ? "true" : "false");
      out.emplace_back(escape(key), text);
      return;
    }
    case K::model: {
      auto json = value.asString();
      out.emplace_back(escape(key), escape(json.value_or("")));
      return;
    }
    default:
      // string, int, double as their text; empty as "".
      out.emplace_back(escape(key), escape(value.asStringValue().value_or("")));
      return;
  }
}

bool encodesInURL(URLEncoding::Destination destination, Method method) {
  switch (destination) {
    case URLEncoding::Destination::queryString: return true;
    case URLEncoding::Destination::httpBody: return false;
    case URLEncoding::Destination::methodDependent:
      return method == Method::get || method == Method::head || method == Method::delete_;
  }
  return true;
}

}  // namespace

std::string URLEncoding::query(const Parameters& parameters) const {
  std::vector<std::pair<std::string, std::string>> components;
  for (const auto& [key, value] : parameters) appendComponents(*this, key, value, components);
  std::string out;
  for (const auto& [key, value] : components) {
    if (!out.empty()) out += '&';
    out += key;
    out += '=';
    out += value;
  }
  return out;
}

std::optional<std::string> URLEncoding::encode(HttpRequest& request,
                                               const Parameters& parameters) const {
  if (encodesInURL(destination, request.method)) {
    if (parameters.empty()) return std::nullopt;
    if (request.url.empty()) return "the request has no URL";
    auto hash = request.url.find('#');
    std::string fragment = hash == std::string::npos ? "" : request.url.substr(hash);
    std::string base = request.url.substr(0, hash);
    base += base.find('?') == std::string::npos ? '?' : '&';
    request.url = base + query(parameters) + fragment;
    return std::nullopt;
  }
  if (!request.header("Content-Type")) {
    setHeader(request.headers, "Content-Type", "application/x-www-form-urlencoded; charset=utf-8");
  }
  request.body = query(parameters);
  return std::nullopt;
}

std::optional<std::string> JSONEncoding::encode(HttpRequest& request,
                                                const Parameters& parameters) const {
  JsonWriter writer;
  writer.beginObject();
  for (const auto& [key, value] : parameters) writer.field(key, value);
  writer.endObject();
  if (writer.error()) return std::string(writer.error()->what());
  if (!request.header("Content-Type")) {
    setHeader(request.headers, "Content-Type", "application/json");
  }
  request.body = std::move(writer).take();
  return std::nullopt;
}

std::optional<std::string> ParameterEncoding::encode(HttpRequest& request,
                                                     const Parameters& parameters) const {
  return std::visit([&](const auto& e) { return e.encode(request, parameters); }, encoding_);
}

}  // namespace tavrel
