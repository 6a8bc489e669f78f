#include "tavrel/core/log_error.h"

#include <ctime>
#include <cstdio>

#include "core/system_data.h"

namespace tavrel {
namespace SystemData {
namespace {

std::string formatLogDate(std::chrono::system_clock::time_point when) {
  using namespace std::chrono;
  const auto seconds = time_point_cast<std::chrono::seconds>(when);
  auto millis = duration_cast<milliseconds>(when - seconds).count();
  const std::time_t t = system_clock::to_time_t(seconds);
  std::tm local{};
  localtime_r(&t, &local);
  if (millis < 0) millis += 1000;  // before the epoch: to_time_t rounds the other way
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(millis));
  return buf;
}

}  // namespace

DateFormatter logDateFormatter() {
  // localtime_r needs the time zone loaded once; do it under the once-only rule.
  static const DateFormatter formatter = [] {
    tzset();
    return &formatLogDate;
  }();
  return formatter;
}

std::string fileName(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.find_last_of('/');
  std::string_view last = slash == std::string_view::npos ? path : path.substr(slash + 1);
  return std::string(last.substr(0, last.find('.')));
}

std::string functionNameByStrippingParameters(std::string_view name) {
  const auto paren = name.find('(');
  return std::string(paren == std::string_view::npos ? name : name.substr(paren));
}

}  // namespace SystemData

LogError::LogError(std::string_view message, SourcePlace where)
    : LogError(message, where.file, where.function, where.line) {}

LogError::LogError(std::string_view message, std::string_view file, std::string_view function, long line) {
  text_ = SystemData::logDateFormatter()(std::chrono::system_clock::now()) + " " + SystemData::fileName(file) +
          "." + SystemData::functionNameByStrippingParameters(function) + " line:" + std::to_string(line) + " - " +
          std::string(message);
}

}  // namespace tavrel
