#pragma once
// Shared by the api tests: a loopback server, a main bundle whose Info.plist
// "apiUrl" points at it, a transport of the test's own, settings for both
// modes, and a way to wait for a stream's end.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <future>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/test_http_server.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/network_settings.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rx/observable.h"

namespace tavrel::test {

inline constexpr auto kStreamWait = std::chrono::seconds(20);

// A directory registered as the main bundle, with an Info.plist of text
// values, removed again at the end.
class MainBundle {
 public:
  explicit MainBundle(std::initializer_list<std::pair<std::string, std::string>> values) {
    static std::atomic<int> counter{0};
    dir_ = std::filesystem::temp_directory_path() /
           ("tavrel_api_bundle_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
    std::filesystem::create_directories(dir_);
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n";
    for (const auto& [key, value] : values) {
      xml += "  <key>" + key + "</key>\n  <string>" + value + "</string>\n";
    }
    xml += "</dict>\n</plist>\n";
    std::ofstream(dir_ / "Info.plist", std::ios::binary) << xml;
    Bundle::registerMain(dir_);
  }
  ~MainBundle() {
    Bundle::registerMain({});
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  MainBundle(const MainBundle&) = delete;
  MainBundle& operator=(const MainBundle&) = delete;

 private:
  std::filesystem::path dir_;
};

// What a stream did: its elements, then completion or an error (neither
// when it did not end in time).
template <class T>
struct StreamRun {
  std::vector<T> elements;
  bool completed = false;
  std::exception_ptr error;

  // The error rethrown as E, or nullopt for another type or no error.
  template <class E>
  std::optional<E> errorAs() const {
    try {
      if (error) std::rethrow_exception(error);
    } catch (const E& e) {
      return e;
    } catch (...) {
    }
    return std::nullopt;
  }
};

// Subscribes and waits until the stream ends (at most kStreamWait).
template <class T>
StreamRun<T> await(const rx::Observable<T>& stream) {
  struct State {
    std::mutex mutex;
    StreamRun<T> run;
    std::promise<void> done;
  };
  auto state = std::make_shared<State>();
  auto future = state->done.get_future();
  auto end = [state](std::exception_ptr error) {
    std::lock_guard lock(state->mutex);
    state->run.error = error;
    state->run.completed = !error;
    state->done.set_value();
  };
  auto subscription = stream.subscribe(
      [state](const T& value) {
        std::lock_guard lock(state->mutex);
        state->run.elements.push_back(value);
      },
      end, [end] { end(nullptr); });
  if (future.wait_for(kStreamWait) != std::future_status::ready) subscription.dispose();
  std::lock_guard lock(state->mutex);
  return state->run;
}

// "a=1&b=%20x" as a map with percent-encoding removed.
inline std::map<std::string, std::string> decodeForm(std::string_view text) {
  std::map<std::string, std::string> out;
  while (!text.empty()) {
    auto amp = text.find('&');
    auto pair = text.substr(0, amp);
    text = amp == std::string_view::npos ? std::string_view() : text.substr(amp + 1);
    if (pair.empty()) continue;
    auto eq = pair.find('=');
    auto key = removePercentEncoding(pair.substr(0, eq)).value_or("<bad>");
    auto value = eq == std::string_view::npos
                     ? std::string()
                     : removePercentEncoding(pair.substr(eq + 1)).value_or("<bad>");
    out[key] = value;
  }
  return out;
}

// A loopback server with the main bundle pointing at it, and a transport
// that the test owns (it is shut down before the server).
class ApiFixture : public ::testing::Test {
 protected:
  ApiFixture() : bundle_({{"apiUrl", server.url("/api/v1/")}}) {}

  // Token "tok", app id "7", user id "9", in each mode.
  static std::shared_ptr<NetworkSettings> appSettings() {
    return std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::app, "tok", "7", "9");
  }
  static std::shared_ptr<NetworkSettings> sdkSettings() {
    return std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, "tok", "7", "9");
  }

  TestHttpServer server;

 private:
  MainBundle bundle_;

 protected:
  HttpTransport transport;
};

}  // namespace tavrel::test
