#include "tavrel/core/json_value.h"

#include <charconv>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "core/json_internal.h"
#include "tavrel/core/json_writer.h"

namespace tavrel {

// --- Model ------------------------------------------------------------------------

Model::Model(const JsonNode&) {}

void Model::encode(JsonWriter& writer) const {
  writer.beginObject();
  writer.endObject();
}

// --- JsonValue special members -------------------------------------------------------

JsonValue::JsonValue(const JsonValue& other) = default;
JsonValue& JsonValue::operator=(const JsonValue& other) = default;
JsonValue::~JsonValue() = default;

// A moved-from deferred value has no chunk left: make it empty.
JsonValue::JsonValue(JsonValue&& other) noexcept : storage_(std::move(other.storage_)) {
  if (other.storage_.index() == kDeferred) other.storage_.emplace<Empty>();
}

JsonValue& JsonValue::operator=(JsonValue&& other) noexcept {
  storage_ = std::move(other.storage_);
  if (other.storage_.index() == kDeferred && &other != this) other.storage_.emplace<Empty>();
  return *this;
}

// --- deferred trees ----------------------------------------------------------------

JsonValue::Deferred::Deferred(const Deferred& other) noexcept
    : chunk_(other.chunk_), offset_(other.offset_) {
  if (chunk_) chunk_->retain();
}

// Moving from a value excludes readers of it, so its built tree changes hands
// with plain loads and stores.
JsonValue::Deferred::Deferred(Deferred&& other) noexcept
    : chunk_(std::exchange(other.chunk_, nullptr)),
      offset_(other.offset_),
      built_(other.built_.load(std::memory_order_relaxed)) {
  other.built_.store(nullptr, std::memory_order_relaxed);
}

JsonValue::Deferred& JsonValue::Deferred::operator=(const Deferred& other) noexcept {
  if (this != &other) {
    if (other.chunk_) other.chunk_->retain();
    release();
    chunk_ = other.chunk_;
    offset_ = other.offset_;
  }
  return *this;
}

JsonValue::Deferred& JsonValue::Deferred::operator=(Deferred&& other) noexcept {
  if (this != &other) {
    release();
    chunk_ = std::exchange(other.chunk_, nullptr);
    offset_ = other.offset_;
    built_.store(other.built_.load(std::memory_order_relaxed), std::memory_order_relaxed);
    other.built_.store(nullptr, std::memory_order_relaxed);
  }
  return *this;
}

JsonValue::Deferred::~Deferred() { release(); }

void JsonValue::Deferred::release() noexcept {
  // Only the owner releases, with no reader left: the acquire pairs with the
  // release of the reader that built the tree.
  delete built_.load(std::memory_order_acquire);
  built_.store(nullptr, std::memory_order_relaxed);
  if (chunk_) chunk_->release();
  chunk_ = nullptr;
}

JsonValue::Kind JsonValue::Deferred::kind() const noexcept {
  return detail::TreeStore::kindAt(chunk_, offset_);
}

const JsonValue& JsonValue::Deferred::tree() const {
  if (JsonValue* built = built_.load(std::memory_order_acquire)) return *built;
  auto fresh = std::make_unique<JsonValue>(detail::TreeStore::build(chunk_, offset_));
  JsonValue* expected = nullptr;
  if (built_.compare_exchange_strong(expected, fresh.get(), std::memory_order_acq_rel,
                                     std::memory_order_acquire)) {
    return *fresh.release();
  }
  return *expected;  // another reader built it first
}

JsonValue JsonValue::Deferred::take() {
  if (std::unique_ptr<JsonValue> built{built_.load(std::memory_order_acquire)}) {
    built_.store(nullptr, std::memory_order_relaxed);
    return std::move(*built);
  }
  return detail::TreeStore::build(chunk_, offset_);
}

void JsonValue::Deferred::encode(JsonWriter& writer) const {
  detail::TreeStore::encode(chunk_, offset_, writer);
}

JsonValue::Kind JsonValue::deferredKind() const noexcept {
  return std::get_if<kDeferred>(&storage_)->kind();
}

void JsonValue::thaw() {
  JsonValue tree = std::get_if<kDeferred>(&storage_)->take();
  storage_ = std::move(tree.storage_);
}

// --- JsonObject ------------------------------------------------------------------------

JsonObject::JsonObject(std::initializer_list<value_type> members) {
  members_.reserve(members.size());
  for (const value_type& member : members) try_emplace(member.first, member.second);
}

JsonObject::iterator JsonObject::find(std::string_view key) noexcept {
  auto it = members_.begin();
  for (auto end = members_.end(); it != end; ++it) {
    if (it->first.size() == key.size() && std::string_view(it->first) == key) break;
  }
  return it;
}

JsonObject::const_iterator JsonObject::find(std::string_view key) const noexcept {
  return const_cast<JsonObject*>(this)->find(key);
}

JsonObject::mapped_type& JsonObject::at(std::string_view key) {
  auto it = find(key);
  if (it == end()) throw std::out_of_range("JsonObject::at: no key \"" + std::string(key) + "\"");
  return it->second;
}

const JsonObject::mapped_type& JsonObject::at(std::string_view key) const {
  return const_cast<JsonObject*>(this)->at(key);
}

JsonObject::mapped_type& JsonObject::operator[](std::string_view key) {
  return try_emplace(std::string(key)).first->second;
}

std::pair<JsonObject::iterator, bool> JsonObject::insert_or_assign(std::string key,
                                                                   mapped_type value) {
  if (auto it = find(key); it != end()) {
    it->second = std::move(value);
    return {it, false};
  }
  members_.emplace_back(std::move(key), std::move(value));
  return {members_.end() - 1, true};
}

JsonObject::size_type JsonObject::erase(std::string_view key) {
  auto it = find(key);
  if (it == end()) return 0;
  erase(it);
  return 1;
}

JsonObject::iterator JsonObject::erase(const_iterator position) { return members_.erase(position); }

bool operator==(const JsonObject& a, const JsonObject& b) {
  if (a.size() != b.size()) return false;
  // Keys are unique, so equal sizes and every member of a found equal in b
  // make the same map. Trees built alike keep one order: try that first.
  auto other = b.begin();
  for (const auto& [key, value] : a) {
    if (other->first != key) other = b.find(key);
    if (other == b.end() || other->second != value) return false;
    ++other;
    if (other == b.end()) other = b.begin();
  }
  return true;
}

// --- text forms ----------------------------------------------------------------------

namespace detail {

void appendDouble(std::string& out, double value) {
  // Plain digits for magnitudes in [1e-4, 2^53), an exponent outside, each in
  // the shortest form that reads back.
  char buffer[64];
  double magnitude = std::fabs(value);
  auto format = (magnitude == 0 || (magnitude >= 1e-4 && magnitude < 9007199254740992.0))
                    ? std::chars_format::fixed
                    : std::chars_format::scientific;
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, format);
  if (ec != std::errc()) end = buffer;
  out.append(buffer, end);
  if (!std::isfinite(value)) return;  // "inf", "-inf", "nan"
  if (std::string_view(buffer, static_cast<std::size_t>(end - buffer)).find_first_of(".e") ==
      std::string_view::npos) {
    out += ".0";
  }
}

}  // namespace detail

std::string formatDouble(double value) {
  std::string out;
  detail::appendDouble(out, value);
  return out;
}

// --- decoding ----------------------------------------------------------------------------

JsonValue JsonValue::decode(const JsonNode& node) {
  JsonValue out;
  node.context_->trees().make(node.element_, out);
  return out;
}

void JsonValue::decode(const JsonNode& node, JsonValue& out) {
  node.context_->trees().make(node.element_, out);
}

// --- encoding ------------------------------------------------------------------------------

void JsonValue::encode(JsonWriter& writer) const {
  if (const Deferred* deferred = std::get_if<kDeferred>(&storage_)) {
    deferred->encode(writer);
    return;
  }
  switch (kind()) {
    case Kind::string: writer.value(*getIf<std::string>()); break;
    case Kind::int_: writer.value(*getIf<std::int64_t>()); break;
    case Kind::double_: writer.value(*getIf<double>()); break;
    case Kind::bool_: writer.value(*getIf<bool>()); break;
    case Kind::object:
      writer.beginObject();
      for (const auto& [key, value] : *getIf<Object>()) writer.field(key, value);
      writer.endObject();
      break;
    case Kind::array:
      writer.beginArray();
      for (const JsonValue& element : *getIf<Array>()) element.encode(writer);
      writer.endArray();
      break;
    case Kind::model: writer.write(*getIf<ModelRef>()); break;
    case Kind::empty: writer.null(); break;
  }
}

// --- accessors --------------------------------------------------------------------------------

std::optional<JsonValue> JsonValue::getItemFromArray(std::int64_t index) const {
  const Array* array = getIf<Array>();
  if (!array || index < 0 || static_cast<std::uint64_t>(index) >= array->size()) return std::nullopt;
  return (*array)[static_cast<std::size_t>(index)];
}

std::optional<std::string> JsonValue::getString(std::string_view key) const {
  const Object* object = getIf<Object>();
  if (!object) return std::nullopt;
  auto it = object->find(key);
  if (it == object->end() || !it->second) return std::nullopt;
  return it->second->asStringValue();
}

std::optional<std::string> JsonValue::asStringValue() const {
  switch (kind()) {
    case Kind::string: return *getIf<std::string>();
    case Kind::int_: return std::to_string(*getIf<std::int64_t>());
    case Kind::double_: return formatDouble(*getIf<double>());
    case Kind::bool_: return std::string(*getIf<bool>() ? "true" : "false");
    case Kind::object: return asString();
    case Kind::array:
    case Kind::model: return std::nullopt;
    case Kind::empty: return std::string();
  }
  return std::nullopt;
}

std::optional<std::string> JsonValue::asString() const {
  EncodeResult result = encodeJson(*this);
  if (!result) return std::nullopt;
  return std::move(result).value();
}

void JsonValue::append(std::string key, std::optional<JsonValue> value) {
  if (Object* object = getIf<Object>()) object->insert_or_assign(std::move(key), std::move(value));
}

bool JsonValue::Deferred::operator==(const Deferred& other) const {
  return (chunk_ == other.chunk_ && offset_ == other.offset_) || tree() == other.tree();
}

bool operator==(const JsonValue& a, const JsonValue& b) {
  if (a.kind() != b.kind()) return false;
  const auto* keptA = std::get_if<JsonValue::kDeferred>(&a.storage_);
  const auto* keptB = std::get_if<JsonValue::kDeferred>(&b.storage_);
  if (keptA && keptB) return *keptA == *keptB;
  const JsonValue& x = a.resolved();
  const JsonValue& y = b.resolved();
  if (x.kind() == JsonValue::Kind::model) {
    const auto& p = *x.getIf<JsonValue::ModelRef>();
    const auto& q = *y.getIf<JsonValue::ModelRef>();
    if (p == q) return true;
    if (!p || !q) return false;
    EncodeResult ep = encodeJson(p);
    EncodeResult eq = encodeJson(q);
    return ep && eq && ep.value() == eq.value();
  }
  return x.storage_ == y.storage_;
}

}  // namespace tavrel
