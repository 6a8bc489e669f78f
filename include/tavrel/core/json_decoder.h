#pragma once
// Decoding JSON into typed records, Codable style.
//
// A record decodes itself from a read-only view of the parsed document:
//
//   static Meta decode(const JsonNode& node) {
//     auto keys = node.object();
//     Meta m;
//     m.status = keys.decode<int64_t>("status");           // required
//     m.error = keys.decodeLenient<std::string>("error");  // any failure -> absent
//     m.message = keys.decodeIfPresent<std::string>("m");  // absence only
//     return m;
//   }
//
// Record decoders throw DecodingError; only the top-level entry points
// (decodeJson) catch it. Views are valid only inside the decoding call that
// handed them out.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/core/json_value.h"

namespace tavrel {

// A refusal of the decoder, with the coding path where it happened.
class DecodingError : public std::exception {
 public:
  enum class Kind {
    keyNotFound,    // a required key is missing
    valueNotFound,  // a required value is null
    typeMismatch,   // the value has another type
    dataCorrupted,  // the bytes are no valid JSON, or a value is out of range
  };

  DecodingError(Kind kind, std::string path, std::string detail);

  Kind kind() const noexcept { return kind_; }
  // Coding path such as "data[3].author.name"; empty at the top level.
  const std::string& path() const noexcept { return path_; }
  // What was wrong, without the path.
  const std::string& detail() const noexcept { return detail_; }
  // "<kind> at <path>: <detail>".
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  Kind kind_;
  std::string path_;
  std::string detail_;
  std::string message_;
};

// The name of a kind, as in the enumeration ("keyNotFound", ...).
std::string_view toString(DecodingError::Kind kind) noexcept;

class JsonObjectView;
class JsonArrayView;

namespace detail {
class JsonContext;
// A value of a parsed document: the document, and where the value's word
// stands on the document's tape (see src/core/json_tape.h).
struct TapeValue {
  const void* doc = nullptr;
  std::size_t index = 0;
};
// Outcome of a primitive read that does not throw.
enum class ReadStatus : std::uint8_t { ok, null, mismatch };
}  // namespace detail

// A cheap-to-copy, read-only view of one value of a parsed document, with the
// coding path that leads to it.
class JsonNode {
 public:
  enum class Type { null, boolean, integer, number, string, array, object };

  Type type() const noexcept;
  bool isNull() const noexcept { return type() == Type::null; }
  // Coding path of this node ("" for the document root).
  std::string path() const;

  // Decodes this node as T (see decodeJson for the supported types).
  template <class T>
  T decode() const;
  // Decodes this node as T, or nullopt on any failure.
  template <class T>
  std::optional<T> tryDecode() const noexcept;

  // Keyed view of this node; throws valueNotFound on null, typeMismatch on
  // anything but an object.
  JsonObjectView object() const;
  // Elements of this node; same failures as object().
  JsonArrayView array() const;

  // Throws a DecodingError located at this node.
  [[noreturn]] void fail(DecodingError::Kind kind, std::string detail) const;

  // Primitive reads without exceptions; used by the templates below.
  detail::ReadStatus read(std::string& out) const noexcept;
  detail::ReadStatus read(std::int64_t& out) const noexcept;
  detail::ReadStatus read(double& out) const noexcept;
  detail::ReadStatus read(bool& out) const noexcept;

 private:
  friend class JsonObjectView;
  friend class JsonArrayView;
  friend class detail::JsonContext;
  friend class JsonValue;
  JsonNode(detail::TapeValue element, detail::JsonContext* context,
           std::uint32_t segment) noexcept
      : element_(element), context_(context), segment_(segment) {}

  detail::TapeValue element_;
  detail::JsonContext* context_ = nullptr;
  std::uint32_t segment_ = 0;  // this node's entry in the context's path table
};

// Keyed view of a JSON object.
//
// Repeated keys: of the members with one key, the first in the document is
// the one every reader gets, whatever order it reads keys in: the lookups
// here, iteration (which skips the later ones), JsonValue, and the kept trees.
class JsonObjectView {
 public:
  // Whether the key is present (even with a null value).
  bool contains(std::string_view key) const noexcept;
  // The value under `key`, or nullopt if the key is missing.
  std::optional<JsonNode> find(std::string_view key) const;
  // The value under `key`; throws keyNotFound if it is missing.
  JsonNode at(std::string_view key) const;
  // The number of members, a repeated key counted once.
  std::size_t size() const;

  // Required read: missing key -> keyNotFound, null -> valueNotFound (JsonValue
  // takes null as its empty case), wrong type -> typeMismatch.
  template <class T>
  T decode(std::string_view key) const;
  // Missing key or null -> nullopt; a wrong type still throws.
  template <class T>
  std::optional<T> decodeIfPresent(std::string_view key) const;
  // Any failure -> nullopt. Never throws; primitives cost no exception.
  template <class T>
  std::optional<T> decodeLenient(std::string_view key) const noexcept;

  // The same required and absence-tolerant reads into a field the caller
  // already has, with nothing moved: a text is written where it will stay.
  // decodeIfPresent resets `out` when the key is missing or null. After a
  // throw, `out` holds some valid value.
  template <class T>
  void decode(std::string_view key, T& out) const;
  template <class T>
  void decodeIfPresent(std::string_view key, std::optional<T>& out) const;
  // The lenient read into `out`: false on any failure, with `out` as it was
  // for primitives (and some valid value for other types). Never throws.
  template <class T>
  bool decodeLenient(std::string_view key, T& out) const noexcept;

  // The object under `key` (required).
  JsonObjectView nestedObject(std::string_view key) const;
  // The array under `key` (required).
  JsonArrayView nestedArray(std::string_view key) const;

  // The node of the object itself.
  const JsonNode& node() const noexcept { return node_; }

  // Members in document order, each key once.
  struct Member {
    std::string_view key;
    JsonNode value;
  };
  class Iterator {
   public:
    using value_type = Member;
    using difference_type = std::ptrdiff_t;
    Member operator*() const;
    Iterator& operator++();
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a.at_ == b.at_;
    }

   private:
    friend class JsonObjectView;
    Iterator(JsonNode parent, std::size_t at) : parent_(parent), at_(at) {}
    JsonNode parent_;
    std::size_t at_;  // the member's key word
    std::unordered_set<std::string_view> seen_;
  };
  Iterator begin() const;
  Iterator end() const;

 private:
  friend class JsonNode;
  explicit JsonObjectView(JsonNode node) noexcept;
  // Child node under `key`, registered in the path table.
  JsonNode child(detail::TapeValue element, std::string_view key) const;
  bool lookup(std::string_view key, detail::TapeValue& out) const noexcept;
  bool keyIs(std::size_t at, std::string_view key) const noexcept;
  std::size_t firstFrom(std::size_t at, std::size_t start, std::string_view key,
                        std::uint64_t bit) const noexcept;
  [[noreturn]] void failAt(std::string_view key, DecodingError::Kind kind,
                           std::string detail) const;
  // keyNotFound for `key`.
  [[noreturn]] void failMissing(std::string_view key) const;
  template <class T>
  T decodeFound(detail::TapeValue element, std::string_view key) const;
  template <class T>
  void decodeFoundInto(detail::TapeValue element, std::string_view key, T& out) const;

  JsonNode node_;
  // The document's words and strings, and the index of the closing word,
  // looked up once for all lookups.
  const std::uint64_t* words_;
  const std::uint8_t* strings_;
  std::size_t last_;
  // Lookup hints. Records read their keys mostly in document order, so a
  // lookup starts just after the key found last (hint_, 0 for the first
  // key) and wraps around; a key read twice in a row is found again at
  // found_ (0: none yet) without a scan. A key found past the hint may also
  // stand before it: seen_ has one bit per key before seenEnd_ (a hash of
  // its length and end bytes), and only when the bit is set are those keys
  // scanned for an earlier one.
  mutable std::size_t hint_ = 0;
  mutable std::size_t found_ = 0;
  mutable std::size_t seenEnd_;
  mutable std::uint64_t seen_ = 0;
};

// The elements of a JSON array, each with its indexed path.
class JsonArrayView {
 public:
  std::size_t size() const noexcept;
  bool empty() const noexcept { return size() == 0; }

  class Iterator {
   public:
    using value_type = JsonNode;
    using difference_type = std::ptrdiff_t;
    JsonNode operator*() const;
    Iterator& operator++() noexcept;
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a.raw_.index == b.raw_.index;
    }

   private:
    friend class JsonArrayView;
    Iterator(detail::TapeValue raw, JsonNode parent) noexcept : raw_(raw), parent_(parent) {}
    detail::TapeValue raw_;
    JsonNode parent_;
    std::uint32_t position_ = 0;
  };
  Iterator begin() const noexcept;
  Iterator end() const noexcept;

  // Decodes every element as T; a failing element fails the whole array.
  template <class T>
  std::vector<T> decode() const;

  const JsonNode& node() const noexcept { return node_; }

 private:
  friend class JsonNode;
  explicit JsonArrayView(JsonNode node) noexcept : node_(node) {}
  JsonNode node_;
};

// ---------------------------------------------------------------------------
// Outcome of a top-level decode: the value or the error.

template <class T>
class DecodeResult {
 public:
  DecodeResult(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  DecodeResult(DecodingError error) : state_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }
  // The value; only when ok().
  T& value() & { return std::get<0>(state_); }
  const T& value() const& { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  // The error; only when !ok().
  const DecodingError& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, DecodingError> state_;
};

namespace detail {

template <class T>
struct IsVector : std::false_type {};
template <class T, class A>
struct IsVector<std::vector<T, A>> : std::true_type {};
template <class T>
struct IsSharedPtr : std::false_type {};
template <class T>
struct IsSharedPtr<std::shared_ptr<T>> : std::true_type {};

template <class T>
concept HasStaticDecode = requires(const JsonNode& n) {
  { T::decode(n) };
};
template <class T>
concept Primitive = std::is_same_v<T, std::string> || std::is_same_v<T, bool> ||
                    std::is_arithmetic_v<T>;

std::string_view typeName(JsonNode::Type type) noexcept;
[[noreturn]] void failRead(const JsonNode& node, ReadStatus status,
                           std::string_view wanted);
[[noreturn]] void failRange(const JsonNode& node, std::int64_t value);

// Reads a primitive without throwing; `ok` on success. `out` is written only on
// success.
template <Primitive T>
ReadStatus readPrimitive(const JsonNode& node, T& out) noexcept {
  if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, bool> ||
                std::is_same_v<T, double> || std::is_same_v<T, std::int64_t>) {
    return node.read(out);
  } else if constexpr (std::is_floating_point_v<T>) {
    double d = 0;
    ReadStatus s = node.read(d);
    if (s == ReadStatus::ok) out = static_cast<T>(d);
    return s;
  } else {
    std::int64_t v = 0;
    ReadStatus s = node.read(v);
    if (s != ReadStatus::ok) return s;
    if (!std::in_range<T>(v)) return ReadStatus::mismatch;
    out = static_cast<T>(v);
    return s;
  }
}

// Throws the error of a failed primitive read of `node` as T.
template <Primitive T>
[[noreturn]] void failPrimitive(const JsonNode& node, ReadStatus status) {
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool> &&
                !std::is_same_v<T, std::int64_t>) {
    std::int64_t wide = 0;
    if (node.read(wide) == ReadStatus::ok) failRange(node, wide);
  }
  failRead(node, status, std::is_same_v<T, std::string> ? "a string"
                         : std::is_same_v<T, bool>      ? "a boolean"
                         : std::is_floating_point_v<T>  ? "a number"
                                                        : "an integer");
}

template <class T>
T decodeNode(const JsonNode& node);

// Converts to the decoded T, so that emplace_back and make_shared build the
// value in place rather than moving a decoded one in.
template <class T>
struct DecodedElement {
  const JsonNode& node;
  operator T() const { return decodeNode<T>(node); }
};

template <class T>
T decodeNode(const JsonNode& node) {
  if constexpr (Primitive<T>) {
    T out{};
    ReadStatus s = readPrimitive(node, out);
    if (s != ReadStatus::ok) failPrimitive<T>(node, s);
    return out;
  } else if constexpr (std::is_same_v<T, JsonValue>) {
    return JsonValue::decode(node);
  } else if constexpr (IsVector<T>::value) {
    return node.array().template decode<typename T::value_type>();
  } else if constexpr (IsSharedPtr<T>::value) {
    using E = typename T::element_type;
    if constexpr (HasStaticDecode<E>) {
      using R = decltype(E::decode(node));
      if constexpr (IsSharedPtr<R>::value) {
        return E::decode(node);
      } else {
        return std::make_shared<E>(DecodedElement<E>{node});
      }
    } else {
      static_assert(std::is_constructible_v<E, const JsonNode&>,
                    "a record needs static decode(const JsonNode&) or a decode constructor");
      return std::make_shared<E>(node);
    }
  } else if constexpr (HasStaticDecode<T>) {
    return T::decode(node);
  } else {
    static_assert(std::is_constructible_v<T, const JsonNode&>,
                  "a record needs static decode(const JsonNode&) or a decode constructor");
    return T(node);
  }
}

// Parses `bytes` and calls visit(state, root) inside the document. Returns the
// DecodingError thrown by the visitor or by parsing, if any. Never throws.
// `readable` is how many bytes from bytes.data() may be read: with enough of
// them past the end the parser reads the bytes where they are, else it copies.
using RootVisitor = void (*)(void* state, const JsonNode& root);
std::optional<DecodingError> visitJson(std::string_view bytes, std::size_t readable,
                                       RootVisitor visit, void* state) noexcept;

template <class T>
DecodeResult<T> decodeJsonIn(std::string_view bytes, std::size_t readable) {
  std::optional<T> out;
  auto visit = [](void* state, const JsonNode& root) {
    static_cast<std::optional<T>*>(state)->emplace(root.decode<T>());
  };
  if (auto error = visitJson(bytes, readable, visit, &out)) return std::move(*error);
  return std::move(*out);
}

}  // namespace detail

template <class T>
T JsonNode::decode() const {
  return detail::decodeNode<T>(*this);
}

template <class T>
std::optional<T> JsonNode::tryDecode() const noexcept {
  if constexpr (detail::Primitive<T>) {
    T out{};
    if (detail::readPrimitive(*this, out) != detail::ReadStatus::ok) return std::nullopt;
    return out;
  } else {
    try {
      return detail::decodeNode<T>(*this);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }
}

template <class T>
T JsonObjectView::decodeFound(detail::TapeValue element, std::string_view key) const {
  if constexpr (std::is_same_v<T, JsonValue>) {
    // Never fails, so needs no path.
    return JsonValue::decode(JsonNode(element, node_.context_, node_.segment_));
  } else if constexpr (detail::Primitive<T>) {
    T out{};
    decodeFoundInto(element, key, out);
    return out;
  } else {
    return detail::decodeNode<T>(child(element, key));
  }
}

template <class T>
void JsonObjectView::decodeFoundInto(detail::TapeValue element, std::string_view key,
                                     T& out) const {
  if constexpr (std::is_same_v<T, JsonValue>) {
    JsonValue::decode(JsonNode(element, node_.context_, node_.segment_), out);
  } else if constexpr (detail::Primitive<T>) {
    // Primitives need a path only when they fail.
    JsonNode probe(element, node_.context_, node_.segment_);
    detail::ReadStatus s = detail::readPrimitive(probe, out);
    if (s != detail::ReadStatus::ok) detail::failPrimitive<T>(child(element, key), s);
  } else {
    out = detail::decodeNode<T>(child(element, key));
  }
}

template <class T>
T JsonObjectView::decode(std::string_view key) const {
  detail::TapeValue element;
  if (!lookup(key, element)) {
    failMissing(key);
  }
  return decodeFound<T>(element, key);
}

template <class T>
std::optional<T> JsonObjectView::decodeIfPresent(std::string_view key) const {
  detail::TapeValue element;
  if (!lookup(key, element)) return std::nullopt;
  if (JsonNode(element, node_.context_, node_.segment_).isNull()) return std::nullopt;
  return decodeFound<T>(element, key);
}

template <class T>
void JsonObjectView::decode(std::string_view key, T& out) const {
  detail::TapeValue element;
  if (!lookup(key, element)) {
    failMissing(key);
  }
  decodeFoundInto(element, key, out);
}

template <class T>
void JsonObjectView::decodeIfPresent(std::string_view key, std::optional<T>& out) const {
  detail::TapeValue element;
  if (!lookup(key, element) || JsonNode(element, node_.context_, node_.segment_).isNull()) {
    out.reset();
    return;
  }
  if (!out) out.emplace();
  decodeFoundInto(element, key, *out);
}

template <class T>
bool JsonObjectView::decodeLenient(std::string_view key, T& out) const noexcept {
  detail::TapeValue element;
  if (!lookup(key, element)) return false;
  if constexpr (detail::Primitive<T>) {
    JsonNode probe(element, node_.context_, node_.segment_);
    return detail::readPrimitive(probe, out) == detail::ReadStatus::ok;
  } else {
    try {
      out = detail::decodeNode<T>(child(element, key));
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }
}

template <class T>
std::optional<T> JsonObjectView::decodeLenient(std::string_view key) const noexcept {
  if constexpr (detail::Primitive<T>) {
    // One object, filled in place and returned as it is.
    std::optional<T> out(std::in_place);
    if (!decodeLenient(key, *out)) out.reset();
    return out;
  } else {
    detail::TapeValue element;
    if (!lookup(key, element)) return std::nullopt;
    try {
      return detail::decodeNode<T>(child(element, key));
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }
}

template <class T>
std::vector<T> JsonArrayView::decode() const {
  std::vector<T> out;
  out.reserve(size());
  for (JsonNode element : *this) out.emplace_back(detail::DecodedElement<T>{element});
  return out;
}

// Decodes a whole JSON text as T. T is std::string, an integer type, double,
// bool, JsonValue, a record with static T::decode(const JsonNode&) (or a
// constructor from const JsonNode&), or std::vector / std::shared_ptr of
// those. Never throws: malformed bytes (invalid UTF-8, truncation, trailing
// garbage, nesting deeper than 1024) give dataCorrupted.
template <class T>
DecodeResult<T> decodeJson(std::string_view bytes) {
  return detail::decodeJsonIn<T>(bytes, bytes.size());
}

// The same for a string; one with 64 bytes of spare capacity is parsed where
// it is, without a copy.
template <class T, class S>
  requires std::same_as<S, std::string>
DecodeResult<T> decodeJson(const S& bytes) {
  return detail::decodeJsonIn<T>(bytes, bytes.capacity());
}

}  // namespace tavrel
