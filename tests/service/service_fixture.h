#pragma once
// What the service tests share: a server on a free loopback port (memory
// database unless a test names a file), the library's bundles pointing at
// it, visitors connected through the library's own UserService, and frames
// heard through RtsManager.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "rts/rts_test_support.h"
#include "tavrel/api/user_service.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rts/rts_manager.h"
#include "tavrel/service/server.h"

namespace tavrel::test {

using service::Server;
using service::ServerOptions;

// A server on a free port; one that does not start ends the test.
inline std::unique_ptr<Server> startServer(ServerOptions options, service::AppCredentials* created = nullptr) {
  options.listen = "127.0.0.1:0";
  auto started = Server::start(options, created);
  if (auto* error = std::get_if<service::StartError>(&started)) throw std::runtime_error(error->message);
  return std::move(std::get<std::unique_ptr<Server>>(started));
}

// The one element of a stream of Result, which must be a success: anything
// else ends the test with its error.
template <class T>
T succeeded(const rx::Observable<Result<T>>& stream) {
  auto run = await(stream);
  if (!run.completed || run.elements.size() != 1) throw std::runtime_error("the request failed or timed out");
  if (!run.elements[0].succeed()) throw std::runtime_error(run.elements[0].error()->localizedDescription());
  return *run.elements[0].success();
}

// The error text of the one element of a stream of Result, which must be an error.
template <class T>
std::string refused(const rx::Observable<Result<T>>& stream) {
  auto run = await(stream);
  if (run.elements.size() != 1 || run.elements[0].succeed()) {
    ADD_FAILURE() << "no refusal";
    return "";
  }
  return run.elements[0].error()->localizedDescription();
}

// Frames of one visitor as the library hands them over, parsed.
class Listener {
 public:
  std::vector<JsonValue> frames() const {
    std::vector<JsonValue> out;
    for (const auto& text : recorder->texts()) out.push_back(decodeJson<JsonValue>(text).value());
    return out;
  }
  // Frames on `channel`.
  std::vector<JsonValue> on(const std::string& channel) const {
    std::vector<JsonValue> out;
    for (auto& f : frames()) {
      if (f.getString("channel") == channel) out.push_back(f);
    }
    return out;
  }
  // Runs the main queue until `n` frames arrived on `channel`.
  bool waitFor(const std::string& channel, std::size_t n) const {
    return drainUntil([&] { return on(channel).size() >= n; });
  }

  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

class ServiceTest : public testing::Test {
 protected:
  explicit ServiceTest(ServerOptions options = {.botTypingDelay = std::chrono::milliseconds(1)})
      : server(startServer(options)), main_({{"apiUrl", server->apiUrl()}}), lib_(server->wssUrl()) {}

  // A new visitor of the demo app, in sdk mode.
  std::shared_ptr<NetworkSettings> visitor() {
    auto [user, messenger] = succeeded(UserService(nullptr, &transport).connect(server->demoApp().apiKey, "1.0"));
    return std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk, user.token.value_or(""),
                                             user.appId, user.id);
  }

  // Starts the visitor's socket, heard by `heard`, and waits until it is open.
  void listen(const std::shared_ptr<NetworkSettings>& settings) {
    auto socket = manager.startRts(settings,
                                   {Channel::conversation, Channel::conversationReply, Channel::conversationTyping,
                                    Channel::conversationRead, Channel::conversationAssigned},
                                   heard.recorder);
    ASSERT_NE(socket, nullptr);
    auto open = std::make_shared<std::atomic<bool>>(false);
    auto watch = socket->connected().subscribe([open](bool up) { *open = up; });
    EXPECT_TRUE(drainUntil([&] { return open->load(); }));
    watch.dispose();
  }

  ManualConnectivityBackend& network_ = network();  // before any RtsManager
  std::unique_ptr<Server> server;

 private:
  MainBundle main_;
  LibBundle lib_;

 protected:
  HttpTransport transport;  // ends before the server
  RtsManager manager;       // and its sockets before the transport
  Listener heard;
};

}  // namespace tavrel::test
