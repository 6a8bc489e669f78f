// Bad input: each refusal is an envelope with the right status, slow or
// vanished clients cost a timeout, and nothing already stored is lost.

#include <gtest/gtest.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include "service/router.h"
#include "service/service_fixture.h"
#include "tavrel/api/conversation_service.h"
#include "tavrel/api/message_service.h"

namespace tavrel::test {
namespace {

using service::Reply;
using service::Request;

Request rq(std::string method, std::string target, std::string type = "", std::string body = "",
           std::string secret = "") {
  return Request{std::move(method), std::move(target), std::move(type), std::move(body), std::move(secret)};
}

// A router over a memory store with one application and one of its visitors.
class Router : public testing::Test {
 protected:
  service::Store store{":memory:"};
  service::FrameHub hub;
  service::Router router{store, hub};
  const service::AppRow app = store.createApp("Demo");
  const service::UserRow visitor = store.createVisitor(app.id);
  const std::string token = store.issueToken(visitor.id);
};

TEST_F(Router, RefusesBadRequestsWithTheirStatusAndKeepsWhatIsStored) {
  const auto other = store.createVisitor(app.id);
  const std::string otherToken = store.issueToken(other.id);
  const auto [conversation, first] = store.startConversation(visitor, "kept");
  const std::string c = "/api/v1/conversations/" + std::to_string(conversation.id);
  const std::string t = "?auth_token=" + token;

  struct Case {
    Request request;
    int status;
  };
  const std::string form = "application/x-www-form-urlencoded";
  for (const Case& k : std::vector<Case>{
           {rq("POST", "/api/v1/connect", "application/json", "{\"api_key\":"), 400},  // malformed JSON
           {rq("POST", "/api/v1/connect", "application/json", "[1,2]"), 400},         // no object
           {rq("POST", "/api/v1/connect", form, "api_key=%zz"), 400},                 // broken escape
           {rq("POST", "/api/v1/connect", form, "api_key=nope"), 401},
           {rq("POST", "/api/v1/connect", form, ""), 400},
           {rq("GET", c + "/parts"), 401},                                            // no token
           {rq("GET", c + "/parts?auth_token=forged"), 401},
           {rq("GET", c + "/parts?auth_token=" + otherToken), 404},                   // not this visitor's
           {rq("GET", c + "/parts?auth_token=appm-999-" + token), 401},              // another app
           {rq("GET", c + "/parts" + t + "&after=abc"), 400},                         // wrong type
           {rq("GET", c + "/parts" + t + "&after=3%9B\xa0"), 400},                   // no UTF-8
           {rq("GET", "/elsewhere/%C3\xa9"), 404},                                  // quoted, no UTF-8
           {rq("GET", "/api/v1/conversations/77/parts" + t), 404},                    // unknown id
           {rq("GET", "/api/v1/conversations/x%2F..%2F1" + t), 404},
           {rq("POST", c + "/reply" + t, form, "random_id=1"), 400},                  // no body
           {rq("POST", "/api/v1/users/" + std::to_string(other.id) + "/startconversation" + t, form, "body=x"), 403},
           {rq("POST", "/api/v1/users/" + std::to_string(visitor.id) + "/props" + t, form, "operations=%7B"), 400},
           {rq("POST", "/api/v1/users/" + std::to_string(visitor.id) + "/events" + t, form, "params=1"), 400},
           {rq("GET", "/api/v1/knowledgebase/" + std::to_string(app.id) + "/articles/99" + t), 404},
           {rq("GET", "/api/v1/knowledgebase/2/categories" + t), 404},
           {rq("DELETE", c + t), 404},
           {rq("GET", "/operator/conversations"), 401},
           {rq("GET", "/operator/conversations", "", "", "wrong secret"), 401},
       }) {
    const Reply reply = router.handle(k.request);
    EXPECT_EQ(reply.status, k.status) << k.request.method << " " << k.request.target << " " << k.request.body;
    auto meta = decodeJson<Meta>(decodeJson<JsonValue>(reply.body)->getString("meta").value_or(""));
    ASSERT_TRUE(meta) << reply.body;
    EXPECT_EQ(meta->status, k.status);
    EXPECT_TRUE(meta->error && meta->errorMessage) << reply.body;
  }
  const auto parts = store.parts(conversation.id, 0, 10);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(parts[0].body, "kept");
  EXPECT_EQ(hub.kept(app.id), 0u);  // no refusal pushed anything
}

TEST_F(Router, ASocketGetsOnlyItsOwnApplicationAndVisitor) {
  const std::string a = std::to_string(app.id), own = a + "." + std::to_string(visitor.id);
  struct Case {
    std::string target;
    int status;  // 0: granted
  };
  for (const Case& k : std::vector<Case>{
           {"/rts/conversation_reply." + own + "/ping." + own + "?auth_token=" + token, 0},
           {"/rts/conversation_reply." + a + "?auth_token=appm-" + a + "-" + app.secret, 0},  // the whole app
           {"/rts/conversation_reply." + a + "?auth_token=appm-" + a + "-" + token, 401},  // not with a visitor's token
           {"/rts/conversation_reply." + a + "?auth_token=" + token, 403},  // a visitor is no app
           {"/rts/conversation_reply." + a + ".999?auth_token=" + token, 403},
           {"/rts/conversation_reply.999." + std::to_string(visitor.id) + "?auth_token=" + token, 403},
           {"/rts/gossip." + own + "?auth_token=" + token, 400},
           {"/rts/ping." + own, 401},
           {"/rts/ping." + own + "?auth_token=x%zz", 400},
       }) {
    auto grant = router.authorizeSocket(k.target);
    const int status = std::holds_alternative<Reply>(grant) ? std::get<Reply>(grant).status : 0;
    EXPECT_EQ(status, k.status) << k.target;
  }
  auto grant = router.authorizeSocket("/rts/ping." + own + "?auth_token=" + token + "&tag=a%2Db&time=1%2E5");
  ASSERT_TRUE(std::holds_alternative<service::SocketGrant>(grant));
  EXPECT_EQ(std::get<service::SocketGrant>(grant).tag, "a-b");
  EXPECT_EQ(std::get<service::SocketGrant>(grant).time, "1.5");
}

// Sends raw bytes and reads until the server closes; the time that took.
struct RawExchange {
  std::string answer;
  std::chrono::milliseconds took;
};
RawExchange exchange(std::uint16_t port, const std::string& bytes) {
  boost::asio::io_context io;
  boost::asio::ip::tcp::socket socket(io);
  socket.connect({boost::asio::ip::make_address("127.0.0.1"), port});
  const auto start = std::chrono::steady_clock::now();
  boost::asio::write(socket, boost::asio::buffer(bytes));
  std::string answer;
  boost::system::error_code ec;
  boost::asio::read(socket, boost::asio::dynamic_buffer(answer), ec);
  return {answer, std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)};
}

TEST(ServiceConnections, BigBodiesAndSlowClientsAreRefusedWithoutStoppingOthers) {
  ServerOptions options{.bot = false, .idleTimeout = std::chrono::seconds(1)};
  auto server = startServer(options);
  const std::string big(1024 * 1024 + 1, 'a');
  auto refused = exchange(server->port(), "POST /api/v1/connect HTTP/1.1\r\nHost: x\r\nContent-Type: "
                                          "application/x-www-form-urlencoded\r\nContent-Length: " +
                                              std::to_string(big.size()) + "\r\n\r\n" + big);
  EXPECT_NE(refused.answer.find("HTTP/1.1 413"), std::string::npos);
  EXPECT_NE(refused.answer.find("\"status\":413"), std::string::npos);

  // Half a request, then silence: closed after the idle time, and another
  // client is served meanwhile on the same thread.
  std::thread slow([&] {
    auto cut = exchange(server->port(), "POST /api/v1/connect HTTP/1.1\r\nContent-Length: 10\r\n\r\nap");
    EXPECT_TRUE(cut.answer.empty() || cut.answer.find("HTTP/1.1 4") == 0) << cut.answer;
    EXPECT_GE(cut.took, std::chrono::milliseconds(900));
    EXPECT_LT(cut.took, std::chrono::seconds(10));
  });
  auto fine = exchange(server->port(), "POST /api/v1/connect HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                                       "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                                           std::to_string(8 + server->demoApp().apiKey.size()) +
                                           "\r\n\r\napi_key=" + server->demoApp().apiKey);
  EXPECT_NE(fine.answer.find("\"auth_token\""), std::string::npos);
  EXPECT_LT(fine.took, std::chrono::milliseconds(900));
  slow.join();
  auto garbage = exchange(server->port(), "NOT HTTP AT ALL\r\n\r\n");
  EXPECT_NE(garbage.answer.find("400"), std::string::npos);
}

class OperatorTest : public ServiceTest {
 protected:
  int post(const std::string& path, const std::string& body = "") {
    HttpRequest request;
    request.method = Method::post;
    request.url = "http://127.0.0.1:" + std::to_string(server->port()) + "/operator/conversations/" + path;
    request.headers = {{"X-Tavrel-Secret", server->demoApp().identitySecret},
                       {"Content-Type", "application/x-www-form-urlencoded"}};
    request.body = body;
    std::promise<HttpResult> done;
    transport.send(request, [&](HttpResult r) { done.set_value(std::move(r)); });
    auto result = done.get_future().get();
    return std::holds_alternative<HttpResponse>(result) ? std::get<HttpResponse>(result).statusCode : 0;
  }
};

// A person's reply, from the operator routes or from the library's app mode
// with the application's secret, reaches the visitor live and silences the bot.
TEST_F(OperatorTest, APersonsReplyReachesTheVisitorLiveAndSilencesTheBot) {
  auto settings = visitor();
  listen(settings);
  ConversationService conversations(settings, &transport);
  const std::string id = succeeded(conversations.start("hello?")).data.id;
  ASSERT_TRUE(heard.waitFor("conversation_reply", 2));  // the bot answered once
  auto reply = [&](std::size_t i) {
    return decodeJson<Message>(*heard.on("conversation_reply")[i].getString("message")).value();
  };

  EXPECT_EQ(post(id + "/reply", "body=I%20am%20here"), 200);
  ASSERT_TRUE(heard.waitFor("conversation_reply", 3));
  EXPECT_EQ(reply(2).body, "I am here");
  EXPECT_EQ(heard.on("conversation_assigned").size(), 1u);

  const auto demo = server->demoApp();
  auto app = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::app, demo.identitySecret,
                                               demo.appId, "0");
  ConversationService operators(app, &transport);
  auto all = succeeded(operators.getDialogs("")).data;
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].id, id);
  succeeded(operators.reply(id, "from the panel", "1", "comment"));
  ASSERT_TRUE(heard.waitFor("conversation_reply", 4));
  EXPECT_EQ(reply(3).body, "from the panel");
  EXPECT_EQ(reply(3).direction, "a2u");

  succeeded(conversations.reply(id, "thanks", "5", "comment"));
  EXPECT_EQ(post(id + "/close"), 200);
  ASSERT_TRUE(heard.waitFor("conversation", 2));  // started, closed
  EXPECT_EQ(succeeded(MessageService(settings, &transport).getMessages(id)).data.size(), 5u);  // no bot answer after the person took over
  EXPECT_EQ(post("999/reply", "body=x"), 404);
  app->token = "not the secret";
  EXPECT_NE(refused(operators.getDialogs("x")).find("401"), std::string::npos);
}

}  // namespace
}  // namespace tavrel::test
