// Load on the reference service: 200 visitors, each with its own socket,
// send 20 messages each, one after another as each comes back as a frame,
// with the bot answering every one. Reports messages per second, the median
// and 99th-percentile latency from a reply's request to its frame, and the
// process's peak memory; checks that every message and every answer arrived
// exactly once.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tavrel/api/conversation_service.h"
#include "tavrel/api/user_service.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/log.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/rts/tavrel_socket.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/service/server.h"

using namespace tavrel;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kVisitors = 200;
constexpr int kMessages = 20;

struct Visitor;

// Everything runs on the main queue but the HTTP answers, which only post there.
struct Load {
  HttpTransport transport;
  std::vector<std::unique_ptr<Visitor>> visitors;
  std::vector<double> latenciesMs;
  int done = 0;
  bool duplicate = false;
};

struct Visitor final : RtsServiceProtocol {
  Load* load = nullptr;
  std::shared_ptr<NetworkSettings> settings;
  std::unique_ptr<ConversationService> conversations;
  std::shared_ptr<TavrelSocket> socket;
  std::string conversation;
  int sent = 0;
  Clock::time_point sentAt;
  std::set<std::int64_t> mine;     // random ids of own parts heard
  std::set<std::string> answers;   // ids of operator parts heard
  rx::DisposeBag bag;

  void next() {
    ++sent;
    sentAt = Clock::now();
    bag.insert(conversations->reply(conversation, "message " + std::to_string(sent) + " about a refund",
                                    std::to_string(sent), "comment")
                   .subscribe([](const auto&) {}));
  }

  void onRtsMessage(const std::string& text) override {
    rx::MainQueue::shared().post([this, text] { heard(text); });
  }

  void heard(const std::string& text) {
    auto frame = decodeJson<JsonValue>(text);
    if (!frame || frame->getString("channel") != "conversation_reply") return;
    auto message = decodeJson<JsonValue>(frame->getString("message").value_or(""));
    if (!message) return;
    if (message->getString("direction") == "a2u") {
      load->duplicate |= !answers.insert(*message->getString("id")).second;
      return;
    }
    const std::int64_t random = std::stoll(message->getString("random_id").value_or("0"));
    if (random == 0) return;  // the first message, before the timed part
    load->duplicate |= !mine.insert(random).second;
    if (random != sent) return;
    load->latenciesMs.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sentAt).count());
    if (sent < kMessages) {
      next();
    } else {
      ++load->done;
    }
  }
};

long peakRssKb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

}  // namespace

int main() {
  setDebugSink([](std::string_view) {});
  service::ServerOptions options;
  options.listen = "127.0.0.1:0";
  options.botTypingDelay = std::chrono::milliseconds(10);
  auto started = service::Server::start(options);
  if (auto* error = std::get_if<service::StartError>(&started)) {
    std::fprintf(stderr, "%s\n", error->message.c_str());
    return 1;
  }
  auto& server = *std::get<std::unique_ptr<service::Server>>(started);
  const auto dir = std::filesystem::temp_directory_path() / ("tavrel_bench_service_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  std::ofstream(dir / "Info.plist") << "<plist version=\"1.0\"><dict><key>apiUrl</key><string>" << server.apiUrl()
                                    << "</string><key>wssUrl</key><string>" << server.wssUrl()
                                    << "</string></dict></plist>";
  Bundle::registerMain(dir);
  Bundle::registerBundle(Bundle::libIdentifier, dir);

  auto load = std::make_unique<Load>();
  auto& queue = rx::MainQueue::shared();
  // All visitors connect at once, then open their sockets.
  UserService users(nullptr, &load->transport);
  int connected = 0;
  rx::DisposeBag connects;
  for (int i = 0; i < kVisitors; ++i) {
    auto v = std::make_unique<Visitor>();
    v->load = load.get();
    Visitor* raw = v.get();
    connects.insert(users.connect(server.demoApp().apiKey, "bench").subscribe([raw, &connected](const auto& result) {
      auto session = result.success();
      rx::MainQueue::shared().post([raw, session, &connected] {
        if (session) {
          raw->settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk,
                                                            session->first.token.value_or(""),
                                                            session->first.appId, session->first.id);
        }
        ++connected;
      });
    }));
    load->visitors.push_back(std::move(v));
  }
  queue.runUntil([&] { return connected >= kVisitors; }, std::chrono::seconds(60));
  int ready = 0;
  for (auto& v : load->visitors) {
    if (!v->settings) return std::fprintf(stderr, "connect failed\n"), 1;
    v->conversations = std::make_unique<ConversationService>(v->settings, &load->transport);
    std::shared_ptr<RtsServiceProtocol> service(v.get(), [](RtsServiceProtocol*) {});
    v->socket = TavrelSocket::create(v->settings, {Channel::conversationReply}, service);
    v->bag.insert(v->socket->connected().subscribe([&ready](bool up) { ready += up ? 1 : 0; }));
    v->socket->connect();
  }
  if (!queue.runUntil([&] { return ready >= kVisitors; }, std::chrono::seconds(30))) {
    return std::fprintf(stderr, "only %d sockets opened\n", ready), 1;
  }
  int startedConversations = 0;
  for (auto& v : load->visitors) {
    Visitor* raw = v.get();
    v->bag.insert(v->conversations->start("hello").subscribe([raw, &startedConversations](const auto& result) {
      std::string id = result.success() ? result.success()->data.id : "";
      rx::MainQueue::shared().post([raw, id, &startedConversations] {
        raw->conversation = id;
        ++startedConversations;
      });
    }));
  }
  queue.runUntil([&] { return startedConversations >= kVisitors; }, std::chrono::seconds(30));

  const auto begin = Clock::now();
  for (auto& v : load->visitors) v->next();
  const bool finished = queue.runUntil([&] { return load->done >= kVisitors; }, std::chrono::seconds(120));
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  // Every bot answer (one per message, and one for each first message).
  auto answered = [&] {
    for (auto& v : load->visitors) {
      if (v->answers.size() < kMessages + 1) return false;
    }
    return true;
  };
  queue.runUntil(answered, std::chrono::seconds(30));
  queue.runFor(std::chrono::milliseconds(300));  // anything doubled would arrive now

  bool exact = finished && !load->duplicate;
  for (auto& v : load->visitors) {
    exact = exact && v->mine.size() == kMessages && v->answers.size() == kMessages + 1;
  }
  auto& l = load->latenciesMs;
  std::sort(l.begin(), l.end());
  const double median = l.empty() ? 0 : l[l.size() / 2];
  const double p99 = l.empty() ? 0 : l[std::min(l.size() - 1, l.size() * 99 / 100)];
  std::printf("visitors %d, messages %zu in %.2f s: %.0f messages/s (and as many bot answers)\n", kVisitors,
              l.size(), seconds, static_cast<double>(l.size()) / seconds);
  std::printf("reply to frame: median %.2f ms, p99 %.2f ms\n", median, p99);
  std::printf("peak memory (server and clients in one process): %ld kB\n", peakRssKb());
  std::printf("every message and every answer exactly once: %s\n", exact ? "yes" : "NO");
  for (auto& v : load->visitors) v->socket->disconnect();
  queue.runFor(std::chrono::milliseconds(200));
  load->visitors.clear();
  server.stop();
  std::filesystem::remove_all(dir);
  return exact ? 0 : 1;
}
