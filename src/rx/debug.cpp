// The library's own reports: subscriber callbacks that threw, and the lines of
// the `debug` operator.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include "tavrel/core/exception_text.h"
#include "tavrel/core/log.h"
#include "tavrel/rx/observable.h"

namespace tavrel::rx::detail {

std::string describeError(std::exception_ptr error) {
  return error ? describeException(error) : "no error";
}

void reportCallbackException(const char* where, std::exception_ptr error) noexcept {
  try {
    debugPrint(std::string("rx: ") + where + " threw: " + describeError(error));
  } catch (...) {
    // Nothing left to report with.
  }
}

void debugLine(const std::string& identifier, const std::string& content) {
  using namespace std::chrono;
  auto now = system_clock::now();
  auto seconds = system_clock::to_time_t(now);
  auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  char full[40];
  std::snprintf(full, sizeof full, "%s.%03d", stamp, static_cast<int>(millis));
  debugPrint(std::string(full) + ": " + identifier + " -> " + content);
}

}  // namespace tavrel::rx::detail
