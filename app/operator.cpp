// tavrel operator: a person answers visitors from a terminal, through the
// operator routes of a running `tavrel serve`.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>

#include "api_common.h"
#include "command.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/percent_encoding.h"
#include "tavrel/http/http_transport.h"
#include "tavrel/service/apps.h"

namespace tavrel::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "usage: tavrel operator [--server URL] [--secret-file FILE | --db FILE] COMMAND\n"
    "\n"
    "Answers visitors of a running `tavrel serve` as a person. The commands go to\n"
    "the server's operator routes over HTTP, so a reply reaches the visitor live.\n"
    "\n"
    "  list                    the application's conversations, newest first\n"
    "  reply DIALOG TEXT       answers in a conversation (and takes it over from the bot)\n"
    "  assign DIALOG           takes a conversation over: the bot stops answering in it\n"
    "  close DIALOG            closes a conversation\n"
    "\n"
    "  --server URL            the service (default http://127.0.0.1:8080)\n"
    "  --secret-file FILE      the application's identity secret, on the first line\n"
    "  --db FILE               else the secret of the first (demo) application of this\n"
    "                          database (default $XDG_STATE_HOME/tavrel/service.db)\n"
    "The secret is also taken from TAVREL_IDENTITY_SECRET; it is never an argument,\n"
    "since every user of the machine sees the arguments of a process.\n";

std::optional<std::string> firstLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  if (!in || !std::getline(in, line)) return std::nullopt;
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line;
}

int run(std::span<const std::string> args, Io io) {
  std::string serverUrl = "http://127.0.0.1:8080";
  std::optional<std::string> secretFile, db;
  std::vector<std::string> words;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--help" || arg == "-h") {
      io.out << kHelp;
      return kSuccess;
    }
    if (arg == "--server" || arg == "--secret-file" || arg == "--db") {
      if (i + 1 >= args.size()) return usageError(io.err, "tavrel operator", arg + " needs a value");
      const std::string& v = args[++i];
      if (arg == "--server") serverUrl = v;
      if (arg == "--secret-file") secretFile = v;
      if (arg == "--db") db = v;
    } else if (arg.rfind("--", 0) == 0) {
      return usageError(io.err, "tavrel operator", "unknown option " + arg);
    } else {
      words.push_back(arg);
    }
  }
  const bool list = words.size() == 1 && words[0] == "list";
  const bool reply = words.size() == 3 && words[0] == "reply";
  const bool other = words.size() == 2 && (words[0] == "assign" || words[0] == "close");
  if (!list && !reply && !other) {
    return usageError(io.err, "tavrel operator", "give list, reply DIALOG TEXT, assign DIALOG or close DIALOG");
  }
  if (!list && words[1].find_first_not_of("0123456789") != std::string::npos) {
    return usageError(io.err, "tavrel operator", "a conversation id is digits: " + words[1]);
  }

  std::optional<std::string> secret;
  if (secretFile) {
    secret = firstLine(*secretFile);
    if (!secret) {
      io.err << "tavrel operator: cannot read " << *secretFile << "\n";
      return kBadConfig;
    }
  } else if (const char* env = std::getenv("TAVREL_IDENTITY_SECRET"); env && *env) {
    secret = env;
  } else {
    fs::path file = db ? fs::path(*db) : defaultStateDirectory().value_or(fs::path()) / "service.db";
    if (!fs::exists(file)) {
      io.err << "tavrel operator: no secret: give --secret-file, TAVREL_IDENTITY_SECRET or --db ("
             << file.string() << " does not exist)\n";
      return kBadConfig;
    }
    auto apps = service::listApps(file.string());
    auto* found = std::get_if<std::vector<service::AppCredentials>>(&apps);
    if (!found || found->empty()) {
      io.err << "tavrel operator: no application in " << file.string() << "\n";
      return kBadConfig;
    }
    secret = found->front().identitySecret;
  }

  while (!serverUrl.empty() && serverUrl.back() == '/') serverUrl.pop_back();
  HttpRequest request;
  request.url = serverUrl + "/operator/conversations";
  request.headers.emplace_back(service::kSecretHeader, *secret);
  request.timeout = std::chrono::seconds(10);
  if (!list) {
    request.method = Method::post;
    request.url += "/" + words[1] + "/" + words[0];
    if (reply) {
      request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
      request.body = "body=" + percentEncode(words[2], charset::alphanumerics());
    }
  }
  HttpTransport transport;
  std::promise<HttpResult> done;
  transport.send(request, [&done](HttpResult result) { done.set_value(std::move(result)); });
  HttpResult result = done.get_future().get();
  auto* response = std::get_if<HttpResponse>(&result);
  if (!response) {
    io.err << "tavrel operator: " << serverUrl << " did not answer: " << std::get<URLError>(result).detail() << "\n";
    return kFailed;
  }
  auto body = decodeJson<JsonValue>(response->data);
  if (!body) {
    io.err << "tavrel operator: the answer is not JSON (status " << response->statusCode << ")\n";
    return kFailed;
  }
  if (response->statusCode >= 400) {
    JsonValue meta = body->getIf<JsonValue::Object>() ? body->getIf<JsonValue::Object>()->at("meta").value_or(JsonValue())
                                                       : JsonValue();
    io.err << "tavrel operator: refused (" << response->statusCode << "): "
           << meta.getString("error_message").value_or("no reason given") << "\n";
    return kRefused;
  }
  const JsonValue data = body->getIf<JsonValue::Object>()->at("data").value_or(JsonValue());
  if (list) {
    if (const auto* dialogs = data.getIf<JsonValue::Array>()) {
      for (const JsonValue& d : *dialogs) {
        io.out << "#" << d.getString("id").value_or("?") << "  "
               << (d.getString("closed") == "true" ? "closed" : "open") << ", "
               << (d.getString("assigned") == "true" ? "taken by a person" : "bot") << ", "
               << d.getString("parts_count").value_or("0") << " parts, "
               << d.getString("unread_parts_count").value_or("0") << " unanswered: "
               << d.getString("message").value_or("") << "\n";
      }
      if (dialogs->empty()) io.out << "no conversations yet\n";
    }
    return kSuccess;
  }
  io.out << data.asString().value_or("null") << "\n";
  return kSuccess;
}

}  // namespace

TAVREL_COMMAND("operator", "answers visitors of a running `tavrel serve` as a person", run);

}  // namespace tavrel::cli
