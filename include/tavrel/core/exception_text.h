#pragma once
// The text of an error carried as std::exception_ptr, for messages and logs.

#include <exception>
#include <string>

namespace tavrel {

// what() of a std::exception; "unknown error" for anything else or no error.
std::string describeException(const std::exception_ptr& error);

}  // namespace tavrel
