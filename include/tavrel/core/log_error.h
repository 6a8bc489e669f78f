#pragma once
// An error whose text carries the time, the source place and a message, for a
// debug log: "2024-01-31 12:00:00.123 Foo.(int) line:12 - boom".

#include <exception>
#include <string>
#include <string_view>
#include <version>
#if defined(__cpp_lib_source_location)
#include <source_location>
#endif

namespace tavrel {

// The place in the source of a call, taken at the call site. Where the standard
// library has std::source_location the function is its full signature;
// otherwise (clang 14 with libstdc++) only the function's name.
struct SourcePlace {
  const char* file = "";
  const char* function = "";
  long line = 0;

#if defined(__cpp_lib_source_location)
  static constexpr SourcePlace current(
      std::source_location where = std::source_location::current()) noexcept {
    return {where.file_name(), where.function_name(), static_cast<long>(where.line())};
  }
#else
  static constexpr SourcePlace current(const char* file = __builtin_FILE(),
                                       const char* function = __builtin_FUNCTION(),
                                       int line = __builtin_LINE()) noexcept {
    return {file, function, line};
  }
#endif
};

class LogError : public std::exception {
 public:
  // Stamped with the caller's file, function signature and line.
  explicit LogError(std::string_view message, SourcePlace where = SourcePlace::current());
  // Stamped with the given place: a source path, a function signature, a line.
  LogError(std::string_view message, std::string_view file, std::string_view function, long line);

  // The whole text: time stamp, place and message.
  const std::string& message() const noexcept { return text_; }
  const std::string& localizedDescription() const noexcept { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace tavrel
