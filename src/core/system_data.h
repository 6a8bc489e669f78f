#pragma once
// The shared pieces behind LogError's header line.

#include <chrono>
#include <string>
#include <string_view>

namespace tavrel::SystemData {

// Formats a time point as "yyyy-MM-dd HH:mm:ss.SSS" in local time.
using DateFormatter = std::string (*)(std::chrono::system_clock::time_point);

// The one formatter, made on first use.
DateFormatter logDateFormatter();

// The last path component up to its first ".": "/a/Foo.test.cpp" gives "Foo".
std::string fileName(std::string_view path);

// From the first "(" to the end, or the whole text when there is none.
std::string functionNameByStrippingParameters(std::string_view name);

}  // namespace tavrel::SystemData
