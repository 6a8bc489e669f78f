#include "tavrel/core/log.h"

#include <cstdio>
#include <memory>
#include <mutex>

namespace tavrel {
namespace {

std::mutex& sinkMutex() {
  static std::mutex m;
  return m;
}

std::shared_ptr<const DebugSink>& currentSink() {
  static std::shared_ptr<const DebugSink> sink;
  return sink;
}

}  // namespace

void setDebugSink(DebugSink sink) {
  auto next = sink ? std::make_shared<const DebugSink>(std::move(sink)) : nullptr;
  std::lock_guard lock(sinkMutex());
  currentSink() = std::move(next);
}

void debugPrint(std::string_view line) {
  std::shared_ptr<const DebugSink> sink;
  {
    std::lock_guard lock(sinkMutex());
    sink = currentSink();
  }
  if (!sink) {
    std::lock_guard lock(sinkMutex());
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
    return;
  }
  try {
    (*sink)(line);
  } catch (...) {
    // A host's sink must not break the code that logs.
  }
}

}  // namespace tavrel
