#pragma once
// User properties: the seven operations a client sends, applied to the
// visitor's properties (values kept as JSON text).

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::service {

// Applies the JSON array of {"op","key","value"} objects in order. All or
// nothing: on a refusal `props` is unchanged and the reason is returned.
std::optional<std::string> applyOperations(std::map<std::string, std::string>& props,
                                           std::string_view operationsJson);

}  // namespace tavrel::service
