// Arbitrary requests through the service's router: the first byte picks a
// route, method and body type, the rest is "QUERY\nBODY". Nothing may crash
// or fail inside (status 500); every answer is an envelope whose status is
// the HTTP status, and whose "meta" the library decodes.

#include <string>

#include "fuzz_support.h"
#include "service/router.h"
#include "tavrel/model/response.h"

using namespace tavrel;
using namespace tavrel::fuzz;
using namespace tavrel::service;

namespace {

struct World {
  Store store{":memory:"};
  FrameHub hub{100};
  Router router{store, hub};
  std::string token;
  std::string user;
  std::string conversation;
  std::string app;

  World() {
    const auto a = store.createApp("Demo");
    const auto visitor = store.createVisitor(a.id);
    token = store.issueToken(visitor.id);
    user = std::to_string(visitor.id);
    app = std::to_string(a.id);
    conversation = std::to_string(store.startConversation(visitor, "seed").first.id);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static World world;
  if (size == 0) return 0;
  const std::uint8_t pick = data[0];
  const std::string_view rest = input(data + 1, size - 1);
  const auto newline = rest.find('\n');
  const std::string query(rest.substr(0, newline));
  const std::string body(newline == std::string_view::npos ? std::string_view() : rest.substr(newline + 1));

  const std::string c = "/api/v1/conversations/" + world.conversation;
  const std::string u = "/api/v1/users/" + world.user;
  const std::string k = "/api/v1/knowledgebase/" + world.app;
  const std::string routes[] = {"/api/v1/connect", "/api/v1/auth/userappauth", c, c + "/reply", c + "/parts",
                                c + "/markread", u + "/conversations", u + "/startconversation", u + "/props",
                                u + "/events", u + "/setpresence", k + "/search", k + "/articles",
                                "/api/v1/conversationparts/1/meta_data", "/operator/conversations", "/rts"};
  Request request;
  request.target = routes[pick % 16];
  request.method = (pick & 0x10) ? "POST" : "GET";
  request.contentType = (pick & 0x20) ? "application/json" : "application/x-www-form-urlencoded";
  request.target += "?" + query;
  if (pick & 0x40) request.target += "&auth_token=" + world.token;
  request.body = body;

  const Reply reply = world.router.handle(request);
  check(reply.status >= 200 && reply.status < 500);
  auto meta = decodeJson<Meta>(decodeJson<JsonValue>(reply.body).value().getString("meta").value_or(""));
  check(meta.ok() && meta.value().status == reply.status);
  if (reply.status >= 400) check(meta.value().error.has_value() && meta.value().errorMessage.has_value());

  auto grant = world.router.authorizeSocket("/rts/" + query);
  if (auto* refusal = std::get_if<Reply>(&grant)) check(refusal->status >= 400 && refusal->status < 500);
  return 0;
}
