// `tavrel demo`: a short tour of what the library does, offline: decoding an
// answer of the service, emoji shortnames, and the road of one reply through
// the HTTP API to a server on the loopback interface of this process.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "api_common.h"
#include "command.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/log.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/emoji/conversion.h"
#include "tavrel/http/network_logger_plugin.h"
#include "tavrel/model/message.h"
#include "tavrel/model/response.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

// A page of messages as the service sends it.
constexpr std::string_view kMessagesAnswer = R"({
  "meta": {"status": 200, "next_before_position": ["1700000000.5"]},
  "data": [{"id": 314, "random_id": 42, "body": "Где мой заказ? :package:", "type": "reply",
            "created": 1700000000, "direction": "u2a", "read": false, "sent_via": "ios",
            "reply_type": "text", "from": {"id": "u1", "type": "user"}, "conversation": "12"}]
})";

void showDecoding(std::ostream& out) {
  out << "\n1. Decoding an answer of the service (Response<[Message]>)\n";
  auto page = decodeJson<Response<std::vector<Message>>>(kMessagesAnswer);
  if (!page) {
    out << "   did not decode: " << page.error().what() << '\n';
    return;
  }
  for (const auto& message : page->data) {
    out << "   message " << message.id << " (random id " << message.randomId << ") in conversation "
        << message.conversation.value_or("?") << ": " << message.body << '\n';
  }
  out << "   next page before position " << page->meta.nextBeforePosition.value_or("-") << '\n';
  Meta refused{403, "forbidden", std::nullopt, std::nullopt, std::nullopt};
  out << "   a refusal reads: " << refused.printError() << '\n';
}

void showEmoji(std::ostream& out) {
  out << "\n2. Emoji and shortnames\n";
  const std::string text = emojiUnescapedString("Где мой заказ? :package: :thumbsup:");
  out << "   unescaped: " << text << '\n';
  out << "   escaped again: " << emojiEscapedString(text) << '\n';
}

// Answers one HTTP request on 127.0.0.1 with a fixed answer and keeps what
// it read. Just enough HTTP for the tour: one request, then the connection
// is closed.
class OneShotServer {
 public:
  OneShotServer() {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (fd_ < 0 || ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd_, 1) != 0 ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      return;
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~OneShotServer() {
    finish();
    if (fd_ >= 0) ::close(fd_);
  }
  OneShotServer(const OneShotServer&) = delete;
  OneShotServer& operator=(const OneShotServer&) = delete;

  int port() const { return port_; }
  // Stops serving and gives what the server read: request line, headers and
  // body.
  const std::string& finish() {
    if (fd_ >= 0) ::shutdown(fd_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return received_;
  }

 private:
  void serve() {
    const int client = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    char buffer[4096];
    std::size_t expected = std::string::npos;
    while (expected == std::string::npos || received_.size() < expected) {
      const ssize_t n = ::recv(client, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      received_.append(buffer, static_cast<std::size_t>(n));
      const auto end = received_.find("\r\n\r\n");
      if (end != std::string::npos && expected == std::string::npos) {
        const auto field = received_.find("Content-Length: ");
        const std::size_t body = field != std::string::npos && field < end
                                     ? std::stoul(received_.substr(field + 16))
                                     : 0;
        expected = end + 4 + body;
      }
    }
    const std::string answer = R"({"meta":{"status":200},"data":{"id":"2718"}})";
    const std::string reply =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
        "Connection: close\r\nContent-Length: " +
        std::to_string(answer.size()) + "\r\n\r\n" + answer;
    (void)::send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
    ::close(client);
  }

  int fd_ = -1;
  int port_ = 0;
  std::string received_;
  std::thread thread_;
};

// A main bundle in a temporary directory whose "apiUrl" is url; the
// registration and the directory go at the end.
class TemporaryMainBundle {
 public:
  explicit TemporaryMainBundle(const std::string& url) {
    dir_ = fs::temp_directory_path() / ("tavrel_demo_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    std::ofstream(dir_ / "Info.plist") << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                          "<plist version=\"1.0\"><dict><key>apiUrl</key><string>"
                                       << url << "</string></dict></plist>\n";
    Bundle::registerMain(dir_);
  }
  ~TemporaryMainBundle() {
    Bundle::registerMain({});
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }
  TemporaryMainBundle(const TemporaryMainBundle&) = delete;
  TemporaryMainBundle& operator=(const TemporaryMainBundle&) = delete;

 private:
  fs::path dir_;
};

void showReply(std::ostream& out) {
  out << "\n3. The road of one reply, to a server on 127.0.0.1 in this process\n";
  OneShotServer server;
  if (server.port() == 0) {
    out << "   skipped: no loopback socket\n";
    return;
  }
  TemporaryMainBundle bundle("http://127.0.0.1:" + std::to_string(server.port()) + "/api/v1/");
  setDebugSink([](std::string_view) {});  // the request log is not part of the tour
  auto settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk,
                                                    "secret-token", "7", "9");
  StreamEnd<Result<Response<SimpleId>>> end;
  {
    HttpTransport transport;
    ConversationService service(settings, &transport);
    end = runToEnd(service.reply("12", "Спасибо!", "42", "reply"), std::chrono::seconds(10));
  }
  setDebugSink({});
  const std::string& request = server.finish();
  const auto bodyStart = request.find("\r\n\r\n");
  out << "   the server read: " << request.substr(0, request.find("\r\n")) << '\n';
  if (bodyStart != std::string::npos) {
    const std::string form =
        NetworkLoggerPlugin::maskSecrets(std::string_view(request).substr(bodyStart + 4));
    out << "   with the form:   " << removePercentEncoding(form).value_or(form)
        << "  (decoded, the token masked)\n";
  }
  if (end.last && end.last->succeed()) {
    out << "   the answer decodes to the id of the new message: " << end.last->success()->data.id
        << '\n';
  } else {
    out << "   the request failed: "
        << (end.error  ? Call::describeFailure(end.error)
            : end.last ? end.last->error()->localizedDescription()
                       : "no answer")
        << '\n';
  }
}

int runDemo(std::span<const std::string> args, Io io) {
  if (!args.empty() && args[0] == "--help") {
    io.out << "usage: tavrel demo\n\nShows, step by step and offline, what the library does.\n";
    return 0;
  }
  io.out << "TavrelLib demonstration\n";
  showDecoding(io.out);
  showEmoji(io.out);
  showReply(io.out);
  return 0;
}

}  // namespace

TAVREL_COMMAND("demo", "a short tour of what the library does", runDemo);

}  // namespace tavrel::cli
