#pragma once
// The origin of a URL, scheme, host and port, which decides where a request
// may carry its credentials and which requests share a connection limit.

#include <optional>
#include <string>
#include <string_view>

namespace tavrel::detail {

// "scheme://host:port" in lower case, the port filled in from the scheme;
// nullopt for a URL that does not parse.
std::optional<std::string> originOf(std::string_view url);

// Both URLs parse and have one origin: http and https differ, so do ports.
bool sameOrigin(std::string_view a, std::string_view b);

}  // namespace tavrel::detail
