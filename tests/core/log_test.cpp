#include "tavrel/core/log.h"

#include <gtest/gtest.h>

#include <string>
#include <mutex>
#include <thread>
#include <vector>

namespace tavrel {
namespace {

TEST(DebugSink, HostSinkReceivesLinesAndThrowingSinkIsContained) {
  std::vector<std::string> lines;
  setDebugSink([&](std::string_view l) { lines.emplace_back(l); });
  debugPrint("one");
  debugPrint("");
  EXPECT_EQ(lines, (std::vector<std::string>{"one", ""}));

  setDebugSink([](std::string_view) { throw 1; });
  EXPECT_NO_THROW(debugPrint("lost"));
  setDebugSink(nullptr);
}

TEST(DebugSink, ConcurrentWritersLoseNoLine) {
  std::mutex m;
  size_t count = 0;
  setDebugSink([&](std::string_view) {
    std::lock_guard lock(m);
    ++count;
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 1000; ++i) debugPrint("x");
    });
  for (auto& th : threads) th.join();
  setDebugSink(nullptr);
  EXPECT_EQ(count, 4000u);
}

}  // namespace
}  // namespace tavrel
