// Requests per second of HttpTransport against a loopback server in the same
// process, beside the same load driven with plain libcurl multi on one thread
// (the limit: no queue, no completions, no thread hand-off). Both keep
// kInFlight requests going until kTotal have finished. The same load once
// more through TavrelProvider: the endpoint built from a target and the
// settings, the reactive request, and the answer decoded into
// Response<SimpleId>; bare, and with the verbose logger plugin that every
// service has (its lines dropped by the debug sink).

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <filesystem>
#include <fstream>
#include <memory>

#include "support/test_http_server.h"
#include "tavrel/api/app_target.h"
#include "tavrel/api/tavrel_provider.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/log.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/http/network_logger_plugin.h"

namespace {

constexpr int kInFlight = 64;
constexpr int kTotal = 20000;
using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Our transport: every completion sends the next request from the I/O thread.
double runTransport(const std::string& url, int& failures) {
  std::mutex mutex;
  std::condition_variable done;
  int started = 0;
  int finished = 0;
  failures = 0;
  std::function<void()> next;
  // Declared last so that it is joined before what its completions touch goes.
  tavrel::HttpTransport transport;
  next = [&] {
    {
      std::lock_guard lock(mutex);
      if (started == kTotal) return;
      ++started;
    }
    tavrel::HttpRequest request;
    request.url = url;
    transport.send(std::move(request), [&](tavrel::HttpResult r) {
      bool ok = std::holds_alternative<tavrel::HttpResponse>(r) &&
                std::get<tavrel::HttpResponse>(r).statusCode == 200;
      {
        std::lock_guard lock(mutex);
        ++finished;
        if (!ok) ++failures;
        if (finished == kTotal) done.notify_all();
      }
      next();
    });
  };
  auto start = Clock::now();
  for (int i = 0; i < kInFlight; ++i) next();
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return finished == kTotal; });
  return kTotal / seconds(start);
}

// Through TavrelProvider<AppTarget>: "djangousers/ping" under the main
// bundle's apiUrl, with "auth_token" and "id_as_string" in the query.
double runProvider(bool logged, int& failures) {
  std::mutex mutex;
  std::condition_variable done;
  int started = 0;
  int finished = 0;
  failures = 0;
  std::function<void()> next;
  auto settings = std::make_shared<tavrel::NetworkSettings>(
      tavrel::NetworkSettings::ConnectionType::sdk, "tok", "7", "9");
  std::vector<std::shared_ptr<tavrel::PluginType>> plugins;
  if (logged) plugins.push_back(std::make_shared<tavrel::NetworkLoggerPlugin>(true));
  tavrel::HttpTransport transport;
  auto provider = std::make_shared<tavrel::TavrelProvider<tavrel::AppTarget>>(settings, plugins,
                                                                              &transport);
  const auto target = tavrel::AppTarget::getApps("ping");
  next = [&] {
    {
      std::lock_guard lock(mutex);
      if (started == kTotal) return;
      ++started;
    }
    auto ok = std::make_shared<bool>(false);
    auto end = [&, ok] {
      {
        std::lock_guard lock(mutex);
        ++finished;
        if (!*ok) ++failures;
        if (finished == kTotal) done.notify_all();
      }
      next();
    };
    provider->rx().request<tavrel::SimpleId>(target).subscribe(
        [ok](const tavrel::Result<tavrel::Response<tavrel::SimpleId>>& r) {
          *ok = r.succeed() && r.success()->data.id == "1";
        },
        [end](std::exception_ptr) { end(); }, end);
  };
  auto start = Clock::now();
  for (int i = 0; i < kInFlight; ++i) next();
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return finished == kTotal; });
  return kTotal / seconds(start);
}

std::size_t discard(char*, std::size_t, std::size_t n, void*) { return n; }

// Plain libcurl multi: the same handles reused, driven inline.
double runCurl(const std::string& url, int& failures) {
  CURLM* multi = curl_multi_init();
  std::vector<CURL*> handles;
  failures = 0;
  auto start = Clock::now();
  int started = 0;
  for (int i = 0; i < kInFlight; ++i) {
    CURL* e = curl_easy_init();
    curl_easy_setopt(e, CURLOPT_URL, url.c_str());
    curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, discard);
    curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
    handles.push_back(e);
    curl_multi_add_handle(multi, e);
    ++started;
  }
  int finished = 0;
  while (finished < kTotal) {
    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
      if (msg->msg != CURLMSG_DONE) continue;
      CURL* e = msg->easy_handle;
      if (msg->data.result != CURLE_OK) ++failures;
      ++finished;
      curl_multi_remove_handle(multi, e);
      if (started < kTotal) {
        ++started;
        curl_multi_add_handle(multi, e);
      }
    }
    if (finished < kTotal) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  double rate = kTotal / seconds(start);
  for (CURL* e : handles) curl_easy_cleanup(e);
  curl_multi_cleanup(multi);
  return rate;
}

}  // namespace

int main() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  tavrel::test::TestHttpServer server;
  server.setHandler([](const tavrel::test::RecordedRequest&) {
    return tavrel::test::Reply::json(200, R"({"meta":{"status":200},"data":{"id":"1"}})");
  });
  const std::string url = server.url("/api/v1/ping");

  // The providers find the server through the main bundle.
  const auto bundle = std::filesystem::temp_directory_path() / "tavrel_http_bench_bundle";
  std::filesystem::create_directories(bundle);
  std::ofstream(bundle / "Info.plist")
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
         "<key>apiUrl</key><string>"
      << server.url("/api/v1/") << "</string></dict></plist>\n";
  tavrel::Bundle::registerMain(bundle);
  tavrel::setDebugSink([](std::string_view) {});

  double best = 0, bestCurl = 0, bestProvider = 0, bestLogged = 0;
  int failures = 0, curlFailures = 0, providerFailures = 0;
  for (int round = 0; round < 3; ++round) {
    int f = 0;
    best = std::max(best, runTransport(url, f));
    failures += f;
    bestCurl = std::max(bestCurl, runCurl(url, f));
    curlFailures += f;
    bestProvider = std::max(bestProvider, runProvider(false, f));
    providerFailures += f;
    bestLogged = std::max(bestLogged, runProvider(true, f));
    providerFailures += f;
  }
  tavrel::setDebugSink({});
  tavrel::Bundle::registerMain({});
  std::error_code ignored;
  std::filesystem::remove_all(bundle, ignored);

  std::printf("requests: %d per run, %d in flight, best of 3 runs\n", kTotal, kInFlight);
  std::printf("plain libcurl multi (limit): %.0f requests/s (%d failed)\n", bestCurl, curlFailures);
  std::printf("HttpTransport:               %.0f requests/s (%d failed)\n", best, failures);
  std::printf("TavrelProvider + decode:     %.0f requests/s\n", bestProvider);
  std::printf("  the same, verbose logger:  %.0f requests/s (%d failed in both)\n", bestLogged,
              providerFailures);
  if (bestCurl > 0) {
    std::printf("ratio ours/limit: %.3f\n", best / bestCurl);
    std::printf("ratio provider/limit: %.3f, with logger: %.3f\n", bestProvider / bestCurl,
                bestLogged / bestCurl);
  }
  server.stop();
  curl_global_cleanup();
  return failures + curlFailures + providerFailures == 0 ? 0 : 1;
}
