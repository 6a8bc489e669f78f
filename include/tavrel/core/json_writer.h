#pragma once
// JsonWriter: writes compact JSON text. Object keys stay in the order they are
// written. A record encodes itself with `void encode(JsonWriter&) const`:
//
//   void encode(JsonWriter& w) const {
//     w.beginObject();
//     w.field("id", id);            // std::optional: absent -> null
//     w.field("from", from);        // JsonValue, records, vectors, ...
//     w.endObject();
//   }

#include <concepts>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/core/json_value.h"

namespace tavrel {

// A value the writer refuses (a non-finite number).
class EncodingError : public std::exception {
 public:
  explicit EncodingError(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

class JsonWriter {
 public:
  JsonWriter() = default;

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // The key of the next value inside an object.
  void key(std::string_view name);

  void null();
  void value(std::string_view text);  // escaped as RFC 8259 asks
  void value(const char* text) { value(std::string_view(text)); }
  void value(const std::string& text) { value(std::string_view(text)); }
  void value(bool flag);
  void value(std::int64_t number);
  // Shortest text that reads back, with a fraction or an exponent; a
  // non-finite number fails the writer.
  void value(double number);
  template <class I>
    requires(std::is_integral_v<I> && !std::is_same_v<I, bool> &&
             !std::is_same_v<I, std::int64_t>)
  void value(I number) {
    value(static_cast<std::int64_t>(number));
  }

  // Writes any supported value: text, numbers, bool, std::optional (absent ->
  // null), std::vector, std::shared_ptr (null -> null), JsonValue, or a record
  // with `encode(JsonWriter&) const`.
  template <class T>
  void write(const T& v);
  // key(name), then write(v).
  template <class T>
  void field(std::string_view name, const T& v) {
    key(name);
    write(v);
  }

  // Marks the writer as failed; later writes are ignored. The first failure
  // is kept.
  void fail(std::string message);
  bool failed() const noexcept { return error_.has_value(); }
  const std::optional<EncodingError>& error() const noexcept { return error_; }

  // The text written so far.
  const std::string& text() const noexcept { return out_; }
  std::string take() && { return std::move(out_); }

 private:
  void beforeValue();

  std::string out_;
  std::optional<EncodingError> error_;
  bool needComma_ = false;
  bool afterKey_ = false;
};

namespace detail {
template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};
template <class T>
struct IsVectorW : std::false_type {};
template <class T, class A>
struct IsVectorW<std::vector<T, A>> : std::true_type {};
template <class T>
struct IsSharedPtrW : std::false_type {};
template <class T>
struct IsSharedPtrW<std::shared_ptr<T>> : std::true_type {};
template <class T>
concept Encodable = requires(const T& t, JsonWriter& w) { t.encode(w); };
}  // namespace detail

template <class T>
void JsonWriter::write(const T& v) {
  // nullptr_t and nullopt_t first: nullptr_t converts to std::string_view.
  if constexpr (std::is_same_v<T, std::nullopt_t> || std::is_same_v<T, std::nullptr_t>) {
    null();
  } else if constexpr (std::is_same_v<T, bool> || std::is_arithmetic_v<T> ||
                       std::is_convertible_v<const T&, std::string_view>) {
    if constexpr (std::is_floating_point_v<T>) {
      value(static_cast<double>(v));
    } else if constexpr (std::is_arithmetic_v<T>) {
      value(v);
    } else {
      value(std::string_view(v));
    }
  } else if constexpr (detail::IsOptional<T>::value) {
    if (v) {
      write(*v);
    } else {
      null();
    }
  } else if constexpr (detail::IsVectorW<T>::value) {
    beginArray();
    for (const auto& element : v) write(element);
    endArray();
  } else if constexpr (detail::IsSharedPtrW<T>::value) {
    if (v) {
      write(*v);
    } else {
      null();
    }
  } else {
    static_assert(detail::Encodable<T>, "a record needs encode(JsonWriter&) const");
    v.encode(*this);
  }
}

// Outcome of a top-level encode: the JSON text or the error.
class EncodeResult {
 public:
  EncodeResult(std::string text) : state_(std::in_place_index<0>, std::move(text)) {}
  EncodeResult(EncodingError error) : state_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }
  // The text; only when ok().
  const std::string& value() const& { return std::get<0>(state_); }
  std::string&& value() && { return std::get<0>(std::move(state_)); }
  // The error; only when !ok().
  const EncodingError& error() const { return std::get<1>(state_); }

 private:
  std::variant<std::string, EncodingError> state_;
};

// Encodes any value JsonWriter::write accepts. Never throws but for memory.
template <class T>
EncodeResult encodeJson(const T& v) {
  JsonWriter writer;
  writer.write(v);
  if (writer.error()) return *writer.error();
  return std::move(writer).take();
}

}  // namespace tavrel
