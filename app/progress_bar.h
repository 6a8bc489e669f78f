#pragma once
// The lines `tavrel download` draws: one progress bar per file on a
// terminal, plain percentage lines otherwise.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tavrel::cli {

// "812 B", "12.3 kB", "300.0 MB" (powers of 1000).
std::string formatSize(std::uint64_t bytes);
// "0:07", "12:34", "1:02:03".
std::string formatDuration(std::chrono::seconds time);

// Bytes a second over the recent past: each sample is weighed by the time
// it covers, older ones fade within a few seconds.
class SpeedMeter {
 public:
  void sample(std::uint64_t bytes, std::chrono::steady_clock::time_point at);
  double bytesPerSecond() const { return rate_; }

 private:
  std::optional<std::pair<std::uint64_t, std::chrono::steady_clock::time_point>> last_;
  double rate_ = 0;
};

// What one bar shows.
struct BarState {
  std::string name;
  int percent = 0;
  std::uint64_t bytes = 0;
  std::optional<std::uint64_t> total;
  double bytesPerSecond = 0;
  std::string end;  // "done", "failed", "cancelled"; empty while it runs
};

// One line of at most `width` columns:
// "report.pdf [#########.........]  45%  13.5 MB/30.0 MB  4.2 MB/s  0:04 left".
std::string formatBar(const BarState& state, int width);

}  // namespace tavrel::cli
