#include "tavrel/core/json_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "core/json_internal.h"

namespace tavrel {

using detail::fromRaw;
using detail::JsonContext;
using detail::RawElement;
using detail::ReadStatus;
using detail::toRaw;
namespace dom = simdjson::dom;

// --- DecodingError -----------------------------------------------------------

std::string_view toString(DecodingError::Kind kind) noexcept {
  switch (kind) {
    case DecodingError::Kind::keyNotFound: return "keyNotFound";
    case DecodingError::Kind::valueNotFound: return "valueNotFound";
    case DecodingError::Kind::typeMismatch: return "typeMismatch";
    case DecodingError::Kind::dataCorrupted: return "dataCorrupted";
  }
  return "unknown";
}

DecodingError::DecodingError(Kind kind, std::string path, std::string detail)
    : kind_(kind), path_(std::move(path)), detail_(std::move(detail)) {
  message_.append(toString(kind_));
  message_.append(" at ");
  message_.append(path_.empty() ? std::string_view("the top level") : std::string_view(path_));
  message_.append(": ");
  message_.append(detail_);
}

// --- path table --------------------------------------------------------------

namespace detail {

std::uint32_t JsonContext::addKey(std::uint32_t parent, std::string_view key) {
  segments_.push_back({parent, static_cast<std::uint32_t>(keys_.size()),
                       static_cast<std::uint32_t>(key.size()), kNoIndex});
  keys_.append(key);
  return static_cast<std::uint32_t>(segments_.size() - 1);
}

std::uint32_t JsonContext::addIndex(std::uint32_t parent, std::uint32_t index) {
  segments_.push_back({parent, 0, 0, index});
  return static_cast<std::uint32_t>(segments_.size() - 1);
}

std::string JsonContext::path(std::uint32_t segment) const {
  std::vector<std::uint32_t> chain;
  for (std::uint32_t s = segment; s != 0; s = segments_[s].parent) chain.push_back(s);
  std::string out;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    const Segment& seg = segments_[*it];
    if (seg.index != kNoIndex) {
      out += '[';
      out += std::to_string(seg.index);
      out += ']';
    } else {
      if (!out.empty()) out += '.';
      out.append(keys_, seg.keyOffset, seg.keyLength);
    }
  }
  return out;
}

std::string JsonContext::pathWithKey(std::uint32_t segment, std::string_view key) const {
  std::string out = path(segment);
  if (!out.empty()) out += '.';
  out.append(key);
  return out;
}

std::string_view typeName(JsonNode::Type type) noexcept {
  switch (type) {
    case JsonNode::Type::null: return "null";
    case JsonNode::Type::boolean: return "a boolean";
    case JsonNode::Type::integer: return "an integer";
    case JsonNode::Type::number: return "a number";
    case JsonNode::Type::string: return "a string";
    case JsonNode::Type::array: return "an array";
    case JsonNode::Type::object: return "an object";
  }
  return "unknown";
}

namespace {
// What a node holds, for error texts: the number itself where there is one.
std::string describe(const JsonNode& node) {
  double d = 0;
  if (node.type() == JsonNode::Type::number || node.type() == JsonNode::Type::integer) {
    if (node.read(d) == ReadStatus::ok) return "the number " + formatDouble(d);
  }
  return std::string(typeName(node.type()));
}
}  // namespace

void failRead(const JsonNode& node, ReadStatus status, std::string_view wanted) {
  if (status == ReadStatus::null) {
    node.fail(DecodingError::Kind::valueNotFound,
              "expected " + std::string(wanted) + ", found null");
  }
  node.fail(DecodingError::Kind::typeMismatch,
            "expected " + std::string(wanted) + ", found " + describe(node));
}

void failRange(const JsonNode& node, std::int64_t value) {
  node.fail(DecodingError::Kind::dataCorrupted,
            "the number " + std::to_string(value) + " does not fit the integer type");
}

// --- parsing -------------------------------------------------------------------

namespace {

// Parsers are reused per thread, each with a padded input buffer of its own;
// a stack, since a record decoder may decode another text while its own
// document is open.
constexpr std::size_t kMaxKeptCapacity = std::size_t{64} << 20;

struct Parser {
  dom::parser dom;
  std::unique_ptr<char[]> input;  // the bytes, copied with the parser's padding
  std::size_t inputCapacity = 0;

  simdjson::error_code parse(std::string_view bytes, std::size_t readable, dom::element& root) {
    if (readable >= bytes.size() + simdjson::SIMDJSON_PADDING) {
      return dom.parse(bytes.data(), bytes.size(), false).get(root);
    }
    if (inputCapacity < bytes.size() || !input) {
      std::size_t capacity = std::max(bytes.size(), inputCapacity * 2);
      input = std::make_unique_for_overwrite<char[]>(capacity + simdjson::SIMDJSON_PADDING);
      inputCapacity = capacity;
    }
    if (!bytes.empty()) std::memcpy(input.get(), bytes.data(), bytes.size());
    std::memset(input.get() + bytes.size(), 0, simdjson::SIMDJSON_PADDING);
    return dom.parse(input.get(), bytes.size(), false).get(root);
  }
};

struct ParserPool {
  std::vector<std::unique_ptr<Parser>> idle;

  std::unique_ptr<Parser> take() {
    if (idle.empty()) return std::make_unique<Parser>();
    auto parser = std::move(idle.back());
    idle.pop_back();
    return parser;
  }
  void give(std::unique_ptr<Parser> parser) {
    // A parser that grew for a huge document is not worth keeping.
    if (parser->dom.capacity() <= kMaxKeptCapacity && parser->inputCapacity <= kMaxKeptCapacity) {
      idle.push_back(std::move(parser));
    }
  }
};

thread_local ParserPool pool;

class PooledParser {
 public:
  PooledParser() : parser_(pool.take()) {}
  ~PooledParser() {
    try {
      pool.give(std::move(parser_));
    } catch (...) {  // out of memory: drop the parser
    }
  }
  PooledParser(const PooledParser&) = delete;
  PooledParser& operator=(const PooledParser&) = delete;
  Parser& operator*() { return *parser_; }

 private:
  std::unique_ptr<Parser> parser_;
};

}  // namespace

std::optional<DecodingError> visitJson(std::string_view bytes, std::size_t readable,
                                       RootVisitor visit, void* state) noexcept {
  try {
    PooledParser parser;
    dom::element root;
    if (auto error = (*parser).parse(bytes, readable, root)) {
      return DecodingError(DecodingError::Kind::dataCorrupted, "",
                           std::string("the data is not valid JSON: ") +
                               simdjson::error_message(error));
    }
    JsonContext context(bytes.size());
    visit(state, context.root(root));
    return std::nullopt;
  } catch (DecodingError& error) {
    return std::move(error);
  } catch (const std::exception& error) {
    return DecodingError(DecodingError::Kind::dataCorrupted, "", error.what());
  } catch (...) {
    return DecodingError(DecodingError::Kind::dataCorrupted, "", "unknown failure");
  }
}

}  // namespace detail

// --- JsonNode --------------------------------------------------------------------

namespace {
// The tape word of a node, and the number in the word after it.
std::uint64_t wordOf(const RawElement& raw) noexcept {
  return detail::tape::wordsOf(raw)[raw.index];
}
template <class T>
T numberOf(const RawElement& raw) noexcept {
  T value;
  std::memcpy(&value, detail::tape::wordsOf(raw) + raw.index + 1, sizeof value);
  return value;
}
}  // namespace

JsonNode::Type JsonNode::type() const noexcept {
  switch (detail::tape::typeOf(wordOf(element_))) {
    case '[': return Type::array;
    case '{': return Type::object;
    case 'l':
    case 'u': return Type::integer;
    case 'd': return Type::number;
    case '"': return Type::string;
    case 't':
    case 'f': return Type::boolean;
    default: return Type::null;
  }
}

std::string JsonNode::path() const { return context_->path(segment_); }

void JsonNode::fail(DecodingError::Kind kind, std::string detail) const {
  throw DecodingError(kind, path(), std::move(detail));
}

// Primitive reads go straight to the tape word.

ReadStatus JsonNode::read(std::string& out) const noexcept {
  const std::uint64_t word = wordOf(element_);
  switch (detail::tape::typeOf(word)) {
    case '"': {
      const std::uint8_t* text =
          detail::tape::stringsOf(element_) + (word & detail::tape::kPayloadMask);
      std::uint32_t length;
      std::memcpy(&length, text, sizeof length);
      out.assign(reinterpret_cast<const char*>(text + sizeof length), length);
      return ReadStatus::ok;
    }
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;
  }
}

ReadStatus JsonNode::read(std::int64_t& out) const noexcept {
  switch (detail::tape::typeOf(wordOf(element_))) {
    case 'l':
      out = numberOf<std::int64_t>(element_);
      return ReadStatus::ok;
    case 'd': {
      // A number with no fraction that fits reads as an integer (1.0, 1e3).
      double d = numberOf<double>(element_);
      if (!detail::integral(d)) return ReadStatus::mismatch;
      out = static_cast<std::int64_t>(d);
      return ReadStatus::ok;
    }
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;  // beyond int64 too
  }
}

ReadStatus JsonNode::read(double& out) const noexcept {
  switch (detail::tape::typeOf(wordOf(element_))) {
    case 'l': out = static_cast<double>(numberOf<std::int64_t>(element_)); return ReadStatus::ok;
    case 'u': out = static_cast<double>(numberOf<std::uint64_t>(element_)); return ReadStatus::ok;
    case 'd': out = numberOf<double>(element_); return ReadStatus::ok;
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;
  }
}

ReadStatus JsonNode::read(bool& out) const noexcept {
  switch (detail::tape::typeOf(wordOf(element_))) {
    case 't': out = true; return ReadStatus::ok;
    case 'f': out = false; return ReadStatus::ok;
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;
  }
}

JsonObjectView JsonNode::object() const {
  Type t = type();
  if (t != Type::object) detail::failRead(*this, t == Type::null ? ReadStatus::null : ReadStatus::mismatch, "an object");
  return JsonObjectView(*this);
}

JsonArrayView JsonNode::array() const {
  Type t = type();
  if (t != Type::array) detail::failRead(*this, t == Type::null ? ReadStatus::null : ReadStatus::mismatch, "an array");
  return JsonArrayView(*this);
}

// --- JsonObjectView -----------------------------------------------------------------

namespace {
dom::object objectOf(const RawElement& raw) {
  // Only made from nodes checked to be objects.
  return fromRaw<dom::element>(raw).get_object().value_unsafe();
}
dom::array arrayOf(const RawElement& raw) {
  return fromRaw<dom::element>(raw).get_array().value_unsafe();
}
}  // namespace

namespace {
template <class W>
W loadAt(const void* at) noexcept {
  W word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// Whether n bytes at a and b are equal. Keys are short: up to 16 bytes take
// two loads of each side that may overlap, never one past the end.
bool sameBytes(const void* a, const void* b, std::size_t n) noexcept {
  auto x = static_cast<const char*>(a);
  auto y = static_cast<const char*>(b);
  if (n >= 8 && n <= 16) {
    return loadAt<std::uint64_t>(x) == loadAt<std::uint64_t>(y) &&
           loadAt<std::uint64_t>(x + n - 8) == loadAt<std::uint64_t>(y + n - 8);
  }
  if (n >= 4 && n < 8) {
    return loadAt<std::uint32_t>(x) == loadAt<std::uint32_t>(y) &&
           loadAt<std::uint32_t>(x + n - 4) == loadAt<std::uint32_t>(y + n - 4);
  }
  return std::memcmp(x, y, n) == 0;
}
}  // namespace

JsonObjectView::JsonObjectView(JsonNode node) noexcept
    : node_(node),
      words_(detail::tape::wordsOf(node.element_)),
      strings_(detail::tape::stringsOf(node.element_)),
      last_(detail::tape::after(words_, node.element_.index) - 1) {}

bool JsonObjectView::lookup(std::string_view key, RawElement& out) const noexcept {
  // Straight on the tape: members are key words, each followed by its value.
  const std::uint64_t* words = words_;
  const std::uint8_t* strings = strings_;
  const std::size_t first = node_.element_.index + 1;
  const std::size_t last = last_;  // the '}'
  const std::size_t start = hint_ != 0 ? hint_ : first;
  auto matches = [&](std::size_t at) {
    const std::uint8_t* text = strings + (words[at] & detail::tape::kPayloadMask);
    std::uint32_t length;
    std::memcpy(&length, text, sizeof length);
    return length == key.size() && sameBytes(text + sizeof length, key.data(), length);
  };
  auto take = [&](std::size_t at) {
    out = RawElement{node_.element_.doc, at + 1};
    std::size_t next = detail::tape::after(words, at + 1);
    found_ = at;
    hint_ = next == last ? 0 : next;
    return true;
  };
  // A record that reads one key two ways (as text, else as a number) asks
  // for the key it found last: that needs no scan.
  if (found_ != 0 && found_ != start && matches(found_)) {
    out = RawElement{node_.element_.doc, found_ + 1};
    return true;
  }
  for (std::size_t at = start; at < last; at = detail::tape::after(words, at + 1)) {
    if (matches(at)) return take(at);
  }
  for (std::size_t at = first; at < start; at = detail::tape::after(words, at + 1)) {
    if (matches(at)) return take(at);
  }
  return false;
}

bool JsonObjectView::contains(std::string_view key) const noexcept {
  RawElement unused;
  return lookup(key, unused);
}

JsonNode JsonObjectView::child(RawElement element, std::string_view key) const {
  std::uint32_t segment = node_.context_->addKey(node_.segment_, key);
  return JsonNode(element, node_.context_, segment);
}

std::optional<JsonNode> JsonObjectView::find(std::string_view key) const {
  RawElement element;
  if (!lookup(key, element)) return std::nullopt;
  return child(element, key);
}

JsonNode JsonObjectView::at(std::string_view key) const {
  RawElement element;
  if (!lookup(key, element)) {
    failMissing(key);
  }
  return child(element, key);
}

void JsonObjectView::failMissing(std::string_view key) const {
  failAt(key, DecodingError::Kind::keyNotFound, "no value for key \"" + std::string(key) + "\"");
}

void JsonObjectView::failAt(std::string_view key, DecodingError::Kind kind,
                            std::string detail) const {
  throw DecodingError(kind, node_.context_->pathWithKey(node_.segment_, key), std::move(detail));
}

std::size_t JsonObjectView::size() const noexcept {
  dom::object o = objectOf(node_.element_);
  std::size_t n = o.size();
  if (n < 0xFFFFFF) return n;
  n = 0;  // the stored count saturates: count by hand
  for (auto it = o.begin(); it != o.end(); ++it) ++n;
  return n;
}

JsonObjectView JsonObjectView::nestedObject(std::string_view key) const {
  return at(key).object();
}

JsonArrayView JsonObjectView::nestedArray(std::string_view key) const {
  return at(key).array();
}

JsonObjectView::Iterator JsonObjectView::begin() const noexcept {
  return Iterator(toRaw(objectOf(node_.element_).begin()), node_);
}

JsonObjectView::Iterator JsonObjectView::end() const noexcept {
  return Iterator(toRaw(objectOf(node_.element_).end()), node_);
}

JsonObjectView::Member JsonObjectView::Iterator::operator*() const {
  auto it = fromRaw<dom::object::iterator>(raw_);
  std::string_view key = it.key();
  return Member{key, JsonObjectView(parent_).child(toRaw(it.value()), key)};
}

JsonObjectView::Iterator& JsonObjectView::Iterator::operator++() noexcept {
  auto it = fromRaw<dom::object::iterator>(raw_);
  ++it;
  raw_ = toRaw(it);
  return *this;
}

// --- JsonArrayView ------------------------------------------------------------------

std::size_t JsonArrayView::size() const noexcept {
  dom::array a = arrayOf(node_.element_);
  std::size_t n = a.size();
  if (n < 0xFFFFFF) return n;
  n = 0;
  for (auto it = a.begin(); it != a.end(); ++it) ++n;
  return n;
}

JsonArrayView::Iterator JsonArrayView::begin() const noexcept {
  return Iterator(toRaw(arrayOf(node_.element_).begin()), node_);
}

JsonArrayView::Iterator JsonArrayView::end() const noexcept {
  return Iterator(toRaw(arrayOf(node_.element_).end()), node_);
}

JsonNode JsonArrayView::Iterator::operator*() const {
  auto it = fromRaw<dom::array::iterator>(raw_);
  JsonContext* context = parent_.context_;
  return context->node(*it, context->addIndex(parent_.segment_, position_));
}

JsonArrayView::Iterator& JsonArrayView::Iterator::operator++() noexcept {
  auto it = fromRaw<dom::array::iterator>(raw_);
  ++it;
  raw_ = toRaw(it);
  ++position_;
  return *this;
}

}  // namespace tavrel
