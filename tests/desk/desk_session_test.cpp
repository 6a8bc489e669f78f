// The window against the reference service in this process: the shell state
// each way a load ends, and a conversation screen that sends and hears the
// bot's answer.
#include <gtest/gtest.h>

#include "desk_session.h"
#include "desk_test.h"
#include "screens.h"
#include "service/service_fixture.h"
#include "shell_state.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/navigation_view_presenter.h"

namespace tavrel::desk {
namespace {

using navigation::NavigationViewState;
using Case = NavigationViewState::Case;
using Dialogs = Response<std::vector<Dialog>>;

class DeskService : public tavrel::test::ServiceTest {
 protected:
  void TearDown() override { test::network()->setStatus(ConnectivityStatus::connected); }

  // Sets the network switch and waits until the session has heard it.
  void setOnline(DeskSession& session, bool online) {
    test::network()->setStatus(online ? ConnectivityStatus::connected : ConnectivityStatus::notConnected);
    rx::MainQueue::shared().runUntil([&] { return session.online() == online; }, std::chrono::seconds(5));
  }

  // How a load of the conversation list ends, as the list screen shows it.
  NavigationViewState listState(DeskSession& session) {
    std::optional<Loaded<Dialogs>> end;
    Guard guard = makeGuard();
    session.request(session.conversations().getDialogs(""), guard,
                    std::function<void(Loaded<Dialogs>)>([&end](Loaded<Dialogs> loaded) { end = loaded; }));
    EXPECT_TRUE(rx::MainQueue::shared().runUntil([&] { return end.has_value(); }, std::chrono::seconds(10)));
    if (!end) return NavigationViewState::hide();
    const bool empty = !end->value || end->value->data.empty();
    return stateAfter(end->outcome, empty, ZeroTexts{"none", "yet"});
  }
};

TEST_F(DeskService, ShellStateForEachWayALoadEnds) {
  auto settings = visitor();
  DeskSession session(settings, &transport, test::network());
  EXPECT_EQ(listState(session), NavigationViewState::zeroData("none", "yet")) << "an empty list";

  auto stranger = std::make_shared<NetworkSettings>(*settings);
  stranger->token = "not-a-token";
  DeskSession refused(stranger, &transport, test::network());
  EXPECT_EQ(listState(refused).kind(), Case::serverError) << "the service refused";


  server->stop();
  EXPECT_EQ(listState(session).kind(), Case::connectError) << "the service is gone";
}

TEST_F(DeskService, ConversationScreenSendsAndShowsTheAnswerOnce) {
  DeskSession session(visitor(), &transport, test::network());
  ASSERT_TRUE(session.connect());
  auto& queue = rx::MainQueue::shared();
  ASSERT_TRUE(queue.runUntil([&] { return session.connectedOnce(); }, std::chrono::seconds(10)));
  auto screen = std::make_shared<ConversationScreen>(session, "");
  navigation::ZKNavigationController shell(screen);
  shell.view()->setFrame(QRectF(0, 0, 375, 600));
  auto answered = [&](std::size_t n) {
    return [&screen, n] {
      std::size_t answers = 0;
      for (const auto& e : screen->log().entries()) answers += e.message.direction != "u2a";
      return answers >= n;
    };
  };

  screen->inputBar().setText("hello :smile:");
  screen->send();  // starts the conversation
  ASSERT_TRUE(queue.runUntil(answered(1), std::chrono::seconds(10)));
  screen->inputBar().setText("and again");
  screen->send();
  ASSERT_TRUE(queue.runUntil(answered(2), std::chrono::seconds(10)));
  queue.runFor(std::chrono::milliseconds(100));  // late copies, if any, would show now

  std::vector<std::string> bodies, ids;
  for (const auto& e : screen->log().entries()) {
    if (e.message.direction == "u2a") bodies.push_back(e.message.body);
    ids.push_back(e.message.id);
    EXPECT_EQ(e.delivery, ConversationLog::Delivery::delivered);
  }
  EXPECT_EQ(bodies, (std::vector<std::string>{"hello 😄", "and again"}));
  EXPECT_EQ(ids.size(), 4u);
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end(), [](auto& a, auto& b) { return std::stoi(a) < std::stoi(b); }));

  // Offline, nothing is sent and nothing typed is lost.
  setOnline(session, false);
  screen->inputBar().setText("kept");
  screen->send();
  EXPECT_EQ(screen->inputBar().text(), "kept");
  EXPECT_EQ(shell.navigationView()->state()->kind(), Case::connectError);

  // A reply that fails below HTTP comes back into the bar.
  setOnline(session, true);
  server->stop();
  screen->send();
  EXPECT_EQ(screen->inputBar().text(), "");
  EXPECT_TRUE(queue.runUntil([&] { return screen->inputBar().text() == "kept"; }, std::chrono::seconds(10)));
  EXPECT_EQ(screen->log().entries().size(), 4u) << "the failed one is not left behind";
}

TEST_F(DeskService, ListScreenLoadsAgainWhenTheNetworkReturns) {
  DeskSession session(visitor(), &transport, test::network());
  navigation::ZKNavigationController shell(std::make_shared<ListScreen>(session));
  auto& queue = rx::MainQueue::shared();
  auto shown = [&shell](Case kind) {
    return [&shell, kind] { return shell.navigationView()->state() && shell.navigationView()->state()->kind() == kind; };
  };
  EXPECT_TRUE(shown(Case::contentLoading)());
  EXPECT_TRUE(queue.runUntil(shown(Case::zeroData), std::chrono::seconds(10))) << "no conversation yet";

  tavrel::test::succeeded(session.conversations().start("hello"));
  test::network()->setStatus(ConnectivityStatus::notConnected);
  EXPECT_TRUE(queue.runUntil(shown(Case::connectError), std::chrono::seconds(5)));
  test::network()->setStatus(ConnectivityStatus::connected);
  EXPECT_TRUE(queue.runUntil(shown(Case::hide), std::chrono::seconds(10))) << "the retry loaded the new list";
}

}  // namespace
}  // namespace tavrel::desk
