#include "progress_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tavrel::cli {

std::string formatSize(std::uint64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + " B";
  static const char* units[] = {"kB", "MB", "GB", "TB"};
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (value >= 1000 && unit + 1 < std::size(units)) {
    value /= 1000;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
  return text;
}

std::string formatDuration(std::chrono::seconds time) {
  const long long s = std::max<long long>(0, time.count());
  char text[32];
  if (s >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
  }
  return text;
}

void SpeedMeter::sample(std::uint64_t bytes, std::chrono::steady_clock::time_point at) {
  if (last_ && bytes >= last_->first && at > last_->second) {
    const double seconds = std::chrono::duration<double>(at - last_->second).count();
    const double now = static_cast<double>(bytes - last_->first) / seconds;
    const double weight = 1 - std::exp(-seconds / 2.0);  // about two seconds of memory
    rate_ = rate_ == 0 ? now : rate_ + weight * (now - rate_);
  }
  last_.emplace(bytes, at);
}

std::string formatBar(const BarState& s, int width) {
  std::string figures = s.end.empty() ? std::to_string(s.percent) + "%" : s.end;
  while (figures.size() < 4) figures.insert(figures.begin(), ' ');
  figures += "  " + formatSize(s.bytes);
  if (s.total) figures += "/" + formatSize(*s.total);
  if (s.end.empty() && s.bytesPerSecond > 0) {
    figures += "  " + formatSize(static_cast<std::uint64_t>(s.bytesPerSecond)) + "/s";
    if (s.total && *s.total > s.bytes) {
      const double left = static_cast<double>(*s.total - s.bytes) / s.bytesPerSecond;
      figures += "  " + formatDuration(std::chrono::seconds(static_cast<long long>(left))) + " left";
    }
  }
  // The name gets what the figures and a bar of at least 10 leave, up to 24.
  const int room = width - static_cast<int>(figures.size()) - 4;
  std::string name = s.name;
  const int nameWidth = std::clamp(room - 10, 0, 24);
  if (static_cast<int>(name.size()) > nameWidth) {
    name = nameWidth > 3 ? name.substr(0, static_cast<std::size_t>(nameWidth - 3)) + "..." : "";
  }
  name.resize(static_cast<std::size_t>(nameWidth), ' ');
  const int barWidth = std::max(0, room - nameWidth);
  const int filled = barWidth * std::clamp(s.percent, 0, 100) / 100;
  std::string line = name + " [" + std::string(static_cast<std::size_t>(filled), '#') +
                     std::string(static_cast<std::size_t>(barWidth - filled), '.') + "] " + figures;
  if (static_cast<int>(line.size()) > width) line.resize(static_cast<std::size_t>(std::max(0, width)));
  return line;
}

}  // namespace tavrel::cli
