#include "service/router.h"

#include <charconv>
#include <vector>

#include "service/crypto.h"
#include "service/kb_search.h"
#include "service/props.h"
#include "service/records.h"
#include "core/text_unicode.h"
#include "tavrel/core/json_writer.h"

namespace tavrel::service {
namespace {

constexpr int kDialogPage = 20;
constexpr int kPartPage = 20;
const std::set<std::string> kChannels = {
    "conversation",   "conversation_reply", "conversation_typing", "conversation_assigned",
    "conversation_read", "run_script",      "users_removed",       "user_ban",
    "ping"};

Reply fail(int status, std::string error, std::string message) {
  // A message quotes the request; raw bytes of a request need not be UTF-8.
  if (!detail::isValidUtf8(message)) message = "the request is no UTF-8";
  return Reply{status, errorEnvelope(status, error, message)};
}
Reply ok(const std::string& dataJson) { return Reply{200, envelope(200, dataJson)}; }

template <class F>
std::string json(F&& write) {
  JsonWriter w;
  write(w);
  return std::move(w).take();
}

std::optional<std::int64_t> parseId(std::string_view text) {
  if (text.empty() || text.size() > 18) return std::nullopt;
  std::int64_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || value <= 0) return std::nullopt;
  return value;
}

bool truthy(const std::string& text) { return text == "1" || text == "true"; }

std::string param(const Params& params, const std::string& key, std::string fallback = "") {
  auto found = params.find(key);
  return found == params.end() ? fallback : found->second;
}

// Path segments, each percent-decoded ("+" stays itself in a path).
std::optional<std::vector<std::string>> segments(std::string_view path) {
  std::vector<std::string> out;
  while (!path.empty()) {
    const auto slash = path.find('/');
    std::string raw(path.substr(0, slash));
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    if (raw.empty()) continue;
    std::string escaped;
    for (char c : raw) escaped += c == '+' ? std::string("%2B") : std::string(1, c);
    auto decoded = formDecode(escaped);
    if (!decoded) return std::nullopt;
    out.push_back(std::move(*decoded));
  }
  return out;
}

}  // namespace

struct Router::Caller {
  UserRow user;
  bool appWide = false;  // "appm-APP-SECRET": the whole application, as its operators
};

struct Router::Call {
  const Request& request;
  std::vector<std::string> path;
  Params params;
  bool get() const { return request.method == "GET"; }
  bool post() const { return request.method == "POST"; }
};

Router::Router(Store& store, FrameHub& hub) : store_(store), hub_(hub) {}

Reply Router::handle(const Request& request) {
  try {
    std::string_view target = request.target;
    const auto q = target.find('?');
    const std::string_view path = target.substr(0, q);
    Params params;
    const std::string& type = request.contentType;
    if (!request.body.empty()) {
      const bool isJson = type.find("json") != std::string::npos;
      const bool good = isJson ? parseJsonObject(request.body, params) : parseForm(request.body, params);
      if (!good) {
        return fail(400, "bad_request", isJson ? "the body is no JSON object" : "the body is no URL-encoded form");
      }
    }
    if (q != std::string_view::npos && !parseForm(target.substr(q + 1), params)) {
      return fail(400, "bad_request", "the query has a broken percent escape or is no UTF-8");
    }
    auto parts = segments(path);
    if (!parts) return fail(400, "bad_request", "the path has a broken percent escape or is no UTF-8");
    Call call{request, {}, std::move(params)};
    if (parts->size() >= 2 && (*parts)[0] == "api" && (*parts)[1] == "v1") {
      call.path.assign(parts->begin() + 2, parts->end());
      return api(call);
    }
    if (!parts->empty() && (*parts)[0] == "operator") {
      call.path.assign(parts->begin() + 1, parts->end());
      return operatorApi(call);
    }
    return fail(404, "not_found", "no route " + std::string(path));
  } catch (const std::exception& e) {
    return fail(500, "internal_error", e.what());
  }
}

std::variant<Router::Caller, Reply> Router::caller(const Params& params) {
  const std::string token = param(params, "auth_token");
  if (token.empty()) return fail(401, "unauthorized", "auth_token is missing");
  if (token.rfind("appm-", 0) == 0) {
    // The whole application: "appm-APP-SECRET", for whoever holds the
    // application's identity secret. A visitor's token never opens it.
    const auto dash = token.find('-', 5);
    auto appId = dash == std::string::npos ? std::nullopt : parseId(std::string_view(token).substr(5, dash - 5));
    auto app = appId ? store_.app(*appId) : std::nullopt;
    if (!app || !constantTimeEqual(app->secret, std::string_view(token).substr(dash + 1))) {
      return fail(401, "unauthorized", "auth_token is unknown");
    }
    return Caller{UserRow{0, app->id, ""}, true};
  }
  auto user = store_.userByToken(token);
  if (!user) return fail(401, "unauthorized", "auth_token is unknown");
  return Caller{*user, false};
}

Reply Router::api(Call& call) {
  const auto& p = call.path;
  if (p.size() == 1 && p[0] == "connect" && call.post()) return connect(call);
  if (p.size() == 2 && p[0] == "auth" && p[1] == "userappauth" && call.post()) return auth(call);
  auto who = caller(call.params);
  if (auto* refusal = std::get_if<Reply>(&who)) return *refusal;
  const Caller& c = std::get<Caller>(who);
  if (p.size() == 3 && p[0] == "apps" && p[2] == "conversations" && call.get()) {
    if (!c.appWide || parseId(p[1]) != c.user.appId) return fail(403, "forbidden", "not this application's token");
    return dialogList(c, std::nullopt, call.params);
  }
  if (p.size() == 3 && p[0] == "users") return userRoute(call, c);
  if (p.size() >= 2 && p[0] == "conversations") return conversationRoute(call, c);
  if (p.size() == 3 && p[0] == "conversationparts" && p[2] == "meta_data" && call.post()) {
    auto id = parseId(p[1]);
    auto part = id ? store_.part(*id) : std::nullopt;
    if (!part) return fail(404, "not_found", "no conversation part " + p[1]);
    auto conversation = ownConversation(c, std::to_string(part->conversationId));
    if (auto* refusal = std::get_if<Reply>(&conversation)) return *refusal;
    if (!call.params.count("meta_data")) return fail(400, "bad_request", "meta_data is missing");
    store_.setMetaData(part->id, call.params["meta_data"]);
    part = store_.part(part->id);
    return ok(json([&](JsonWriter& w) { writeMessage(w, *part, std::get<ConversationRow>(conversation).assigned); }));
  }
  if (p.size() >= 2 && p[0] == "knowledgebase" && call.get()) return knowledgeBase(call, c);
  return fail(404, "not_found", "no route " + call.request.method + " " + call.request.target.substr(0, call.request.target.find('?')));
}

Reply Router::connect(Call& call) {
  const std::string key = param(call.params, "api_key");
  if (key.empty()) return fail(400, "bad_request", "api_key is missing");
  auto app = store_.appByKey(key);
  if (!app) return fail(401, "invalid_api_key", "no application has this API key");
  const UserRow user = store_.createVisitor(app->id);
  const std::string token = store_.issueToken(user.id);
  return ok(json([&](JsonWriter& w) { writeSession(w, *app, user, token, false); }));
}

Reply Router::auth(Call& call) {
  const std::string userId = param(call.params, "user_id");
  std::string hash = param(call.params, "hash");
  if (userId.empty() || hash.empty()) return fail(400, "bad_request", "user_id and hash are needed");
  for (char& ch : hash) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  // The application of the session's token; without one, the application
  // whose secret the hash was made with.
  std::vector<AppRow> candidates;
  if (call.params.count("auth_token")) {
    auto who = caller(call.params);
    if (auto* refusal = std::get_if<Reply>(&who)) return *refusal;
    if (auto app = store_.app(std::get<Caller>(who).user.appId)) candidates.push_back(*app);
  } else {
    candidates = store_.apps();
  }
  const AppRow* matched = nullptr;
  for (const auto& app : candidates) {
    if (constantTimeEqual(hmacSha256Hex(app.secret, userId), hash)) matched = &app;
  }
  if (!matched) return fail(403, "wrong_hash", "the hash does not match the user id");
  const UserRow user = store_.knownUser(matched->id, userId);
  const std::string token = store_.issueToken(user.id);
  const bool has = !store_.conversations(user.appId, user.id, 0, 1).empty();
  const std::string session = json([&](JsonWriter& w) {
    w.beginObject();
    w.key("data");
    writeSession(w, *matched, user, token, has);
    w.endObject();
  });
  const std::string data = json([&](JsonWriter& w) {
    w.beginObject();
    w.field("result", "user_changing");
    w.field("auth_token", token);
    w.key("user");
    w.beginObject();
    w.field("id", std::to_string(user.id));
    w.endObject();
    w.endObject();
  });
  // The library reads the token and the user's own document (in the shape
  // connect answers with) from the top of the answer.
  const std::string body = "{\"meta\":{\"status\":200},\"data\":" + data + ",\"auth_token\":\"" + token +
                           "\",\"user\":" + session + "}";
  return Reply{200, body};
}

std::variant<ConversationRow, Reply> Router::ownConversation(const Caller& caller, const std::string& id) {
  auto number = parseId(id);
  auto conversation = number ? store_.conversation(*number) : std::nullopt;
  const bool mine = conversation && conversation->appId == caller.user.appId &&
                    (caller.appWide || conversation->userId == caller.user.id);
  if (!mine) return fail(404, "not_found", "no conversation " + id);
  return *conversation;
}

Reply Router::dialogList(const Caller& caller, std::optional<std::int64_t> userId, const Params& params) {
  std::string after = param(params, "after");
  // The library encodes the cursor twice; the form decoding took off one layer.
  if (after.find('%') != std::string::npos) after = formDecode(after).value_or(after);
  std::int64_t before = 0;
  if (!after.empty()) {
    auto cursor = parseId(after);
    if (!cursor) return fail(400, "bad_request", "after is no cursor of this service: " + after);
    before = *cursor;
  }
  if (auto direction = param(params, "paginate_direction", "before"); direction != "before") {
    return fail(400, "bad_request", "only paginate_direction=before is supported");
  }
  auto rows = store_.conversations(caller.user.appId, userId, before, kDialogPage + 1);
  const bool more = rows.size() > kDialogPage;
  if (more) rows.pop_back();
  JsonWriter w;
  w.beginObject();
  w.key("meta");
  w.beginObject();
  w.field("status", 200);
  if (more) w.field("next_after", std::to_string(rows.back().last.id));
  w.endObject();
  w.key("data");
  w.beginArray();
  for (const auto& row : rows) writeDialog(w, row);
  w.endArray();
  w.endObject();
  return Reply{200, std::move(w).take()};
}

Reply Router::userRoute(Call& call, const Caller& c) {
  auto id = parseId(call.path[1]);
  auto user = id ? store_.user(*id) : std::nullopt;
  const bool allowed = user && user->appId == c.user.appId && (c.appWide || user->id == c.user.id);
  if (!allowed) return fail(403, "forbidden", "not this visitor's token: users/" + call.path[1]);
  const std::string& what = call.path[2];
  if (what == "conversations" && call.get()) return dialogList(c, user->id, call.params);
  if (!call.post()) return fail(404, "not_found", "no route " + call.request.method + " users/ID/" + what);
  if (what == "startconversation") {
    const std::string body = param(call.params, "body");
    if (body.empty()) return fail(400, "bad_request", "body is missing or empty");
    const auto started = store_.startConversation(*user, body);
    const ConversationRow& conversation = started.first;
    const PartRow& first = started.second;
    pushDialog(conversation);
    pushPart(conversation, first);
    if (onVisitorPart) onVisitorPart(conversation, first);
    return ok(json([&](JsonWriter& w) {
      w.beginObject();
      w.field("id", std::to_string(conversation.id));
      w.endObject();
    }));
  }
  if (what == "setpresence") {
    const std::string presence = param(call.params, "presence", "online");
    store_.setPresence(user->id, presence);
    return ok(json([&](JsonWriter& w) {
      w.beginObject();
      w.field("presence", presence);
      w.endObject();
    }));
  }
  if (what == "events") {
    const std::string event = param(call.params, "event");
    if (event.empty()) return fail(400, "bad_request", "event is missing");
    store_.addEvent(user->id, event, param(call.params, "params"));
    return ok(json([&](JsonWriter& w) {
      w.beginObject();
      w.field("event", event);
      w.field("count", store_.eventCount(user->id));
      w.endObject();
    }));
  }
  if (what == "props") {
    if (!call.params.count("operations")) return fail(400, "bad_request", "operations is missing");
    auto props = store_.properties(user->id);
    if (auto refusal = applyOperations(props, call.params["operations"])) {
      return fail(400, "bad_request", *refusal);
    }
    store_.setProperties(user->id, props);
    std::string data = "{";
    for (const auto& entry : props) {
      if (data.size() > 1) data += ",";
      data += json([&](JsonWriter& w) { w.value(entry.first); }) + ":" + entry.second;
    }
    return ok(data + "}");
  }
  return fail(404, "not_found", "no route POST users/ID/" + what);
}

Reply Router::conversationRoute(Call& call, const Caller& c) {
  auto found = ownConversation(c, call.path[1]);
  if (auto* refusal = std::get_if<Reply>(&found)) return *refusal;
  const ConversationRow conversation = std::get<ConversationRow>(found);
  const auto& p = call.path;
  if (p.size() == 2 && call.get()) {
    return ok(json([&](JsonWriter& w) { writeDialog(w, conversation); }));
  }
  if (p.size() == 3 && p[2] == "reply" && call.post()) {
    if (!call.params.count("body") || call.params["body"].empty()) {
      return fail(400, "bad_request", "body is missing or empty");
    }
    const bool fromUser = !c.appWide || truthy(param(call.params, "from_user", "1"));
    auto added = store_.addPart(conversation.id, fromUser, call.params["body"],
                                param(call.params, "random_id"), param(call.params, "type", "comment"));
    if (added.created) {
      pushPart(conversation, added.part);
      if (fromUser && onVisitorPart) onVisitorPart(conversation, added.part);
    }
    return ok(json([&](JsonWriter& w) {
      w.beginObject();
      w.field("id", std::to_string(added.part.id));
      w.endObject();
    }));
  }
  if (p.size() == 3 && p[2] == "markread" && call.post()) {
    if (store_.markRead(conversation.id) > 0) {
      hub_.publish(conversation.appId, conversation.userId, "conversation_read",
                   "{\"conversation\":\"" + std::to_string(conversation.id) + "\"}");
    }
    return ok("null");
  }
  if (p.size() == 3 && p[2] == "parts" && call.get()) {
    std::int64_t before = 0;
    if (auto after = param(call.params, "after"); !after.empty()) {
      auto cursor = parseId(after);
      if (!cursor) return fail(400, "bad_request", "after is no position of this service: " + after);
      before = *cursor;
    }
    auto rows = store_.parts(conversation.id, before, kPartPage + 1);
    const bool more = rows.size() > kPartPage;
    if (more) rows.erase(rows.begin());
    JsonWriter w;
    w.beginObject();
    w.key("meta");
    w.beginObject();
    w.field("status", 200);
    if (more) w.field("next_before_position", std::vector<std::string>{std::to_string(rows.front().id)});
    w.endObject();
    w.key("data");
    w.beginArray();
    for (const auto& row : rows) writeMessage(w, row, conversation.assigned);
    w.endArray();
    w.endObject();
    return Reply{200, std::move(w).take()};
  }
  return fail(404, "not_found", "no route " + call.request.method + " conversations/ID/" + (p.size() > 2 ? p[2] : ""));
}

Reply Router::knowledgeBase(Call& call, const Caller& c) {
  const auto& p = call.path;
  if (parseId(p[1]) != c.user.appId) return fail(404, "not_found", "no knowledge base " + p[1]);
  if (p.size() == 2) {
    return ok(json([&](JsonWriter& w) {
      w.beginObject();
      w.field("domain", "help.localhost");
      w.field("app", std::to_string(c.user.appId));
      w.field("full_domain", nullptr);
      w.endObject();
    }));
  }
  const std::string& what = p[2];
  if (p.size() == 3 && what == "categories") {
    return ok(json([&](JsonWriter& w) {
      w.beginArray();
      for (const auto& category : store_.categories(c.user.appId)) writeCategory(w, category);
      w.endArray();
    }));
  }
  if (p.size() == 3 && what == "articles") {
    std::optional<std::int64_t> category;
    if (auto text = param(call.params, "category"); !text.empty()) {
      category = parseId(text);
      if (!category) return fail(400, "bad_request", "category is no id: " + text);
    }
    return ok(json([&](JsonWriter& w) {
      w.beginArray();
      for (const auto& a : store_.articles(c.user.appId, category)) writeArticle(w, a, false, false);
      w.endArray();
    }));
  }
  if (p.size() == 4 && what == "articles") {
    auto id = parseId(p[3]);
    auto article = id ? store_.article(c.user.appId, *id) : std::nullopt;
    if (!article) return fail(404, "not_found", "no article " + p[3]);
    return ok(json([&](JsonWriter& w) { writeArticle(w, *article, true, false); }));
  }
  if (p.size() == 3 && what == "search") {
    const auto hits = rankArticles(store_.articles(c.user.appId, std::nullopt), param(call.params, "pattern"));
    const bool quote = truthy(param(call.params, "include_quote", "1"));
    return ok(json([&](JsonWriter& w) {
      w.beginArray();
      for (const auto& a : hits) writeArticle(w, a, false, quote);
      w.endArray();
    }));
  }
  return fail(404, "not_found", "no route knowledgebase/ID/" + what);
}

Reply Router::operatorApi(Call& call) {
  std::optional<AppRow> app;
  for (const auto& candidate : store_.apps()) {
    if (!call.request.secret.empty() && constantTimeEqual(candidate.secret, call.request.secret)) app = candidate;
  }
  if (!app) return fail(401, "unauthorized", "X-Tavrel-Secret names no application");
  const auto& p = call.path;
  if (p.size() == 1 && p[0] == "conversations" && call.get()) {
    Caller all{UserRow{0, app->id, ""}, true};
    return dialogList(all, std::nullopt, call.params);
  }
  if (p.size() != 3 || p[0] != "conversations" || !call.post()) {
    return fail(404, "not_found", "no operator route " + call.request.target);
  }
  auto id = parseId(p[1]);
  auto conversation = id ? store_.conversation(*id) : std::nullopt;
  if (!conversation || conversation->appId != app->id) return fail(404, "not_found", "no conversation " + p[1]);
  const std::string& what = p[2];
  if (what == "assign" || what == "reply") {
    if (!conversation->assigned && store_.setAssigned(conversation->id)) {
      conversation->assigned = true;
      hub_.publish(conversation->appId, conversation->userId, "conversation_assigned",
                   json([&](JsonWriter& w) {
                     w.beginObject();
                     w.field("conversation", std::to_string(conversation->id));
                     w.key("admin");
                     writeAdmin(w, true);
                     w.endObject();
                   }));
    }
  }
  if (what == "reply") {
    const std::string body = param(call.params, "body");
    if (body.empty()) return fail(400, "bad_request", "body is missing or empty");
    auto part = operatorReply(conversation->id, body, true, param(call.params, "random_id"));
    return ok("{\"id\":\"" + std::to_string(part->id) + "\"}");
  }
  if (what == "close") {
    store_.setClosed(conversation->id);
    pushDialog(*store_.conversation(conversation->id));
  } else if (what != "assign") {
    return fail(404, "not_found", "no operator route " + call.request.target);
  }
  return ok(json([&](JsonWriter& w) { writeDialog(w, *store_.conversation(conversation->id)); }));
}

std::optional<PartRow> Router::operatorReply(std::int64_t conversationId, const std::string& body,
                                             bool person, const std::string& randomId) {
  auto conversation = store_.conversation(conversationId);
  if (!conversation) return std::nullopt;
  auto added = store_.addPart(conversationId, false, body, randomId, "comment");
  conversation->assigned = conversation->assigned || person;
  if (added.created) pushPart(*conversation, added.part);
  return added.part;
}

void Router::operatorTyping(const ConversationRow& conversation, bool person) {
  hub_.publish(conversation.appId, conversation.userId, "conversation_typing", json([&](JsonWriter& w) {
                 w.beginObject();
                 w.field("conversation", std::to_string(conversation.id));
                 w.key("from");
                 writeAdmin(w, person);
                 w.endObject();
               }));
}

void Router::pushPart(const ConversationRow& conversation, const PartRow& part) {
  hub_.publish(conversation.appId, conversation.userId, "conversation_reply",
               json([&](JsonWriter& w) { writeMessage(w, part, conversation.assigned); }));
}

void Router::pushDialog(const ConversationRow& conversation) {
  hub_.publish(conversation.appId, conversation.userId, "conversation",
               json([&](JsonWriter& w) { writeDialog(w, conversation); }));
}

std::variant<SocketGrant, Reply> Router::authorizeSocket(const std::string& target) {
  try {
    const auto q = target.find('?');
    Params params;
    if (q != std::string::npos && !parseForm(std::string_view(target).substr(q + 1), params)) {
      return fail(400, "bad_request", "the query has a broken percent escape or is no UTF-8");
    }
    auto parts = segments(std::string_view(target).substr(0, q));
    if (!parts || parts->empty() || (*parts)[0] != "rts") return fail(404, "not_found", "no socket here");
    auto who = caller(params);
    if (auto* refusal = std::get_if<Reply>(&who)) return *refusal;
    const Caller& c = std::get<Caller>(who);
    SocketGrant grant{c.user.appId, c.appWide ? 0 : c.user.id, {}, std::nullopt, std::nullopt};
    const std::string app = std::to_string(c.user.appId);
    const std::string own = c.appWide ? app : app + "." + std::to_string(c.user.id);
    for (std::size_t i = 1; i < parts->size(); ++i) {
      const std::string& name = (*parts)[i];
      const auto dot = name.find('.');
      const std::string channel = name.substr(0, dot);
      if (!kChannels.count(channel)) return fail(400, "bad_request", "no channel " + channel);
      if (dot == std::string::npos || name.substr(dot + 1) != own) {
        return fail(403, "forbidden", "channel " + name + " is not this token's");
      }
      grant.channels.insert(channel);
    }
    if (params.count("tag") && params.count("time")) {
      grant.tag = params["tag"];
      grant.time = params["time"];
    }
    return grant;
  } catch (const std::exception& e) {
    return fail(500, "internal_error", e.what());
  }
}

}  // namespace tavrel::service
