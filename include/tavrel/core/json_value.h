#pragma once
// JsonValue: the untyped JSON tree, and Model: the root of the record family
// that can stand inside one.

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tavrel {

class JsonNode;
class JsonWriter;
class JsonValue;
namespace detail {
struct JsonObjectAccess;
struct TreeChunk;
class TreeStore;
}

// The members of a JSON object: a small flat map from text to optional
// JsonValue with unique keys. Lookups scan the members, which beats hashing for
// the few members objects have in practice; one allocation holds them all.
// The map is unordered: no operation, equality included, depends on the order
// of its keys. Iteration yields pairs (.first is the key, .second the value);
// a key must not be changed through an iterator.
class JsonObject {
 public:
  using key_type = std::string;
  using mapped_type = std::optional<JsonValue>;
  using value_type = std::pair<std::string, std::optional<JsonValue>>;
  using Members = std::vector<value_type>;
  using iterator = Members::iterator;
  using const_iterator = Members::const_iterator;
  using size_type = std::size_t;

  JsonObject() noexcept = default;
  // Of a repeated key, the first entry is kept.
  JsonObject(std::initializer_list<value_type> members);

  iterator begin() noexcept;
  iterator end() noexcept;
  const_iterator begin() const noexcept;
  const_iterator end() const noexcept;
  size_type size() const noexcept;
  bool empty() const noexcept;
  void reserve(size_type count);
  void clear() noexcept;

  // The entry of `key`, or end().
  iterator find(std::string_view key) noexcept;
  const_iterator find(std::string_view key) const noexcept;
  bool contains(std::string_view key) const noexcept;
  // 1 if `key` is present, else 0 (as std::map counts).
  size_type count(std::string_view key) const noexcept { return contains(key) ? 1 : 0; }
  // The value of `key`; throws std::out_of_range if it is missing.
  mapped_type& at(std::string_view key);
  const mapped_type& at(std::string_view key) const;
  // The value of `key`, inserting an absent value if it is missing.
  mapped_type& operator[](std::string_view key);

  // Inserts `key` with a value made of `args` unless the key is present; the
  // bool tells whether it was inserted.
  template <class... Args>
  std::pair<iterator, bool> try_emplace(std::string key, Args&&... args);
  template <class V>
  std::pair<iterator, bool> emplace(std::string key, V&& value) {
    return try_emplace(std::move(key), std::forward<V>(value));
  }
  // Sets `key` to `value`, replacing an entry; the bool tells whether it was new.
  std::pair<iterator, bool> insert_or_assign(std::string key, mapped_type value);
  // Removes the entry of `key`; the number of entries removed (0 or 1).
  size_type erase(std::string_view key);
  // Removes one entry; the iterator after it.
  iterator erase(const_iterator position);

  // The same keys with equal values, in any order.
  friend bool operator==(const JsonObject& a, const JsonObject& b);

 private:
  friend struct detail::JsonObjectAccess;
  Members members_;
};

// Root class of the records the service sends (Person, Admin, Message). It has
// no state; a bare Model encodes as the empty object {}.
class Model {
 public:
  Model() = default;
  // Decode constructor: reads nothing and never fails.
  explicit Model(const JsonNode& from);
  virtual ~Model() = default;

  // Writes the record as a JSON object; the base class writes {}.
  virtual void encode(JsonWriter& writer) const;

 protected:
  Model(const Model&) = default;
  Model(Model&&) = default;
  Model& operator=(const Model&) = default;
  Model& operator=(Model&&) = default;
};

// The untyped JSON tree: a tagged value with eight cases, in this order.
// Decoding it never fails on well-formed JSON.
//
// A decoded object or array is kept in its parsed form until something first
// reads it, then built with all of its levels at once (kept trees, see
// src/core/json_trees.h). None of this shows: every operation sees the same
// value, and reading one value from several threads at once is safe, as for
// any other value. Changing it (through the non-const getIf or append) first
// builds it.
class JsonValue {
 public:
  // Map values are optional: an absent value (only `append` makes one) and
  // `empty` differ in memory and both encode as null.
  using Object = JsonObject;
  using Array = std::vector<JsonValue>;
  using ModelRef = std::shared_ptr<Model>;
  struct Empty {
    friend bool operator==(Empty, Empty) { return true; }
  };

  // The cases; the trailing underscore avoids the C++ keywords.
  enum class Kind { string, int_, double_, bool_, object, array, model, empty };

  JsonValue() noexcept : storage_(Empty{}) {}  // the `empty` case
  // Out of line: keeps the variant's copies in one place (smaller code, and
  // no false uninitialised-use warnings from inlined variant moves).
  JsonValue(const JsonValue& other);
  JsonValue(JsonValue&& other) noexcept;
  JsonValue& operator=(const JsonValue& other);
  JsonValue& operator=(JsonValue&& other) noexcept;
  ~JsonValue();
  JsonValue(std::string text) noexcept : storage_(std::move(text)) {}
  JsonValue(std::string_view text) : storage_(std::in_place_index<0>, text) {}
  JsonValue(const char* text) : storage_(std::in_place_index<0>, text) {}
  JsonValue(bool flag) noexcept : storage_(flag) {}
  JsonValue(double number) noexcept : storage_(number) {}
  template <class I>
    requires(std::is_integral_v<I> && !std::is_same_v<I, bool>)
  JsonValue(I number) noexcept : storage_(static_cast<std::int64_t>(number)) {}
  JsonValue(Object members) noexcept : storage_(std::move(members)) {}
  JsonValue(Array elements) noexcept : storage_(std::move(elements)) {}
  JsonValue(ModelRef model) noexcept : storage_(std::move(model)) {}

  // Which case this value is.
  Kind kind() const noexcept {
    std::size_t index = storage_.index();
    return index == kDeferred ? deferredKind() : static_cast<Kind>(index);
  }
  bool isEmpty() const noexcept { return kind() == Kind::empty; }
  // The payload of case T (std::string, std::int64_t, double, bool, Object,
  // Array, ModelRef or Empty), or nullptr for another case. Building a kept
  // tree can run out of memory, which ends the program as in any noexcept call.
  template <class T>
  const T* getIf() const noexcept {
    return std::get_if<T>(&resolved().storage_);
  }
  template <class T>
  T* getIf() noexcept {
    if (storage_.index() == kDeferred) thaw();
    return std::get_if<T>(&storage_);
  }

  // The element at `index` of an array; absent out of range or for another case.
  std::optional<JsonValue> getItemFromArray(std::int64_t index) const;
  // On an object: asStringValue() of the value under `key`; absent for a
  // missing key, an absent value, or another case.
  std::optional<std::string> getString(std::string_view key) const;
  // The value as text: strings as themselves, numbers and booleans in their
  // text form, objects as JSON text, empty as ""; absent for arrays and models.
  std::optional<std::string> asStringValue() const;
  // The value as JSON text; absent if it cannot be encoded.
  std::optional<std::string> asString() const;
  // On an object: sets `key` to `value`, replacing an entry; otherwise no-op.
  void append(std::string key, std::optional<JsonValue> value);

  // Total decoding by the order of attempts; never throws DecodingError.
  static JsonValue decode(const JsonNode& node);
  // The same, into `out`.
  static void decode(const JsonNode& node, JsonValue& out);
  // Writes the value; an absent map value is written as null.
  void encode(JsonWriter& writer) const;

  // Structural equality; two models are equal when they are the same object or
  // encode to the same text.
  friend bool operator==(const JsonValue& a, const JsonValue& b);

 private:
  friend class detail::TreeStore;

  // An object or array still in encoded form: a counted reference to the
  // chunk that holds it, and the tree once a reader has asked for it.
  class Deferred {
   public:
    // Adopts one reference to `chunk`.
    Deferred(detail::TreeChunk* chunk, std::uint32_t offset) noexcept
        : chunk_(chunk), offset_(offset) {}
    Deferred(const Deferred& other) noexcept;
    Deferred(Deferred&& other) noexcept;
    Deferred& operator=(const Deferred& other) noexcept;
    Deferred& operator=(Deferred&& other) noexcept;
    ~Deferred();

    Kind kind() const noexcept;
    // The built tree; built at most once, by whichever reader comes first.
    const JsonValue& tree() const;
    // The built tree, moved out (building it if nobody has).
    JsonValue take();
    void encode(JsonWriter& writer) const;
    // Equal trees; the same kept tree needs no building.
    bool operator==(const Deferred& other) const;

   private:
    void release() noexcept;
    detail::TreeChunk* chunk_;
    std::uint32_t offset_;
    mutable std::atomic<JsonValue*> built_{nullptr};
  };

  // The eight cases in order, then the encoded form of an object or array.
  using Storage = std::variant<std::string, std::int64_t, double, bool, Object, Array,
                               ModelRef, Empty, Deferred>;
  static constexpr std::size_t kDeferred = 8;

  explicit JsonValue(Deferred deferred) noexcept : storage_(std::move(deferred)) {}
  Kind deferredKind() const noexcept;
  // This value, or the tree it stands for while deferred.
  const JsonValue& resolved() const {
    return storage_.index() == kDeferred ? std::get_if<kDeferred>(&storage_)->tree() : *this;
  }
  // Replaces the deferred form by the built tree.
  void thaw();

  Storage storage_;
};

// --- JsonObject inline members ---------------------------------------------------------

inline JsonObject::iterator JsonObject::begin() noexcept { return members_.begin(); }
inline JsonObject::iterator JsonObject::end() noexcept { return members_.end(); }
inline JsonObject::const_iterator JsonObject::begin() const noexcept { return members_.begin(); }
inline JsonObject::const_iterator JsonObject::end() const noexcept { return members_.end(); }
inline JsonObject::size_type JsonObject::size() const noexcept { return members_.size(); }
inline bool JsonObject::empty() const noexcept { return members_.empty(); }
inline void JsonObject::reserve(size_type count) { members_.reserve(count); }
inline void JsonObject::clear() noexcept { members_.clear(); }
inline bool JsonObject::contains(std::string_view key) const noexcept { return find(key) != end(); }

template <class... Args>
std::pair<JsonObject::iterator, bool> JsonObject::try_emplace(std::string key, Args&&... args) {
  if (auto it = find(key); it != end()) return {it, false};
  members_.emplace_back(std::piecewise_construct, std::forward_as_tuple(std::move(key)),
                        std::forward_as_tuple(std::forward<Args>(args)...));
  return {members_.end() - 1, true};
}

// The default text form of a 64-bit float: the shortest text that reads back
// as the same number, always with a fraction or an exponent (2.0, 1e+300).
// Non-finite values give "nan", "inf", "-inf".
std::string formatDouble(double value);

}  // namespace tavrel
