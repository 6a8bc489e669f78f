#include "tavrel/http/moya_provider.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "http/test_target.h"
#include "rx/recorder.h"
#include "tavrel/core/log.h"
#include "tavrel/http/network_logger_plugin.h"

namespace tavrel {
namespace {

using namespace std::chrono_literals;
using test::FakeTarget;
using test::kWait;
using test::Reply;
using test::TestHttpServer;

// Records what the provider tells its plugins, in order.
struct RecordingPlugin : PluginType {
  std::mutex mutex;
  std::vector<std::string> calls;
  std::string tag;
  explicit RecordingPlugin(std::string t) : tag(std::move(t)) {}

  HttpRequest prepare(HttpRequest request, const TargetType&) override {
    note("prepare");
    request.headers.emplace_back("X-Prepared-By", tag);
    return request;
  }
  void willSend(const HttpRequest& request, const TargetType&) override {
    note("willSend " + request.header("X-Prepared-By").value_or("-"));
  }
  void didReceive(const MoyaResult& result, const TargetType&) override {
    note(std::holds_alternative<HttpResponse>(result) ? "didReceive response" : "didReceive error");
  }
  void note(std::string what) {
    std::lock_guard lock(mutex);
    calls.push_back(tag + " " + what);
  }
};

// Throws from the hooks that run on the callback queue.
struct ThrowingPlugin : PluginType {
  void didReceive(const MoyaResult&, const TargetType&) override {
    throw std::runtime_error("didReceive failed");
  }
  MoyaResult process(MoyaResult, const TargetType&) override {
    throw std::runtime_error("process failed");
  }
};

// A provider whose endpoint adds a header, the way subclasses rewrite requests.
class HeaderProvider : public MoyaProvider<FakeTarget> {
 public:
  using MoyaProvider::MoyaProvider;
  Endpoint endpoint(const FakeTarget& target) const override {
    return MoyaProvider::endpoint(target).adding({{"X-Endpoint", "yes"}});
  }
};

struct Outcome {
  MoyaResult result;
  std::thread::id thread;
};

template <class Provider>
Outcome call(const Provider& provider, const FakeTarget& target) {
  std::promise<Outcome> promise;
  auto future = promise.get_future();
  provider.request(target, [&](MoyaResult r) {
    promise.set_value(Outcome{std::move(r), std::this_thread::get_id()});
  });
  EXPECT_EQ(future.wait_for(kWait), std::future_status::ready);
  return future.get();
}

FakeTarget targetAt(const TestHttpServer& server, std::string path) {
  FakeTarget t;
  t.base = server.url("/api/v1/");
  t.route = std::move(path);
  return t;
}

TEST(MoyaProvider, RunsEndpointPluginsAndTransportInOrder) {
  TestHttpServer server;
  server.enqueue(Reply::json(201, R"({"ok":true})"));
  HttpTransport transport;
  rx::rxtest::CapturedLines captured;
  auto first = std::make_shared<RecordingPlugin>("first");
  auto second = std::make_shared<RecordingPlugin>("second");
  HeaderProvider provider({first, std::make_shared<ThrowingPlugin>(), second}, &transport);

  auto target = targetAt(server, "users/{user_id}/events");
  target.verb = Method::post;
  target.work = Task::requestCompositeParameters({{"event", "open"}}, URLEncoding::httpBody(),
                                                 {{"id_as_string", "1"}});
  auto outcome = call(provider, target);

  // A plugin that throws is logged and changes nothing.
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(outcome.result));
  EXPECT_EQ(std::get<HttpResponse>(outcome.result).statusCode, 201);
  EXPECT_NE(outcome.thread, std::this_thread::get_id());
  {
    std::lock_guard lock(captured.mutex);
    EXPECT_EQ(captured.lines, (std::vector<std::string>{
                                  "HTTP: a plugin's didReceive threw: didReceive failed",
                                  "HTTP: a plugin's process threw: process failed"}));
  }

  auto seen = server.requests().at(0);
  EXPECT_EQ(seen.path, "/api/v1/users/%7Buser_id%7D/events");
  EXPECT_EQ(seen.query, "id_as_string=1");
  EXPECT_EQ(seen.body, "event=open");
  EXPECT_EQ(seen.header("X-Endpoint"), "yes");
  EXPECT_EQ(seen.header("X-Prepared-By"), "first");

  // didReceive runs before the completion, so both lists are complete here.
  EXPECT_EQ(first->calls, (std::vector<std::string>{"first prepare", "first willSend first",
                                                     "first didReceive response"}));
  EXPECT_EQ(second->calls, (std::vector<std::string>{"second prepare", "second willSend first",
                                                      "second didReceive response"}));
}

TEST(MoyaProvider, FailuresArriveAsMoyaErrors) {
  HttpTransport transport;
  auto plugin = std::make_shared<RecordingPlugin>("p");
  MoyaProvider<FakeTarget> provider({plugin}, &transport);

  FakeTarget closed;
  closed.base = test::closedURL();
  auto down = call(provider, closed);
  ASSERT_TRUE(std::holds_alternative<MoyaError>(down.result));
  const auto& underlying = std::get<MoyaError>(down.result);
  EXPECT_EQ(underlying.kind(), MoyaError::Kind::underlying);
  ASSERT_TRUE(underlying.urlError());
  EXPECT_EQ(underlying.urlError()->code(), URLError::Code::cannotConnectToHost);

  FakeTarget broken;
  broken.base = "::";
  auto unmapped = call(provider, broken);
  ASSERT_TRUE(std::holds_alternative<MoyaError>(unmapped.result));
  EXPECT_EQ(std::get<MoyaError>(unmapped.result).kind(), MoyaError::Kind::requestMapping);
  EXPECT_NE(unmapped.thread, std::this_thread::get_id());

  TestHttpServer server;
  server.enqueue(Reply::text(500, "no"));
  auto validated = targetAt(server, "v");
  validated.validation = ValidationType::successCodes();
  auto refused = call(provider, validated);
  ASSERT_TRUE(std::holds_alternative<MoyaError>(refused.result));
  const auto& status = std::get<MoyaError>(refused.result);
  EXPECT_EQ(status.kind(), MoyaError::Kind::statusCode);
  EXPECT_EQ(status.response()->data, "no");

  // The two mapped requests were prepared and sent; all three were received.
  EXPECT_EQ(plugin->calls.size(), 2u * 2u + 3u);
}

TEST(MoyaProvider, DownloadWritesTheBodyToItsDestination) {
  TestHttpServer server;
  server.enqueue(Reply::text(200, "file body"));
  HttpTransport transport;
  MoyaProvider<FakeTarget> provider({}, &transport);
  auto dir = std::filesystem::temp_directory_path() /
             ("tavrel_http_download_" + std::to_string(::getpid()));
  auto target = targetAt(server, "f");
  target.work = Task::downloadParameters({{"v", 1}}, URLEncoding::default_(),
                                         [&](const HttpResponse&) { return dir / "sub" / "f.txt"; });
  auto outcome = call(provider, target);
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(outcome.result));
  std::ifstream in(dir / "sub" / "f.txt");
  std::string text((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(text, "file body");
  EXPECT_EQ(server.requests().at(0).query, "v=1");
  std::filesystem::remove_all(dir);
}

TEST(MoyaProvider, RxRequestSucceedsAndCancelsOnDispose) {
  TestHttpServer server;
  HttpTransport transport;
  MoyaProvider<FakeTarget> provider({}, &transport);

  server.enqueue(Reply::text(404, "missing"));
  std::promise<HttpResponse> got;
  auto sub = provider.rx().request(targetAt(server, "a")).subscribe(
      [&](const HttpResponse& r) { got.set_value(r); });
  auto future = got.get_future();
  ASSERT_EQ(future.wait_for(kWait), std::future_status::ready);
  EXPECT_EQ(future.get().statusCode, 404);

  // Disposing of a subscription cancels the request: nothing is delivered,
  // and a later request still works.
  server.enqueue(Reply::never());
  std::atomic<bool> delivered{false};
  auto pending = provider.rx().request(targetAt(server, "slow")).subscribe(
      [&](const HttpResponse&) { delivered = true; }, [&](std::exception_ptr) { delivered = true; });
  ASSERT_TRUE(server.waitForRequests(2));
  pending.dispose();
  server.enqueue(Reply::text(200, "after"));
  auto again = call(provider, targetAt(server, "b"));
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(again.result));
  EXPECT_EQ(std::get<HttpResponse>(again.result).data, "after");
  EXPECT_FALSE(delivered);
}

TEST(NetworkLoggerPlugin, MasksSecretsInURLsAndBodies) {
  struct Row {
    std::string in;
    std::string out;
  };
  const Row rows[] = {
      {"https://h/x?auth_token=abc&id_as_string=1", "https://h/x?auth_token=***&id_as_string=1"},
      {"https://h/x?a=1&auth_token=abc#f&hash=2", "https://h/x?a=1&auth_token=***#f&hash=2"},
      {"user_id=7&hash=deadbeef", "user_id=7&hash=***"},
      {"hashes=1&my_hash=2", "hashes=1&my_hash=2"},
      {R"({"auth_token":"t\"x","user":{"hash": "h","n":1},"k":2})",
       R"({"auth_token":"***","user":{"hash": "***","n":1},"k":2})"},
      {R"([{"hash":12}])", R"([{"hash":"***"}])"},
      {R"({"hash":{"a":[1,"}"]},"x":"hash"})", R"({"hash":"***","x":"hash"})"},
      {R"({"note":"auth_token: x","auth_token" : null})", R"({"note":"auth_token: x","auth_token" : "***"})"},
      {R"({"user":"{\"auth_token\": \"t\",\"hash\":7,\"n\":\"a\\b\"}"})",
       R"({"user":"{\"auth_token\": \"***\",\"hash\":\"***\",\"n\":\"a\\b\"}"})"},
  };
  for (const auto& row : rows) EXPECT_EQ(NetworkLoggerPlugin::maskSecrets(row.in), row.out);
}

TEST(NetworkLoggerPlugin, VerboseLogsRequestAndResponseWithoutSecrets) {
  rx::rxtest::CapturedLines captured;
  TestHttpServer server;
  server.enqueue(Reply::json(200, R"({"auth_token":"secret-2","ok":1})"));
  HttpTransport transport;
  MoyaProvider<FakeTarget> provider({std::make_shared<NetworkLoggerPlugin>(true)}, &transport);
  auto target = targetAt(server, "auth/userappauth");
  target.verb = Method::post;
  target.work = Task::requestCompositeParameters({{"user_id", "7"}, {"hash", "secret-1"}},
                                                 URLEncoding::httpBody(),
                                                 {{"auth_token", "secret-0"}});
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(call(provider, target).result));

  std::string all;
  for (const auto& line : captured.lines) {
    EXPECT_TRUE(line.starts_with("Moya_Logger: [")) << line;
    all += line + "\n";
  }
  EXPECT_EQ(all.find("secret"), std::string::npos) << all;
  EXPECT_NE(all.find("auth_token=***"), std::string::npos) << all;
  EXPECT_NE(all.find("hash=***&user_id=7"), std::string::npos) << all;
  EXPECT_NE(all.find("HTTP Request Method: POST"), std::string::npos) << all;
  EXPECT_NE(all.find(R"("auth_token":"***","ok":1)"), std::string::npos) << all;
  EXPECT_EQ(server.requests().at(0).query, "auth_token=secret-0");  // only the log is masked
}

}  // namespace
}  // namespace tavrel
