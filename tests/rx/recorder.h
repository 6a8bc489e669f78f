#pragma once
// Test helpers: a subscriber that writes down everything a stream says.

#include <exception>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tavrel/core/log.h"
#include "tavrel/rx/rx.h"

namespace tavrel::rx::rxtest {

using Log = std::vector<std::string>;

inline std::exception_ptr boom() { return std::make_exception_ptr(std::runtime_error("boom")); }

// Records elements as text, errors as "E:<what>", completion as "C".
template <class T>
struct Recorder {
  Log log;
  Disposable subscribe(const Observable<T>& source) {
    return source.subscribe([this](const T& v) { log.push_back(detail::describeValue(v)); },
                            [this](std::exception_ptr e) { log.push_back("E:" + detail::describeError(e)); },
                            [this] { log.push_back("C"); });
  }
};

// Everything a synchronous stream says on subscription.
template <class T>
Log record(const Observable<T>& stream) {
  Recorder<T> r;
  r.subscribe(stream);
  return r.log;
}

// Collects the lines written through `debugPrint` while it lives.
struct CapturedLines {
  CapturedLines() {
    setDebugSink([this](std::string_view line) {
      std::lock_guard lock(mutex);
      lines.emplace_back(line);
    });
  }
  ~CapturedLines() { setDebugSink(nullptr); }
  // All lines so far, each ended by "\n".
  std::string text() {
    std::lock_guard lock(mutex);
    std::string all;
    for (const auto& line : lines) all += line + "\n";
    return all;
  }
  std::mutex mutex;
  std::vector<std::string> lines;
};

}  // namespace tavrel::rx::rxtest
