#pragma once
// An error whose text carries the time, the source place and a message, for a
// debug log: "2024-01-31 12:00:00.123 Foo.(int) line:12 - boom".

#include <exception>
#include <source_location>
#include <string>
#include <string_view>

namespace tavrel {

class LogError : public std::exception {
 public:
  // Stamped with the caller's file, function signature and line.
  explicit LogError(std::string_view message, std::source_location where = std::source_location::current());
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
