#include "tavrel/http/http_transport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "http/curl_error_mapping.h"
#include "http/origin.h"
#include "http/test_target.h"
#include "rx/recorder.h"
#include "support/test_cert.h"

namespace tavrel {
namespace {

using test::kWait;
using test::Reply;
using test::TestHttpServer;
using namespace std::chrono_literals;

// Sends one request and waits for its outcome.
HttpResult fetch(HttpTransport& transport, HttpRequest request) {
  std::promise<HttpResult> promise;
  auto future = promise.get_future();
  transport.send(std::move(request), [&](HttpResult r) { promise.set_value(std::move(r)); });
  EXPECT_EQ(future.wait_for(kWait), std::future_status::ready);
  return future.get();
}

HttpRequest get(std::string url) {
  HttpRequest r;
  r.url = std::move(url);
  return r;
}

URLError::Code errorOf(const HttpResult& r) {
  if (auto* e = std::get_if<URLError>(&r)) return e->code();
  ADD_FAILURE() << "expected a URLError, got status " << std::get<HttpResponse>(r).statusCode;
  return URLError::Code::unknown;
}

TEST(HttpTransport, SendsMethodHeadersAndBodyAndReturnsTheAnswer) {
  TestHttpServer server;
  server.enqueue(Reply{.status = 201, .headers = {{"X-Reply", "yes"}}, .body = "created"});
  HttpTransport transport;

  HttpRequest request;
  request.method = Method::patch;
  request.url = server.url("/items/7?x=1");
  request.headers = {{"X-One", "1"}, {"Content-Type", "application/json"}};
  request.body = R"({"a":1})";
  auto result = fetch(transport, request);

  ASSERT_TRUE(std::holds_alternative<HttpResponse>(result)) << std::get<URLError>(result).what();
  const auto& response = std::get<HttpResponse>(result);
  EXPECT_EQ(response.statusCode, 201);
  EXPECT_EQ(response.data, "created");
  EXPECT_EQ(response.header("x-reply"), "yes");  // names match in any case
  EXPECT_EQ(response.url, server.url("/items/7?x=1"));

  auto seen = server.requests().at(0);
  EXPECT_EQ(seen.method, "PATCH");
  EXPECT_EQ(seen.path, "/items/7");
  EXPECT_EQ(seen.query, "x=1");
  EXPECT_EQ(seen.header("X-One"), "1");
  EXPECT_EQ(seen.header("Content-Type"), "application/json");
  EXPECT_EQ(seen.header("Expect"), std::nullopt);
  EXPECT_EQ(seen.body, R"({"a":1})");

  // An error status is an answer, not a failure; POST with no body sends Content-Length 0.
  server.enqueue(Reply::text(500, "oops"));
  request.method = Method::post;
  request.body.clear();
  result = fetch(transport, request);
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(result));
  EXPECT_EQ(std::get<HttpResponse>(result).statusCode, 500);
  EXPECT_EQ(server.requests().at(1).header("Content-Length"), "0");
}

// Each request is sent from the previous one's completion, while the I/O
// thread waits for the network: it must be woken every time, or each request
// waits for the I/O thread's poll to time out and the chain takes seconds.
TEST(HttpTransport, RequestsSentFromCompletionsGoOutAtOnceOnOneConnection) {
  TestHttpServer server;
  HttpTransport transport;
  constexpr int kCount = 40;
  std::promise<void> done;
  std::atomic<int> ok{0};
  std::function<void(HttpResult)> next = [&](HttpResult r) {
    if (std::holds_alternative<HttpResponse>(r)) ++ok;
    if (ok == kCount || !std::holds_alternative<HttpResponse>(r)) return done.set_value();
    transport.send(get(server.url("/ping")), next);
  };
  const auto start = std::chrono::steady_clock::now();
  transport.send(get(server.url("/ping")), next);
  ASSERT_EQ(done.get_future().wait_for(kWait), std::future_status::ready);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
  EXPECT_EQ(ok.load(), kCount);
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST(HttpTransport, MapsLoopbackFailuresToURLErrors) {
  TransportOptions options;
  options.requestTimeout = 300ms;
  options.maxResponseBytes = 1024 * 1024;
  HttpTransport transport(options);

  EXPECT_EQ(errorOf(fetch(transport, get(test::closedURL()))), URLError::Code::cannotConnectToHost);

  TestHttpServer server;
  server.enqueue(Reply::never());
  EXPECT_EQ(errorOf(fetch(transport, get(server.url("/slow")))), URLError::Code::timedOut);

  server.enqueue(Reply::truncated("half", 100));
  EXPECT_EQ(errorOf(fetch(transport, get(server.url("/cut")))),
            URLError::Code::networkConnectionLost);

  server.enqueue(Reply::huge(options.maxResponseBytes + 1));
  EXPECT_EQ(errorOf(fetch(transport, get(server.url("/huge")))), URLError::Code::dataLengthExceedsMaximum);
  server.enqueue(Reply::huge(options.maxResponseBytes));  // up to the cap arrives whole
  auto whole = fetch(transport, get(server.url("/whole")));
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(whole));
  EXPECT_EQ(std::get<HttpResponse>(whole).data.size(), options.maxResponseBytes);

  EXPECT_EQ(errorOf(fetch(transport, get("ftp://127.0.0.1/x"))), URLError::Code::unsupportedURL);
  EXPECT_EQ(errorOf(fetch(transport, get("http://[::1"))), URLError::Code::badURL);

  // The transport still works after all of that.
  EXPECT_TRUE(std::holds_alternative<HttpResponse>(fetch(transport, get(server.url("/after")))));
}

TEST(HttpTransport, CancelFromAnotherThreadCompletesOnceWithCancelled) {
  TestHttpServer server;
  HttpTransport transport;
  server.enqueue(Reply::never());

  std::promise<HttpResult> promise;
  std::atomic<int> calls{0};
  auto handle = transport.send(get(server.url("/wait")), [&](HttpResult r) {
    if (calls++ == 0) promise.set_value(std::move(r));
  });
  ASSERT_TRUE(server.waitForRequests(1));
  std::thread([handle] { handle.cancel(); }).join();
  auto future = promise.get_future();
  ASSERT_EQ(future.wait_for(kWait), std::future_status::ready);
  EXPECT_EQ(errorOf(future.get()), URLError::Code::cancelled);

  handle.cancel();  // after completion: nothing happens
  RequestHandle().cancel();
  EXPECT_TRUE(std::holds_alternative<HttpResponse>(fetch(transport, get(server.url("/next")))));
  EXPECT_EQ(calls.load(), 1);
}

TEST(HttpTransport, DestructionCancelsWhatIsInFlight) {
  TestHttpServer server;
  server.setHandler([](const test::RecordedRequest&) { return Reply::never(); });
  std::promise<HttpResult> promise;
  {
    HttpTransport transport;
    transport.send(get(server.url("/forever")),
                   [&](HttpResult r) { promise.set_value(std::move(r)); });
    ASSERT_TRUE(server.waitForRequests(1));
  }
  auto future = promise.get_future();
  ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(errorOf(future.get()), URLError::Code::cancelled);
}

// Requests beyond the connection limit wait for a connection, and their
// timeout starts only when they get one: the last of this burst waits about
// a second, four times its timeout.
TEST(HttpTransport, QueuedRequestsAllSucceedWithinTheirOwnTimeout) {
  TestHttpServer server;
  server.setHandler([](const test::RecordedRequest& r) {
    Reply reply = Reply::text(200, r.path);
    reply.delay = 20ms;
    return reply;
  });
  TransportOptions options;
  options.maxConnectionsPerHost = 4;
  options.requestTimeout = 250ms;
  HttpTransport transport(options);
  constexpr int kCount = 200;
  std::mutex mutex;
  std::condition_variable done;
  int finished = 0;
  std::vector<std::string> failures;
  for (int i = 0; i < kCount; ++i) {
    std::string path = "/n/" + std::to_string(i);
    transport.send(get(server.url(path)), [&, path](HttpResult r) {
      std::lock_guard lock(mutex);
      auto* response = std::get_if<HttpResponse>(&r);
      if (!response || response->data != path) {
        failures.push_back(response ? response->data : std::get<URLError>(r).what());
      }
      ++finished;
      done.notify_all();
    });
  }
  std::unique_lock lock(mutex);
  ASSERT_TRUE(done.wait_for(lock, kWait, [&] { return finished == kCount; }));
  EXPECT_TRUE(failures.empty()) << failures.size() << " failed, first: " << failures.front();
  EXPECT_LE(server.connectionCount(), 4u);
}

TransportOptions trustingTheTestCertificate() {
  TransportOptions options;
  options.caFile = test::testCertificate().certFile.string();
  return options;
}

// Redirects are followed within the origin only: elsewhere the 3xx is the
// answer, and the other origin hears nothing (the body holds credentials).
// From https that includes http on the same host.
TEST(HttpTransport, FollowsRedirectsOnlyWithinTheOrigin) {
  TestHttpServer server(TestHttpServer::Security::tls);
  TestHttpServer plain;
  auto redirect = [](int status, std::string to) {
    return Reply{.status = status, .headers = {{"Location", std::move(to)}}, .body = ""};
  };
  TransportOptions options = trustingTheTestCertificate();
  options.maxRedirects = 2;
  HttpTransport transport(options);
  HttpRequest post;
  post.method = Method::post;
  post.url = server.url("/a");
  post.body = "auth_token=secret";

  for (int status : {302, 307}) {
    server.enqueue(redirect(status, plain.url("/stolen")));
    auto away = fetch(transport, post);
    ASSERT_TRUE(std::holds_alternative<HttpResponse>(away)) << std::get<URLError>(away).what();
    EXPECT_EQ(std::get<HttpResponse>(away).statusCode, status);
    EXPECT_EQ(std::get<HttpResponse>(away).header("Location"), plain.url("/stolen"));
  }

  // Within the origin: 307 keeps the method and body, 303 turns into a GET.
  server.enqueue(redirect(307, "/b"));
  server.enqueue(redirect(303, server.url("/c")));
  server.enqueue(Reply::text(200, "done"));
  auto home = fetch(transport, post);
  ASSERT_TRUE(std::holds_alternative<HttpResponse>(home));
  EXPECT_EQ(std::get<HttpResponse>(home).data, "done");
  EXPECT_EQ(std::get<HttpResponse>(home).url, server.url("/c"));
  auto seen = server.requests();
  ASSERT_EQ(seen.size(), 5u);
  EXPECT_EQ(seen[3].method + " " + seen[3].path + " " + seen[3].body, "POST /b auth_token=secret");
  EXPECT_EQ(seen[4].method + " " + seen[4].path + " " + seen[4].body, "GET /c ");

  for (int i = 0; i < 3; ++i) server.enqueue(redirect(302, "/again"));
  EXPECT_EQ(errorOf(fetch(transport, get(server.url("/loop")))),
            URLError::Code::httpTooManyRedirects);
  EXPECT_EQ(server.requests().size(), 8u);
  EXPECT_TRUE(plain.requests().empty());
}

// caFile adds a trust anchor; it neither replaces verification nor the
// check of the host name.
TEST(HttpTransport, TrustsItsCaFileAndStillVerifiesThePeer) {
  TestHttpServer server(TestHttpServer::Security::tls);
  const std::string port = std::to_string(server.port());
  HttpTransport trusting(trustingTheTestCertificate());
  HttpTransport plain;
  TransportOptions broken;
  broken.caFile = "/nonexistent/ca.pem";
  HttpTransport misconfigured(broken);

  EXPECT_TRUE(std::holds_alternative<HttpResponse>(fetch(trusting, get(server.url("/ip")))));
  EXPECT_TRUE(std::holds_alternative<HttpResponse>(
      fetch(trusting, get("https://localhost:" + port + "/name"))));
  // The same address under a name the certificate does not carry.
  EXPECT_EQ(errorOf(fetch(trusting, get("https://[::ffff:127.0.0.1]:" + port + "/"))),
            URLError::Code::serverCertificateUntrusted);
  EXPECT_EQ(errorOf(fetch(plain, get(server.url("/")))),
            URLError::Code::serverCertificateUntrusted);
  auto unread = fetch(misconfigured, get(server.url("/")));
  EXPECT_EQ(errorOf(unread), URLError::Code::serverCertificateUntrusted);
  EXPECT_NE(std::string(std::get<URLError>(unread).what()).find("/nonexistent/ca.pem"),
            std::string::npos);
  EXPECT_EQ(server.requests().size(), 2u);
}

TEST(HttpTransport, OriginsDifferInSchemeHostOrPort) {
  struct Row {
    const char* a;
    const char* b;
    bool same;
  };
  const Row rows[] = {
      {"https://api.example.com/x?auth_token=1", "https://API.example.com:443/y", true},
      {"http://127.0.0.1:80/a", "http://127.0.0.1/b", true},
      {"https://api.example.com/x", "http://api.example.com/x", false},
      {"https://api.example.com/x", "https://api.example.com:8443/x", false},
      {"https://api.example.com/x", "https://evil.example.com/x", false},
      {"https://api.example.com/x", "not a url", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(detail::sameOrigin(row.a, row.b), row.same) << row.a << " / " << row.b;
  }
}

// The I/O thread only moves bytes: a completion that takes its time holds up
// neither transfers nor other completions, and one that throws is logged.
TEST(HttpTransport, SlowOrThrowingCompletionsHoldUpNoOtherRequest) {
  rx::rxtest::CapturedLines captured;
  TestHttpServer server;
  TransportOptions options;
  options.callbackThreads = 2;
  HttpTransport transport(options);
  std::promise<void> release;
  std::promise<void> slowStarted;
  transport.send(get(server.url("/slow")), [&](HttpResult) {
    slowStarted.set_value();
    release.get_future().wait();
  });
  ASSERT_EQ(slowStarted.get_future().wait_for(kWait), std::future_status::ready);

  // The one free worker logs the exception before it takes the next request.
  std::promise<void> thrown;
  transport.send(get(server.url("/throws")), [&](HttpResult) {
    thrown.set_value();
    throw std::runtime_error("boom");
  });
  ASSERT_EQ(thrown.get_future().wait_for(kWait), std::future_status::ready);
  // The slow one still holds its worker: this completion runs on the other.
  EXPECT_TRUE(std::holds_alternative<HttpResponse>(fetch(transport, get(server.url("/next")))));
  release.set_value();
  std::lock_guard lock(captured.mutex);
  ASSERT_EQ(captured.lines.size(), 1u);
  EXPECT_EQ(captured.lines[0], "HTTP: a completion threw: boom");
}

// What the loopback tests cannot bring about; they show the other codes.
TEST(URLError, CurlResultsMapToCodes) {
  using C = URLError::Code;
  struct Row {
    CURLcode code;
    long osErrno;
    bool tooLarge;
    C expected;
  };
  const Row rows[] = {
      {CURLE_COULDNT_CONNECT, ENETUNREACH, false, C::notConnectedToInternet},
      {CURLE_COULDNT_RESOLVE_HOST, 0, false, C::cannotFindHost},
      {CURLE_SSL_CONNECT_ERROR, 0, false, C::secureConnectionFailed},
      {CURLE_WEIRD_SERVER_REPLY, 0, false, C::badServerResponse},
      {CURLE_FILESIZE_EXCEEDED, 0, false, C::dataLengthExceedsMaximum},
      {CURLE_WRITE_ERROR, 0, true, C::dataLengthExceedsMaximum},
      {CURLE_WRITE_ERROR, 0, false, C::unknown},
      {CURLE_GOT_NOTHING, 0, false, C::networkConnectionLost},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(detail::urlErrorCode(row.code, row.osErrno, row.tooLarge), row.expected)
        << curl_easy_strerror(row.code);
  }
  // A code's number and name, as an error_code and in the text.
  std::error_code ec = C::notConnectedToInternet;
  EXPECT_EQ(ec.value(), -1009);
  EXPECT_EQ(ec.message(), "notConnectedToInternet");
  EXPECT_STREQ(URLError(C::timedOut, "after 1 s").what(), "timedOut (-1001): after 1 s");
}

}  // namespace
}  // namespace tavrel
