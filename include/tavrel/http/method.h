#pragma once
// Method: the HTTP request method of a target.

#include <string_view>

namespace tavrel {

enum class Method { get, post, put, patch, delete_, head, options };

// The method as it goes on the wire: "GET", "POST", ...
std::string_view toString(Method method) noexcept;

}  // namespace tavrel
