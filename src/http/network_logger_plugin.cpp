#include "tavrel/http/network_logger_plugin.h"

#include <chrono>
#include <ctime>

#include "tavrel/core/log.h"

namespace tavrel {
namespace {

bool isSecretName(std::string_view name) { return name == "auth_token" || name == "hash"; }

std::string prefix() {
  auto now = std::chrono::system_clock::now();
  std::time_t t = std::chrono::system_clock::to_time_t(now);
  std::tm parts{};
  localtime_r(&t, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%d/%m/%Y %H:%M:%S", &parts);
  return std::string("Moya_Logger: [") + text + "] ";
}

void log(const std::string& what, std::string_view value) {
  debugPrint(prefix() + what + ": " + std::string(value));
}

// "name=value" pairs, wherever a run of them starts (after "?", "&" or at the
// start of the text).
std::string maskPairs(std::string_view text) {
  std::string out;
  std::size_t i = 0;
  while (i <= text.size()) {
    std::size_t end = text.find_first_of("&?#", i);
    if (end == std::string_view::npos) end = text.size();
    std::string_view piece = text.substr(i, end - i);
    auto eq = piece.find('=');
    if (eq != std::string_view::npos && isSecretName(piece.substr(0, eq))) {
      out.append(piece.substr(0, eq + 1)).append("***");
    } else {
      out.append(piece);
    }
    if (end == text.size()) break;
    out.push_back(text[end]);
    if (text[end] == '#') {  // a fragment is no pair list
      out.append(text.substr(end + 1));
      break;
    }
    i = end + 1;
  }
  return out;
}

// The index just past the JSON string that starts at text[i] (a quote).
std::size_t skipString(std::string_view text, std::size_t i) {
  for (++i; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return text.size();
}

// The index just past the JSON value that starts at text[i].
std::size_t skipValue(std::string_view text, std::size_t i) {
  if (i >= text.size()) return i;
  if (text[i] == '"') return skipString(text, i);
  if (text[i] == '{' || text[i] == '[') {
    int depth = 0;
    while (i < text.size()) {
      char c = text[i];
      if (c == '"') {
        i = skipString(text, i);
        continue;
      }
      if (c == '{' || c == '[') ++depth;
      if ((c == '}' || c == ']') && --depth == 0) return i + 1;
      ++i;
    }
    return i;
  }
  auto end = text.find_first_of(",}] \t\r\n", i);
  return end == std::string_view::npos ? text.size() : end;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The same members in a JSON document carried inside a JSON string, one
// escape level down: "user":"{\"auth_token\":\"t\"}".
std::string maskEscaped(std::string_view text) {
  std::string out;
  std::size_t i = 0;
  for (;;) {
    std::size_t at = std::string_view::npos;
    std::size_t nameSize = 0;
    for (std::string_view name : {R"(\"auth_token\")", R"(\"hash\")"}) {
      auto found = text.find(name, i);
      if (found < at) at = found, nameSize = name.size();
    }
    if (at == std::string_view::npos) break;
    std::size_t j = at + nameSize;
    while (j < text.size() && isSpace(text[j])) ++j;
    if (j >= text.size() || text[j] != ':') {
      out.append(text.substr(i, j - i));
      i = j;
      continue;
    }
    ++j;
    while (j < text.size() && isSpace(text[j])) ++j;
    out.append(text.substr(i, j - i));
    out.append(R"(\"***\")");
    std::size_t end;
    if (text.substr(j, 2) == R"(\")") {
      end = text.find(R"(\")", j + 2);
      end = end == std::string_view::npos ? text.size() : end + 2;
    } else {
      end = text.find_first_of(",}]\\", j);
      if (end == std::string_view::npos) end = text.size();
    }
    i = end;
  }
  out.append(text.substr(i));
  return out;
}

// Members "auth_token": value and "hash": value at any depth, also inside a
// document that a string carries.
std::string maskJson(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] != '"') {
      out.push_back(text[i++]);
      continue;
    }
    std::size_t end = skipString(text, i);
    std::string_view token = text.substr(i, end - i);
    i = end;
    if (token.size() < 2 || !isSecretName(token.substr(1, token.size() - 2))) {
      if (token.find('\\') == std::string_view::npos) {
        out.append(token);
      } else {
        out.append(maskEscaped(token));
      }
      continue;
    }
    out.append(token);
    std::size_t j = i;
    while (j < text.size() && isSpace(text[j])) ++j;
    if (j >= text.size() || text[j] != ':') continue;
    ++j;
    while (j < text.size() && isSpace(text[j])) ++j;
    out.append(text.substr(i, j - i));
    out.append("\"***\"");
    i = skipValue(text, j);
  }
  return out;
}

}  // namespace

std::string NetworkLoggerPlugin::maskSecrets(std::string_view text) {
  auto first = text.find_first_not_of(" \t\r\n");
  if (first != std::string_view::npos && (text[first] == '{' || text[first] == '[')) {
    return maskJson(text);
  }
  return maskPairs(text);
}

void NetworkLoggerPlugin::willSend(const HttpRequest& request, const TargetType&) {
  log("Request", maskSecrets(request.url));
  std::string headers;
  for (const auto& [name, value] : request.headers) {
    if (!headers.empty()) headers += ", ";
    headers += "\"" + name + "\": \"" + value + "\"";
  }
  log("Request Headers", "[" + headers + "]");
  log("HTTP Request Method", toString(request.method));
  if (verbose_ && !request.body.empty()) log("Request Body", maskSecrets(request.body));
}

void NetworkLoggerPlugin::didReceive(const MoyaResult& result, const TargetType&) {
  if (const auto* response = std::get_if<HttpResponse>(&result)) {
    log("Response", std::to_string(response->statusCode) + " " + maskSecrets(response->url));
    if (verbose_) log("Response Body", maskSecrets(response->data));
    return;
  }
  const auto& error = std::get<MoyaError>(result);
  log("Response", std::string("Received error: ") + error.what());
}

}  // namespace tavrel
