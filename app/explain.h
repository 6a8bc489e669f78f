#pragma once
// What went wrong with a call, in plain English, for the line that the API
// subcommands print on standard error beside the library's own text.

#include <chrono>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::cli {

// The last answer of the call, as the request log (NetworkLoggerPlugin,
// which every service runs) tells it: status and body, secrets masked.
struct SeenAnswer {
  int status = 0;
  std::string body;
};

// Follows the request log line by line and keeps the last answer. Lines
// arrive on the HTTP layer's callback queue; reads come from the caller's.
class AnswerWatch {
 public:
  void onLogLine(std::string_view line);
  std::optional<SeenAnswer> last() const;

 private:
  mutable std::mutex mutex_;
  std::optional<SeenAnswer> answer_;
};

// Where a call goes: host and port of the apiUrl, for the messages.
struct Server {
  std::string host;  // "127.0.0.1", "api.example.com"
  int port = 0;      // the URL's, else 80 or 443 by scheme
  std::string hostPort() const { return host + ":" + std::to_string(port); }
};

// "HTML page", "plain text", "empty body" or "JSON".
std::string bodyKind(std::string_view body);

// A stream that failed: below HTTP (a MoyaError holding a URLError), or an
// error status whose body is no envelope (a DecodingError).
std::string explainFailure(std::exception_ptr error, const std::optional<SeenAnswer>& answer,
                           const Server& server, std::chrono::milliseconds timeout);

// A Result error. decodeCause: why the body did not decode as the command's
// answer, when it was an answer below 400 ("" when unknown).
std::string explainRefusal(const std::optional<SeenAnswer>& answer, std::string_view expected,
                           std::string_view decodeCause);

// A time as the messages write it: "60 s", "0.3 s".
std::string seconds(std::chrono::milliseconds time);

}  // namespace tavrel::cli
