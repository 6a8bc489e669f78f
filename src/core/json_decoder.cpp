#include "tavrel/core/json_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "core/json_internal.h"

namespace tavrel {

using detail::JsonContext;
using detail::ReadStatus;
using detail::TapeValue;
namespace dom = simdjson::dom;
namespace tape = detail::tape;

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
// What a node holds, for error texts: the number itself where there is one,
// integers (and floats that decode as integers) without a fraction.
std::string describe(const JsonNode& node) {
  const TapeValue value = JsonContext::valueOf(node);
  const std::uint64_t* words = wordsOf(value);
  switch (tape::typeOf(words[value.index])) {
    case 'l':
      return "the number " + std::to_string(tape::numberAfter<std::int64_t>(words, value.index));
    case 'u':
      return "the number " + std::to_string(tape::numberAfter<std::uint64_t>(words, value.index));
    case 'd': {
      const double d = tape::numberAfter<double>(words, value.index);
      if (integral(d)) return "the number " + std::to_string(static_cast<std::int64_t>(d));
      return "the number " + formatDouble(d);
    }
    default: return std::string(typeName(node.type()));
  }
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
  dom::document doc;              // where the parser leaves the document
  std::unique_ptr<char[]> input;  // the bytes, copied with the parser's padding
  std::size_t inputCapacity = 0;

  simdjson::error_code parse(std::string_view bytes, std::size_t readable) {
    if (readable >= bytes.size() + simdjson::SIMDJSON_PADDING) {
      return dom.parse_into_document(doc, bytes.data(), bytes.size(), false).error();
    }
    if (inputCapacity < bytes.size() || !input) {
      std::size_t capacity = std::max(bytes.size(), inputCapacity * 2);
      input = std::make_unique_for_overwrite<char[]>(capacity + simdjson::SIMDJSON_PADDING);
      inputCapacity = capacity;
    }
    if (!bytes.empty()) std::memcpy(input.get(), bytes.data(), bytes.size());
    std::memset(input.get() + bytes.size(), 0, simdjson::SIMDJSON_PADDING);
    return dom.parse_into_document(doc, input.get(), bytes.size(), false).error();
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
    if (parser->dom.capacity() <= kMaxKeptCapacity && parser->doc.capacity() <= kMaxKeptCapacity &&
        parser->inputCapacity <= kMaxKeptCapacity) {
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
    if (auto error = (*parser).parse(bytes, readable)) {
      return DecodingError(DecodingError::Kind::dataCorrupted, "",
                           std::string("the data is not valid JSON: ") +
                               simdjson::error_message(error));
    }
    JsonContext context(bytes.size());
    visit(state, context.root((*parser).doc));
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
using detail::stringsOf;
using detail::wordsOf;

// The tape word of a node, and the number in the word after it.
std::uint64_t wordOf(const TapeValue& value) noexcept { return wordsOf(value)[value.index]; }
template <class T>
T numberOf(const TapeValue& value) noexcept {
  return tape::numberAfter<T>(wordsOf(value), value.index);
}
}  // namespace

JsonNode::Type JsonNode::type() const noexcept {
  switch (tape::typeOf(wordOf(element_))) {
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

ReadStatus JsonNode::read(std::string& out) const noexcept {
  const std::uint64_t word = wordOf(element_);
  switch (tape::typeOf(word)) {
    case '"': out.assign(tape::textAt(stringsOf(element_) + tape::stringOffset(word))); return ReadStatus::ok;
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;
  }
}

ReadStatus JsonNode::read(std::int64_t& out) const noexcept {
  switch (tape::typeOf(wordOf(element_))) {
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
  switch (tape::typeOf(wordOf(element_))) {
    case 'l': out = static_cast<double>(numberOf<std::int64_t>(element_)); return ReadStatus::ok;
    case 'u': out = static_cast<double>(numberOf<std::uint64_t>(element_)); return ReadStatus::ok;
    case 'd': out = numberOf<double>(element_); return ReadStatus::ok;
    case 'n': return ReadStatus::null;
    default: return ReadStatus::mismatch;
  }
}

ReadStatus JsonNode::read(bool& out) const noexcept {
  switch (tape::typeOf(wordOf(element_))) {
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

// One of 64 bits for a key, from its length and its first, middle and last
// bytes.
std::uint64_t keyBit(std::string_view key) noexcept {
  std::uint64_t mix = key.size();
  if (!key.empty()) {
    auto byte = [&](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(key[i])}; };
    mix |= byte(0) << 8 | byte(key.size() - 1) << 16 | byte(key.size() / 2) << 24;
  }
  return std::uint64_t{1} << ((mix * 0x9E3779B97F4A7C15) >> 58);
}
}  // namespace

JsonObjectView::JsonObjectView(JsonNode node) noexcept
    : node_(node),
      words_(wordsOf(node.element_)),
      strings_(stringsOf(node.element_)),
      last_(tape::closing(words_[node.element_.index])),
      seenEnd_(node.element_.index + 1) {}

inline bool JsonObjectView::keyIs(std::size_t at, std::string_view key) const noexcept {
  const std::uint8_t* text = strings_ + tape::stringOffset(words_[at]);
  std::uint32_t length;
  std::memcpy(&length, text, sizeof length);
  return length == key.size() && sameBytes(text + sizeof length, key.data(), length);
}

// The key at `at`, whose bit is `bit`, was found by a scan from `start`: the
// first of its kind, unless an equal key stands before `start`.
std::size_t JsonObjectView::firstFrom(std::size_t at, std::size_t start, std::string_view key,
                                      std::uint64_t bit) const noexcept {
  for (; seenEnd_ < start; seenEnd_ = tape::after(words_, seenEnd_ + 1)) {
    seen_ |= keyBit(tape::textAt(strings_ + tape::stringOffset(words_[seenEnd_])));
  }
  if ((seen_ & bit) == 0) return at;
  for (std::size_t before = node_.element_.index + 1; before < start;
       before = tape::after(words_, before + 1)) {
    if (keyIs(before, key)) return before;
  }
  return at;
}

bool JsonObjectView::lookup(std::string_view key, TapeValue& out) const noexcept {
  // Straight on the tape: members are key words, each followed by its value.
  const std::size_t first = node_.element_.index + 1;
  const std::size_t start = hint_ != 0 ? hint_ : first;
  const std::uint64_t bit = keyBit(key);
  auto take = [&](std::size_t at) {
    out = TapeValue{node_.element_.doc, at + 1};
    std::size_t next = tape::after(words_, at + 1);
    found_ = at;
    hint_ = next == last_ ? 0 : next;
    // Keys read in document order join the seen keys as they are found.
    if (at == seenEnd_) {
      seen_ |= bit;
      seenEnd_ = next;
    }
    return true;
  };
  if (found_ != 0 && found_ != start && keyIs(found_, key)) {
    out = TapeValue{node_.element_.doc, found_ + 1};
    return true;
  }
  for (std::size_t at = start; at < last_; at = tape::after(words_, at + 1)) {
    if (!keyIs(at, key)) continue;
    // Mostly the keys before `start` are all seen and none is like this one.
    if (start != first && (seenEnd_ < start || (seen_ & bit) != 0)) {
      at = firstFrom(at, start, key, bit);
    }
    return take(at);
  }
  for (std::size_t at = first; at < start; at = tape::after(words_, at + 1)) {
    if (keyIs(at, key)) return take(at);
  }
  return false;
}

bool JsonObjectView::contains(std::string_view key) const noexcept {
  TapeValue unused;
  return lookup(key, unused);
}

JsonNode JsonObjectView::child(TapeValue element, std::string_view key) const {
  std::uint32_t segment = node_.context_->addKey(node_.segment_, key);
  return JsonNode(element, node_.context_, segment);
}

std::optional<JsonNode> JsonObjectView::find(std::string_view key) const {
  TapeValue element;
  if (!lookup(key, element)) return std::nullopt;
  return child(element, key);
}

JsonNode JsonObjectView::at(std::string_view key) const {
  TapeValue element;
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

std::size_t JsonObjectView::size() const {
  std::size_t n = 0;
  for (auto it = begin(), stop = end(); it != stop; ++it) ++n;
  return n;
}

JsonObjectView JsonObjectView::nestedObject(std::string_view key) const {
  return at(key).object();
}

JsonArrayView JsonObjectView::nestedArray(std::string_view key) const {
  return at(key).array();
}

JsonObjectView::Iterator JsonObjectView::begin() const {
  Iterator it(node_, node_.element_.index + 1);
  if (it.at_ < last_) it.seen_.insert(tape::textAt(strings_ + tape::stringOffset(words_[it.at_])));
  return it;
}

JsonObjectView::Iterator JsonObjectView::end() const { return Iterator(node_, last_); }

JsonObjectView::Member JsonObjectView::Iterator::operator*() const {
  const TapeValue object = parent_.element_;
  std::string_view key =
      tape::textAt(stringsOf(object) + tape::stringOffset(wordsOf(object)[at_]));
  return Member{key, JsonObjectView(parent_).child(TapeValue{object.doc, at_ + 1}, key)};
}

JsonObjectView::Iterator& JsonObjectView::Iterator::operator++() {
  const TapeValue object = parent_.element_;
  const std::uint64_t* words = wordsOf(object);
  const std::size_t last = tape::closing(words[object.index]);
  // On to the next key not seen before.
  do {
    at_ = tape::after(words, at_ + 1);
  } while (at_ < last &&
           !seen_.insert(tape::textAt(stringsOf(object) + tape::stringOffset(words[at_]))).second);
  return *this;
}

// --- JsonArrayView ------------------------------------------------------------------

std::size_t JsonArrayView::size() const noexcept {
  const std::uint32_t n = tape::count(wordOf(node_.element_));
  if (n < tape::kCountCap) return n;
  std::size_t counted = 0;
  for (auto it = begin(), stop = end(); it != stop; ++it) ++counted;
  return counted;
}

JsonArrayView::Iterator JsonArrayView::begin() const noexcept {
  return Iterator(TapeValue{node_.element_.doc, node_.element_.index + 1}, node_);
}

JsonArrayView::Iterator JsonArrayView::end() const noexcept {
  return Iterator(TapeValue{node_.element_.doc, tape::closing(wordOf(node_.element_))}, node_);
}

JsonNode JsonArrayView::Iterator::operator*() const {
  JsonContext* context = parent_.context_;
  return context->node(raw_, context->addIndex(parent_.segment_, position_));
}

JsonArrayView::Iterator& JsonArrayView::Iterator::operator++() noexcept {
  raw_.index = tape::after(wordsOf(raw_), raw_.index);
  ++position_;
  return *this;
}

}  // namespace tavrel
