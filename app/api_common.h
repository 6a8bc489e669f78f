#pragma once
// What the subcommands of the HTTP API (api_*.cpp) share: their command line
// (own options, arguments, and the options every call takes), the session
// saved by connect and auth, running a stream to its end, and printing.
//
//   int runStart(std::span<const std::string> args, Io io) {
//     return runCall("start", kStartSpec, args, io, [](Call& call) {
//       ConversationService service(call.settings(), &call.transport());
//       return call.print(service.start(call.argument(0)));
//     });
//   }
//
// Exit statuses (ExitStatus in command.h): 0 and the Response as JSON on
// standard output; 1 and {"error": {"kind": ..., "text": ...}} on standard
// output when the service or the decoder refused, with what happened in plain
// English on standard error; 2 and one line on standard error when the
// request failed; 64 for a wrong command line; 78 for a missing bundle or
// apiUrl and a session file that cannot be used.

#include <chrono>
#include <condition_variable>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "command.h"
#include "explain.h"
#include "record_json.h"
#include "tavrel/api/tavrel_provider.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/core/network_settings.h"
#include "tavrel/core/result.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/response.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/rx/observable.h"

namespace tavrel::cli {

// The session that connect and auth save: what NetworkSettings are made of,
// and the Messenger that auth needs.
struct SavedSession {
  std::optional<std::string> token;    // "token": the visitor's token
  std::string appId;                   // "app_id"
  std::string userId;                  // "user_id"
  std::optional<Messenger> messenger;  // "messenger", as {"data": ...}

  static SavedSession decode(const JsonNode& node);
  void encode(JsonWriter& writer) const;
};

// The file of the session in a state directory: DIR/session.json.
std::filesystem::path sessionFile(const std::filesystem::path& stateDirectory);
// $XDG_STATE_HOME/tavrel, else $HOME/.local/state/tavrel; nothing without either.
std::optional<std::filesystem::path> defaultStateDirectory();
// The session saved in the directory, nothing if there is none. Throws
// std::runtime_error naming the file if it cannot be read or decoded, or if
// another user could read or change it: a file that is not ours or that the
// group or others may read or write, in a directory that they may write.
std::optional<SavedSession> loadSession(const std::filesystem::path& stateDirectory);
// Replaces the saved session as a whole (a new file renamed over the old
// one), readable by the owner only, in a directory made with mode 0700.
// Throws std::runtime_error.
void saveSession(const std::filesystem::path& stateDirectory, const SavedSession& session);

// The command line of one subcommand, besides the options every call takes.
struct CommandSpec {
  std::string_view synopsis;     // after "tavrel ": "reply DIALOG TEXT --random-id N [--type T]"
  std::string_view description;  // what it does, for --help
  std::vector<std::string_view> options;   // its own options, each with a value: "--after"
  std::vector<std::string_view> required;  // those of its options that must be given
  std::size_t minArguments = 0;            // positional arguments
  std::size_t maxArguments = 0;
  // Names of the leading positional arguments that are ids of the service
  // ("DIALOG"): they go into the request's path, so only ASCII letters,
  // digits, "-" and "_" are taken.
  std::vector<std::string_view> ids = {};
  // false for a command that sends no HTTP request: no apiUrl is needed.
  bool needsApiUrl = true;
};

// How one stream ended.
template <class T>
struct StreamEnd {
  std::optional<T> last;     // the last element, if any
  std::exception_ptr error;  // the failure, if the stream failed
  bool ended = false;        // false when it did not end within the limit
};

// Subscribes and drains the main queue until the stream has ended or limit
// has passed; the stream's events are handed to the calling thread there.
template <class T>
StreamEnd<T> runToEnd(const rx::Observable<T>& stream, std::chrono::milliseconds limit) {
  auto end = std::make_shared<StreamEnd<T>>();
  auto& queue = rx::MainQueue::shared();
  auto subscription = stream.subscribe(
      [end, &queue](const T& value) { queue.post([end, value] { end->last = value; }); },
      [end, &queue](std::exception_ptr error) {
        queue.post([end, error] {
          end->error = error;
          end->ended = true;
        });
      },
      [end, &queue] { queue.post([end] { end->ended = true; }); });
  queue.runUntil([&] { return end->ended; }, limit);
  subscription.dispose();
  // No callback starts once dispose has returned: run what they posted
  // before, so that nothing of this stream is left for a later drain.
  queue.drainPending();
  StreamEnd<T> out = *end;
  return out;
}

template <class V>
struct IsResponse : std::false_type {};
template <class T>
struct IsResponse<Response<T>> : std::true_type {};

// One run of an API subcommand: its parsed command line, the settings, a
// transport of its own and the standard streams.
class Call {
 public:
  Call(std::string name, Io io, std::vector<std::string> arguments,
       std::map<std::string, std::string, std::less<>> options);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // "tavrel " + the subcommand's words, as it prefixes messages.
  const std::string& name() const noexcept { return name_; }
  // The i-th positional argument (the count was checked by runCall).
  const std::string& argument(std::size_t i) const { return arguments_.at(i); }
  std::size_t argumentCount() const noexcept { return arguments_.size(); }
  // The value of one of the command's own options, if given.
  std::optional<std::string> option(std::string_view name) const;

  // The saved session, if there is one.
  const std::optional<SavedSession>& session() const noexcept { return session_; }
  // Saves the session in the state directory; false (with a line on
  // standard error) when it cannot.
  bool save(const SavedSession& session);

  // The saved session with the token (--token, --token-file or TAVREL_TOKEN),
  // --app-id and --user-id over it, in the --mode given; null when there is
  // neither a session nor any of these.
  std::shared_ptr<NetworkSettings> settings() const;
  // The transport of this call, with the --timeout given.
  HttpTransport& transport();

  // Prints "tavrel <cmd>: message" on standard error; returns status.
  int fail(std::string_view message, int status = kFailed);
  // A usage mistake found after parsing: one line and kUsage.
  int usage(std::string_view message);
  // A line on standard error without changing the status.
  void note(std::string_view message);

  // Runs the stream of a service operation to its end. Gives the success
  // value, or prints what went wrong and gives the exit status.
  template <class V>
  std::variant<V, int> await(const rx::Observable<Result<V>>& stream) {
    auto end = runToEnd(stream, waitLimit());
    if (!end.ended) return fail("no answer within " + seconds(waitLimit()));
    if (end.error) return failure(end.error);
    if (!end.last) return fail("nothing was sent: the operation gave no answer");
    if (!end.last->succeed()) {
      const int status = printError(*end.last->error());
      note(explainRefusal(watch_->last(), answerName<V>(), decodeCause<V>()));
      return status;
    }
    return *std::move(*end.last).success();
  }
  // Runs the stream to its end and prints the success value as JSON (a
  // Response as {"meta": ..., "data": ...}); gives the exit status.
  template <class V>
  int print(const rx::Observable<Result<V>>& stream) {
    auto outcome = await(stream);
    if (auto* status = std::get_if<int>(&outcome)) return *status;
    JsonWriter writer;
    writeAny(writer, std::get<V>(outcome));
    return printJson(writer);
  }

  // Writes the JSON text and a newline on standard output; 0, or 1 when the
  // writer failed.
  int printJson(const JsonWriter& writer);
  // {"error": {"kind": ..., "text": ...}} on standard output; returns 1.
  int printError(const UIRepresentableError& error);
  // The one line for a failed stream: NetworkErrorsBuilder's text where it
  // knows the error, else the error's own description.
  static std::string describeFailure(std::exception_ptr error);

  // The longest wait for a stream: the request time-out and some slack.
  std::chrono::milliseconds waitLimit() const;

 private:
  // What a command's answer is called in messages: "Response<Dialog>".
  template <class V>
  static std::string answerName() {
    if constexpr (IsResponse<V>::value) {
      return typeDisplayName<V>();
    } else {
      return "answer";
    }
  }
  // Why the last answer did not decode as V; "" when that is not known.
  template <class V>
  std::string decodeCause() const {
    if constexpr (IsResponse<V>::value) {
      if (auto answer = watch_->last()) {
        auto decoded = decodeJson<V>(answer->body);
        if (!decoded) return decoded.error().what();
      }
    }
    return "";
  }
  // The line for a failed stream; kFailed.
  int failure(std::exception_ptr error);

  friend int runCall(std::string_view, const CommandSpec&, std::span<const std::string>, Io,
                     const std::function<int(Call&)>&);

  std::string name_;
  Io io_;
  std::vector<std::string> arguments_;
  std::map<std::string, std::string, std::less<>> options_;
  std::optional<std::filesystem::path> stateDirectory_;
  Server server_;
  std::optional<std::string> token_;  // from --token, --token-file or TAVREL_TOKEN
  std::shared_ptr<AnswerWatch> watch_;
  std::optional<SavedSession> session_;
  NetworkSettings::ConnectionType mode_ = NetworkSettings::ConnectionType::sdk;
  std::chrono::milliseconds timeout_{60000};
  std::shared_ptr<std::mutex> errLock_;  // shared with the debug sink
  // Declared last: destroyed first, so that no completion runs once the rest
  // is gone.
  std::unique_ptr<HttpTransport> transport_;
};

// Parses the command line of `name` (e.g. "kb search") by spec, prints the
// usage for --help (kSuccess) or one line for a wrong command line (kUsage),
// checks the main bundle's apiUrl (kBadConfig), loads the session
// (kBadConfig), and otherwise runs body with the call. Nothing is sent before
// body.
int runCall(std::string_view name, const CommandSpec& spec, std::span<const std::string> args,
            Io io, const std::function<int(Call&)>& body);

// The usage text of a subcommand, with the options every call takes.
std::string usageText(const CommandSpec& spec);

}  // namespace tavrel::cli
