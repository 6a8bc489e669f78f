#pragma once
// NetworkLoggerPlugin: writes each request and its outcome through
// tavrel::debugPrint, one line per item, prefixed "Moya_Logger: [<time>] ".
// Secrets never reach the log: a query, form or JSON field named
// "auth_token" or "hash" is written as "***", in URLs and in bodies alike.

#include <string>
#include <string_view>

#include "tavrel/http/plugin.h"

namespace tavrel {

class NetworkLoggerPlugin : public PluginType {
 public:
  // verbose adds the request and response bodies to the log.
  explicit NetworkLoggerPlugin(bool verbose = false) : verbose_(verbose) {}

  bool verbose() const noexcept { return verbose_; }

  void willSend(const HttpRequest& request, const TargetType& target) override;
  void didReceive(const MoyaResult& result, const TargetType& target) override;

  // text with the value of every secret field replaced by "***": pairs
  // "name=value" separated by "&" (a URL's query, a form body) and JSON
  // members "name": value.
  static std::string maskSecrets(std::string_view text);

 private:
  bool verbose_;
};

}  // namespace tavrel
