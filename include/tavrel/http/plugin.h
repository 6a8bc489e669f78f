#pragma once
// PluginType: hooks that a MoyaProvider calls around each request, in the
// order the plugins were given.

#include <variant>

#include "tavrel/http/http_message.h"
#include "tavrel/http/moya_error.h"
#include "tavrel/http/target_type.h"

namespace tavrel {

// The outcome of a provider's request: the answer or the error.
using MoyaResult = std::variant<HttpResponse, MoyaError>;

class PluginType {
 public:
  virtual ~PluginType() = default;
  // May change the request before it is sent; on the caller's thread.
  virtual HttpRequest prepare(HttpRequest request, const TargetType& target);
  // Told just before the request is sent; on the caller's thread.
  virtual void willSend(const HttpRequest& request, const TargetType& target);
  // Told of the outcome before the completion runs; on the callback queue.
  virtual void didReceive(const MoyaResult& result, const TargetType& target);
  // May change the outcome before the completion sees it; on the callback queue.
  virtual MoyaResult process(MoyaResult result, const TargetType& target);

 protected:
  PluginType() = default;
  PluginType(const PluginType&) = default;
  PluginType& operator=(const PluginType&) = default;
};

}  // namespace tavrel
