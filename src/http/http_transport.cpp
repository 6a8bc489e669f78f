#include "tavrel/http/http_transport.h"

#include <curl/curl.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "http/curl_error_mapping.h"

namespace tavrel {
namespace {
constexpr std::size_t kIdleHandles = 64;
}  // namespace

// One request from send() to its completion. Owned by the I/O thread's table
// while in flight; the handle only ever asks for cancellation.
struct RequestHandle::State {
  std::weak_ptr<HttpTransport::Core> core;
  HttpRequest request;
  HttpTransport::Completion completion;
  std::atomic<bool> cancelRequested{false};

  // I/O thread only.
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  HttpResponse response;
  std::size_t maxBytes = 0;
  bool tooLarge = false;
  bool finished = false;
  char errorText[CURL_ERROR_SIZE] = {};
};

struct HttpTransport::Core {
  using State = RequestHandle::State;

  explicit Core(TransportOptions o) : options(o) {}

  TransportOptions options;

  std::mutex mutex;
  std::deque<std::shared_ptr<State>> incoming;
  std::vector<std::shared_ptr<State>> cancels;
  std::deque<std::function<void()>> jobs;
  bool stopping = false;
  CURLM* multi = nullptr;  // made with the thread, freed by it
  std::thread thread;

  // I/O thread only.
  CURLSH* share = nullptr;
  std::unordered_map<CURL*, std::shared_ptr<State>> active;
  std::vector<CURL*> idle;  // finished handles, reset, kept for reuse
  std::thread::id ioThread;

  // Requires mutex held.
  void startLocked(const std::shared_ptr<Core>& self) {
    if (thread.joinable() || stopping) return;
    static const bool globalInit = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    (void)globalInit;
    multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, options.maxConnectionsPerHost);
    share = curl_share_init();
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    thread = std::thread([self] { self->run(); });
    ioThread = thread.get_id();
  }

  // Wakes the I/O thread; from that thread itself the loop comes round anyway.
  void wakeLocked() {
    if (multi && std::this_thread::get_id() != ioThread) curl_multi_wakeup(multi);
  }

  void run();
  void begin(const std::shared_ptr<State>& state);
  void finish(State& state, CURLcode code);
  void complete(State& state, HttpResult result);
  void shutdown();
};

namespace {

std::size_t onBody(char* data, std::size_t, std::size_t size, void* user) {
  auto* state = static_cast<RequestHandle::State*>(user);
  if (state->response.data.size() + size > state->maxBytes) {
    state->tooLarge = true;
    return 0;  // aborts the transfer with CURLE_WRITE_ERROR
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
    state->response.headers.clear();  // a new answer: after a redirect or a 100
    return size;
  }
  auto colon = line.find(':');
  if (colon != std::string_view::npos) {
    state->response.headers.emplace_back(std::string(trim(line.substr(0, colon))),
                                         std::string(trim(line.substr(colon + 1))));
  }
  return size;
}

}  // namespace

void HttpTransport::Core::begin(const std::shared_ptr<State>& state) {
  const HttpRequest& req = state->request;
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
  state->maxBytes = options.maxResponseBytes;
  auto timeout = req.timeout.count() > 0 ? req.timeout : options.requestTimeout;

  curl_easy_setopt(e, CURLOPT_URL, req.url.c_str());
  curl_easy_setopt(e, CURLOPT_PRIVATE, state.get());
  curl_easy_setopt(e, CURLOPT_ERRORBUFFER, state->errorText);
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(e, CURLOPT_MAXREDIRS, options.maxRedirects);
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count()));
  curl_easy_setopt(e, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(e, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(e, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(e, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(options.maxResponseBytes));
  curl_easy_setopt(e, CURLOPT_SHARE, share);
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, onBody);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, state.get());
  curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, onHeader);
  curl_easy_setopt(e, CURLOPT_HEADERDATA, state.get());

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
    state->headerList = curl_slist_append(state->headerList, line.c_str());
    hasExpect = hasExpect || headerValue({{name, value}}, "Expect").has_value();
  }
  if (!hasExpect) state->headerList = curl_slist_append(state->headerList, "Expect:");
  curl_easy_setopt(e, CURLOPT_HTTPHEADER, state->headerList);

  if (curl_multi_add_handle(multi, e) != CURLM_OK) {
    complete(*state, URLError(URLError::Code::unknown, "cannot start the transfer"));
    return;
  }
  active.emplace(e, state);
}

void HttpTransport::Core::finish(State& state, CURLcode code) {
  if (code == CURLE_OK) {
    long status = 0;
    char* url = nullptr;
    curl_easy_getinfo(state.easy, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(state.easy, CURLINFO_EFFECTIVE_URL, &url);
    state.response.statusCode = static_cast<int>(status);
    state.response.url = url ? url : state.request.url;
    complete(state, std::move(state.response));
    return;
  }
  long osErrno = 0;
  curl_easy_getinfo(state.easy, CURLINFO_OS_ERRNO, &osErrno);
  auto mapped = detail::urlErrorCode(code, osErrno, state.tooLarge);
  std::string detail = state.errorText[0] ? state.errorText : curl_easy_strerror(code);
  if (mapped == URLError::Code::dataLengthExceedsMaximum) {
    detail = "the body is larger than " + std::to_string(state.maxBytes) + " bytes";
  }
  complete(state, URLError(mapped, std::move(detail)));
}

void HttpTransport::Core::complete(State& state, HttpResult result) {
  if (state.finished) return;
  state.finished = true;
  if (state.easy) {
    curl_multi_remove_handle(multi, state.easy);
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
  auto completion = std::move(state.completion);
  if (!completion) return;
  try {
    completion(std::move(result));
  } catch (...) {
    // A completion that throws must not take the I/O thread down.
  }
}

void HttpTransport::Core::run() {
  for (;;) {
    std::deque<std::shared_ptr<State>> starting;
    std::vector<std::shared_ptr<State>> cancelling;
    std::deque<std::function<void()>> toRun;
    bool stop;
    {
      std::lock_guard lock(mutex);
      starting.swap(incoming);
      cancelling.swap(cancels);
      toRun.swap(jobs);
      stop = stopping;
    }
    for (auto& job : toRun) {
      try {
        job();
      } catch (...) {
      }
    }
    for (auto& state : starting) {
      if (state->cancelRequested) {
        complete(*state, URLError(URLError::Code::cancelled));
      } else {
        begin(state);
      }
    }
    for (auto& state : cancelling) {
      auto it = active.find(state->easy);
      if (state->easy && it != active.end()) {
        complete(*state, URLError(URLError::Code::cancelled));
        active.erase(it);
      }
    }
    if (stop) break;

    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
      if (msg->msg != CURLMSG_DONE) continue;
      auto it = active.find(msg->easy_handle);
      if (it == active.end()) continue;
      auto state = it->second;
      active.erase(it);
      finish(*state, msg->data.result);
    }
    bool more;
    {
      std::lock_guard lock(mutex);
      more = !incoming.empty() || !cancels.empty() || !jobs.empty() || stopping;
    }
    if (!more) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  shutdown();
}

void HttpTransport::Core::shutdown() {
  // Whatever is in flight or still arrives is cancelled; completions may
  // still send or post, so drain until nothing is left.
  for (;;) {
    std::deque<std::shared_ptr<State>> starting;
    std::deque<std::function<void()>> toRun;
    {
      std::lock_guard lock(mutex);
      starting.swap(incoming);
      toRun.swap(jobs);
      cancels.clear();
    }
    auto inFlight = std::move(active);
    active.clear();
    if (starting.empty() && toRun.empty() && inFlight.empty()) break;
    for (auto& [easy, state] : inFlight) complete(*state, URLError(URLError::Code::cancelled));
    for (auto& state : starting) complete(*state, URLError(URLError::Code::cancelled));
    for (auto& job : toRun) {
      try {
        job();
      } catch (...) {
      }
    }
  }
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
  if (!core_->thread.joinable()) return;
  if (core_->thread.get_id() == std::this_thread::get_id()) {
    core_->thread.detach();  // destroyed from its own completion: it ends by itself
  } else {
    core_->thread.join();
  }
}

HttpTransport& HttpTransport::shared() {
  static HttpTransport transport;
  return transport;
}

const TransportOptions& HttpTransport::options() const noexcept { return core_->options; }

RequestHandle HttpTransport::send(HttpRequest request, Completion completion) {
  auto state = std::make_shared<RequestHandle::State>();
  state->core = core_;
  state->request = std::move(request);
  state->completion = std::move(completion);
  {
    std::lock_guard lock(core_->mutex);
    if (!core_->stopping) {
      core_->startLocked(core_);
      core_->incoming.push_back(state);
      core_->wakeLocked();
      return RequestHandle(state);
    }
  }
  // Shut down already: nothing runs it any more.
  core_->complete(*state, URLError(URLError::Code::cancelled, "the transport has shut down"));
  return RequestHandle(state);
}

void HttpTransport::post(std::function<void()> job) {
  {
    std::lock_guard lock(core_->mutex);
    if (!core_->stopping) {
      core_->startLocked(core_);
      core_->jobs.push_back(std::move(job));
      core_->wakeLocked();
      return;
    }
  }
  job();
}

}  // namespace tavrel
