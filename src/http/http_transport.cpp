#include "tavrel/http/http_transport.h"

#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "http/callback_queue.h"
#include "http/curl_error_mapping.h"
#include "http/origin.h"

namespace tavrel {
namespace {
constexpr std::size_t kIdleHandles = 64;
using Clock = std::chrono::steady_clock;
}  // namespace

// One request from send() to its completion. Owned by the I/O thread's tables
// while in flight; the handle only ever asks for cancellation.
struct RequestHandle::State {
  std::weak_ptr<HttpTransport::Core> core;
  HttpRequest request;  // URL, method and body change when a redirect is followed
  HttpTransport::Completion completion;
  BodySink sink;  // set for a streamed body
  bool streamed = false;
  std::atomic<bool> cancelRequested{false};

  // I/O thread only.
  std::string origin;            // whose connection limit it counts against
  bool holdsSlot = false;        // counted in flight for its origin
  Clock::time_point connectedAt;  // when it got its slot: the timeout starts there
  long redirects = 0;
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  HttpResponse response;
  std::size_t maxBytes = 0;
  bool tooLarge = false;
  bool sinkOpen = false;  // the final answer's head went to the sink
  bool finished = false;
  char errorText[CURL_ERROR_SIZE] = {};
};

struct HttpTransport::Core {
  using State = RequestHandle::State;
  using StatePtr = std::shared_ptr<State>;

  explicit Core(TransportOptions o) : options(o), callbacks(o.callbackThreads) {}

  TransportOptions options;
  detail::CallbackQueue callbacks;

  std::mutex mutex;
  std::deque<StatePtr> incoming;
  std::vector<StatePtr> cancels;
  bool stopping = false;
  CURLM* multi = nullptr;  // made with the thread, freed by it
  bool polling = false;    // the I/O thread waits, or is about to, in curl_multi_poll
  std::thread thread;

  // I/O thread only.
  struct Origin {
    long inFlight = 0;
    std::deque<StatePtr> waiting;
  };
  CURLSH* share = nullptr;
  std::unordered_map<CURL*, StatePtr> active;
  std::unordered_map<std::string, Origin> origins;
  std::vector<CURL*> idle;  // finished handles, reset, kept for reuse
  std::vector<std::function<void()>> ready;  // completions handed over each turn

  // Requires mutex held.
  void startLocked(const std::shared_ptr<Core>& self) {
    if (thread.joinable() || stopping) return;
    static const bool globalInit = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    (void)globalInit;
    multi = curl_multi_init();
    share = curl_share_init();
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    thread = std::thread([self] { self->run(); });
  }

  // Wakes the I/O thread if it waits in curl_multi_poll, once per wait:
  // while it runs it looks at what was queued before it waits again. A burst
  // of sends from one batch of completions costs a single wakeup.
  void wakeLocked() {
    if (polling && multi) {
      polling = false;
      curl_multi_wakeup(multi);
    }
  }

  void run();
  void admit(const StatePtr& state);
  void pump(const std::string& origin);
  void begin(const StatePtr& state);
  std::optional<URLError> configure(State& state, CURL* e);
  void finish(const StatePtr& state, CURLcode code);
  bool followRedirect(const StatePtr& state, long status);
  void cancel(const StatePtr& state);
  void recycle(State& state);
  void complete(State& state, HttpResult result);
  void handOver();
  void shutdown();
};

namespace {

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Hands the answer's head to the sink once, with what was held back in
// memory before. False when the sink stops the transfer.
bool openSink(RequestHandle::State& state) {
  if (state.sinkOpen) return true;
  state.sinkOpen = true;
  long status = 0;
  curl_easy_getinfo(state.easy, CURLINFO_RESPONSE_CODE, &status);
  if (state.sink.onResponse &&
      !state.sink.onResponse(static_cast<int>(status), state.response.headers)) {
    return false;
  }
  std::string held = std::exchange(state.response.data, {});
  return held.empty() || !state.sink.onData || state.sink.onData(held);
}

std::size_t onBody(char* data, std::size_t, std::size_t size, void* user) {
  auto* state = static_cast<RequestHandle::State*>(user);
  if (state->streamed && !state->sinkOpen) {
    // A redirect's body stays in memory: the transport may follow it.
    long status = 0;
    curl_easy_getinfo(state->easy, CURLINFO_RESPONSE_CODE, &status);
    if (!isRedirect(status) && !openSink(*state)) return 0;
  }
  if (state->sinkOpen) {
    return !state->sink.onData || state->sink.onData({data, size}) ? size : 0;
  }
  if (state->response.data.size() + size > state->maxBytes) {
    state->tooLarge = true;
    return 0;  // aborts the transfer with CURLE_WRITE_ERROR
  }
  if (state->response.data.empty()) {  // a large body is copied once, not grown
    curl_off_t length = -1;
    curl_easy_getinfo(state->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (length > 0) {
      state->response.data.reserve(std::min(static_cast<std::size_t>(length), state->maxBytes));
    }
  }
  state->response.data.append(data, size);
  return size;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r' ||
                        s.back() == '\n')) {
    s.remove_suffix(1);
  }
  return s;
}

std::size_t onHeader(char* data, std::size_t, std::size_t size, void* user) {
  auto* state = static_cast<RequestHandle::State*>(user);
  std::string_view line(data, size);
  if (line.starts_with("HTTP/")) {
    state->response.headers.clear();  // a new answer: after a 100
    return size;
  }
  auto colon = line.find(':');
  if (colon != std::string_view::npos) {
    state->response.headers.emplace_back(std::string(trim(line.substr(0, colon))),
                                         std::string(trim(line.substr(colon + 1))));
  }
  return size;
}

// Adds the trust anchors of TransportOptions::caFile to those libcurl has
// already loaded from the system store.
CURLcode addTrustAnchors(CURL*, void* sslContext, void* caFile) {
  X509_STORE* store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(sslContext));
  if (store && X509_STORE_load_file(store, static_cast<const char*>(caFile)) == 1) return CURLE_OK;
  return CURLE_SSL_CACERT_BADFILE;
}

}  // namespace

// Queues the request behind those of its origin and starts what may start.
void HttpTransport::Core::admit(const StatePtr& state) {
  state->origin = detail::originOf(state->request.url).value_or(state->request.url);
  origins[state->origin].waiting.push_back(state);
  pump(state->origin);
}

void HttpTransport::Core::pump(const std::string& key) {
  auto& origin = origins[key];
  const long limit = options.maxConnectionsPerHost;
  while (!origin.waiting.empty() && (limit <= 0 || origin.inFlight < limit)) {
    auto state = std::move(origin.waiting.front());
    origin.waiting.pop_front();
    if (state->cancelRequested) {
      complete(*state, URLError(URLError::Code::cancelled));
      continue;
    }
    ++origin.inFlight;
    state->holdsSlot = true;
    state->connectedAt = Clock::now();
    begin(state);
  }
}

void HttpTransport::Core::begin(const StatePtr& state) {
  CURL* e = nullptr;
  if (!idle.empty()) {
    e = idle.back();
    idle.pop_back();
  } else {
    e = curl_easy_init();
  }
  if (!e) {
    complete(*state, URLError(URLError::Code::unknown, "cannot create a transfer"));
    return;
  }
  state->easy = e;
  if (auto refused = configure(*state, e)) {
    complete(*state, std::move(*refused));
    return;
  }
  if (curl_multi_add_handle(multi, e) != CURLM_OK) {
    complete(*state, URLError(URLError::Code::unknown, "cannot start the transfer"));
    return;
  }
  active.emplace(e, state);
}

std::optional<URLError> HttpTransport::Core::configure(State& state, CURL* e) {
  const HttpRequest& req = state.request;
  state.maxBytes = options.maxResponseBytes;
  // A streamed body without a time of its own is limited by stalls only.
  const bool unlimited = state.streamed && req.timeout.count() <= 0;
  const auto total = req.timeout.count() > 0 ? req.timeout : options.requestTimeout;
  const auto left = total - std::chrono::duration_cast<std::chrono::milliseconds>(
                                Clock::now() - state.connectedAt);
  if (!unlimited && left.count() <= 0) {
    return URLError(URLError::Code::timedOut, "no time left after " +
                                                  std::to_string(state.redirects) + " redirects");
  }

  curl_easy_setopt(e, CURLOPT_URL, req.url.c_str());
  curl_easy_setopt(e, CURLOPT_PRIVATE, &state);
  curl_easy_setopt(e, CURLOPT_ERRORBUFFER, state.errorText);
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  // Redirects are followed by hand (followRedirect), within the origin only.
  curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count()));
  if (unlimited) {
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME,
                     static_cast<long>(std::max<std::int64_t>(1, options.stallTimeout.count() / 1000)));
  } else {
    curl_easy_setopt(e, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  }
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options.caFile.empty()) {
    curl_easy_setopt(e, CURLOPT_SSL_CTX_FUNCTION, addTrustAnchors);
    curl_easy_setopt(e, CURLOPT_SSL_CTX_DATA, options.caFile.c_str());
  }
  curl_easy_setopt(e, CURLOPT_TCP_KEEPALIVE, 1L);
  if (state.streamed) {
    curl_easy_setopt(e, CURLOPT_BUFFERSIZE, 256L * 1024);
  } else {
    curl_easy_setopt(e, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(e, CURLOPT_MAXFILESIZE_LARGE,
                     static_cast<curl_off_t>(options.maxResponseBytes));
  }
  curl_easy_setopt(e, CURLOPT_SHARE, share);
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, onBody);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, &state);
  curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, onHeader);
  curl_easy_setopt(e, CURLOPT_HEADERDATA, &state);

  const bool sendsBody = !req.body.empty() || req.method == Method::post ||
                         req.method == Method::put || req.method == Method::patch;
  if (req.method == Method::head) {
    curl_easy_setopt(e, CURLOPT_NOBODY, 1L);
  } else if (sendsBody) {
    curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(req.body.size()));
    curl_easy_setopt(e, CURLOPT_POSTFIELDS, req.body.data());
  } else {
    curl_easy_setopt(e, CURLOPT_HTTPGET, 1L);
  }
  if (req.method != Method::get && req.method != Method::post && req.method != Method::head) {
    curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, std::string(toString(req.method)).c_str());
  } else if (req.method == Method::get && sendsBody) {
    curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, "GET");
  }

  bool hasExpect = false;
  for (const auto& [name, value] : req.headers) {
    std::string line = value.empty() ? name + ";" : name + ": " + value;
    state.headerList = curl_slist_append(state.headerList, line.c_str());
    hasExpect = hasExpect || headerValue({{name, value}}, "Expect").has_value();
  }
  if (!hasExpect) state.headerList = curl_slist_append(state.headerList, "Expect:");
  curl_easy_setopt(e, CURLOPT_HTTPHEADER, state.headerList);
  return std::nullopt;
}

// A redirect within the origin is sent again on the same slot, as a GET
// after 303 (and after 301 or 302 of a POST), unchanged after 307 and 308.
// Anywhere else the answer stands as it is. True when the request goes on.
bool HttpTransport::Core::followRedirect(const StatePtr& state, long status) {
  char* location = nullptr;
  curl_easy_getinfo(state->easy, CURLINFO_REDIRECT_URL, &location);
  if (!location || !detail::sameOrigin(location, state->request.url)) return false;
  if (state->redirects >= options.maxRedirects) {
    complete(*state, URLError(URLError::Code::httpTooManyRedirects,
                              "more than " + std::to_string(options.maxRedirects) + " redirects"));
    return true;
  }
  ++state->redirects;
  HttpRequest& req = state->request;
  req.url = location;  // copied before the handle is reset
  if ((status == 303 && req.method != Method::head) ||
      ((status == 301 || status == 302) && req.method == Method::post)) {
    req.method = Method::get;
    req.body.clear();
  }
  recycle(*state);
  state->response = HttpResponse{};
  state->tooLarge = false;
  state->sinkOpen = false;
  state->errorText[0] = '\0';
  begin(state);
  return true;
}

void HttpTransport::Core::finish(const StatePtr& state, CURLcode code) {
  if (code == CURLE_OK) {
    long status = 0;
    char* url = nullptr;
    curl_easy_getinfo(state->easy, CURLINFO_RESPONSE_CODE, &status);
    if (isRedirect(status) && followRedirect(state, status)) return;
    curl_easy_getinfo(state->easy, CURLINFO_EFFECTIVE_URL, &url);
    state->response.statusCode = static_cast<int>(status);
    state->response.url = url ? url : state->request.url;
    if (state->streamed && !openSink(*state)) {
      complete(*state, URLError(URLError::Code::cancelled, "the body's receiver stopped it"));
      return;
    }
    complete(*state, std::move(state->response));
    return;
  }
  long osErrno = 0;
  curl_easy_getinfo(state->easy, CURLINFO_OS_ERRNO, &osErrno);
  auto mapped = detail::urlErrorCode(code, osErrno, state->tooLarge);
  std::string detail = state->errorText[0] ? state->errorText : curl_easy_strerror(code);
  if (mapped == URLError::Code::dataLengthExceedsMaximum) {
    detail = "the body is larger than " + std::to_string(state->maxBytes) + " bytes";
  } else if (code == CURLE_COULDNT_CONNECT && osErrno != 0) {
    detail += std::string(" (") + std::strerror(static_cast<int>(osErrno)) + ")";
  } else if (code == CURLE_SSL_CACERT_BADFILE && !options.caFile.empty()) {
    detail = "cannot load trust anchors from " + options.caFile;
  }
  complete(*state, URLError(mapped, std::move(detail)));
}

void HttpTransport::Core::cancel(const StatePtr& state) {
  if (state->finished) return;
  if (!state->easy) {  // still waiting for its origin's slot
    auto& waiting = origins[state->origin].waiting;
    waiting.erase(std::remove(waiting.begin(), waiting.end(), state), waiting.end());
  }
  complete(*state, URLError(URLError::Code::cancelled));
}

// Takes the transfer off the multi handle and keeps the easy handle for reuse.
void HttpTransport::Core::recycle(State& state) {
  if (state.easy) {
    curl_multi_remove_handle(multi, state.easy);
    active.erase(state.easy);
    if (idle.size() < kIdleHandles && multi) {
      curl_easy_reset(state.easy);
      idle.push_back(state.easy);
    } else {
      curl_easy_cleanup(state.easy);
    }
    state.easy = nullptr;
  }
  curl_slist_free_all(state.headerList);
  state.headerList = nullptr;
}

// Ends the request on the I/O thread; its completion is handed to the
// callback queue at the end of the turn.
void HttpTransport::Core::complete(State& state, HttpResult result) {
  if (state.finished) return;
  state.finished = true;
  recycle(state);
  if (state.holdsSlot) {
    state.holdsSlot = false;
    --origins[state.origin].inFlight;
    pump(state.origin);
  }
  if (auto completion = std::move(state.completion)) {
    ready.emplace_back([completion = std::move(completion), result = std::move(result)]() mutable {
      completion(std::move(result));
    });
  }
}

void HttpTransport::Core::handOver() {
  if (!ready.empty()) callbacks.post(std::exchange(ready, {}));
}

void HttpTransport::Core::run() {
  for (;;) {
    std::deque<StatePtr> starting;
    std::vector<StatePtr> cancelling;
    {
      std::lock_guard lock(mutex);
      polling = false;
      if (stopping) break;  // shutdown() takes what is still queued
      starting.swap(incoming);
      cancelling.swap(cancels);
    }
    for (auto& state : starting) {
      if (state->cancelRequested) {
        complete(*state, URLError(URLError::Code::cancelled));
      } else {
        admit(state);
      }
    }
    for (auto& state : cancelling) cancel(state);

    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
      if (msg->msg != CURLMSG_DONE) continue;
      auto it = active.find(msg->easy_handle);
      if (it == active.end()) continue;
      auto state = it->second;
      finish(state, msg->data.result);
    }
    handOver();
    bool wait;
    {
      std::lock_guard lock(mutex);
      wait = polling = incoming.empty() && cancels.empty() && !stopping;
    }
    if (wait) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  shutdown();
}

void HttpTransport::Core::shutdown() {
  // Whatever is in flight, waiting or still queued is cancelled. send() no
  // longer queues anything once stopping is set.
  std::deque<StatePtr> starting;
  {
    std::lock_guard lock(mutex);
    starting.swap(incoming);
    cancels.clear();
  }
  std::vector<StatePtr> all;
  for (auto& [easy, state] : active) all.push_back(state);
  for (auto& [key, origin] : origins) {
    all.insert(all.end(), origin.waiting.begin(), origin.waiting.end());
    origin.waiting.clear();
  }
  all.insert(all.end(), starting.begin(), starting.end());
  for (auto& state : all) complete(*state, URLError(URLError::Code::cancelled));
  handOver();
  for (CURL* e : idle) curl_easy_cleanup(e);
  idle.clear();
  std::lock_guard lock(mutex);
  curl_multi_cleanup(multi);
  multi = nullptr;
  curl_share_cleanup(share);
  share = nullptr;
}

void RequestHandle::cancel() const {
  if (!state_) return;
  auto core = state_->core.lock();
  if (!core) return;
  state_->cancelRequested = true;
  std::lock_guard lock(core->mutex);
  core->cancels.push_back(state_);
  core->wakeLocked();
}

HttpTransport::HttpTransport(TransportOptions options)
    : core_(std::make_shared<Core>(options)) {}

HttpTransport::~HttpTransport() {
  {
    std::lock_guard lock(core_->mutex);
    core_->stopping = true;
    core_->wakeLocked();
  }
  if (core_->thread.joinable()) core_->thread.join();
  core_->callbacks.shutdown();
}

HttpTransport& HttpTransport::shared() {
  static HttpTransport transport;
  return transport;
}

const TransportOptions& HttpTransport::options() const noexcept { return core_->options; }

RequestHandle HttpTransport::send(HttpRequest request, Completion completion) {
  return start(std::move(request), nullptr, std::move(completion));
}

RequestHandle HttpTransport::stream(HttpRequest request, BodySink sink, Completion completion) {
  return start(std::move(request), &sink, std::move(completion));
}

RequestHandle HttpTransport::start(HttpRequest request, BodySink* sink, Completion completion) {
  auto state = std::make_shared<RequestHandle::State>();
  state->core = core_;
  state->request = std::move(request);
  if (sink) {
    state->sink = std::move(*sink);
    state->streamed = true;
  }
  {
    std::lock_guard lock(core_->mutex);
    if (!core_->stopping) {
      state->completion = std::move(completion);
      core_->startLocked(core_);
      core_->incoming.push_back(state);
      core_->wakeLocked();
      return RequestHandle(state);
    }
  }
  // Shut down already: nothing runs it any more.
  state->finished = true;
  if (completion) {
    core_->callbacks.post([completion = std::move(completion)] {
      completion(URLError(URLError::Code::cancelled, "the transport has shut down"));
    });
  }
  return RequestHandle(state);
}

void HttpTransport::post(std::function<void()> job) { core_->callbacks.post(std::move(job)); }

}  // namespace tavrel
