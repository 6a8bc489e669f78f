// The scene of a real conversation: the reference service in this process,
// a visitor's session, one message sent and the bot's answer awaited.
#include <QCoreApplication>

#include "chat_setup.h"
#include "desk_session.h"
#include "scenes.h"
#include "screens.h"
#include "tavrel/api/user_service.h"
#include "tavrel/core/log.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/navigation/transition_coordinators.h"

namespace tavrel::desk {
namespace {

constexpr auto kLimit = std::chrono::seconds(10);

// What the scene runs on, ended in order (the screens, then the session,
// then the service) before the root view goes.
struct World : QObject {
  std::unique_ptr<cli::Embedded> embedded;
  std::unique_ptr<HttpTransport> transport;
  std::unique_ptr<DeskSession> session;
  std::shared_ptr<navigation::ZKNavigationController> controller;
  ~World() override {
    controller.reset();
    session.reset();
    transport.reset();
    embedded.reset();
  }
};

std::unique_ptr<ui::View> failed(QSizeF size, const std::string& why) {
  auto view = std::make_unique<ui::View>(QRectF(QPointF(0, 0), size));
  auto* label = new ui::Label(QRectF(16, 16, size.width() - 32, size.height() - 32));
  label->setNumberOfLines(0);
  label->setText(QString::fromStdString("desk:conversation did not come about: " + why));
  view->addSubview(label);
  return view;
}

std::unique_ptr<ui::View> conversationScene(QSizeF size) {
  setDebugSink([](std::string_view) {});  // the request log is no part of the picture
  auto root = std::make_unique<ui::View>(QRectF(QPointF(0, 0), size));
  auto* world = new World;
  world->setParent(root.get());  // the first child: it goes first
  auto started = cli::Embedded::start(":memory:");
  if (auto* problem = std::get_if<std::string>(&started)) return failed(size, *problem);
  world->embedded = std::move(std::get<0>(started));
  auto network = ManualConnectivityBackend::installAsDefault();
  network->setStatus(ConnectivityStatus::connected);
  TavrelLib::shared();
  world->transport = std::make_unique<HttpTransport>();
  UserService users(nullptr, world->transport.get());
  auto connected = cli::runToEnd(users.connect(world->embedded->server().demoApp().apiKey, "1.0"), kLimit);
  if (!connected.last || !connected.last->succeed()) return failed(size, "no session");
  const User user = connected.last->success()->first;
  auto settings = std::make_shared<NetworkSettings>(NetworkSettings::ConnectionType::sdk,
                                                    user.token.value_or(""), user.appId, user.id);
  world->session = std::make_unique<DeskSession>(settings, world->transport.get(), network);
  DeskSession& session = *world->session;
  auto& queue = rx::MainQueue::shared();
  if (!session.connect() ||
      !queue.runUntil([&] { return session.connectedOnce(); }, kLimit)) {
    return failed(size, "no live connection");
  }
  // One message, and the bot's answer as it comes live.
  bool answered = false;
  rx::DisposeBag bag;
  session.frames()
      .subscribe([&answered](const cli::ChatFrame& frame) {
        auto* reply = std::get_if<cli::ChatFrame::Reply>(&frame.event);
        answered = answered || (reply && reply->message.direction != "u2a");
      })
      .disposed(bag);
  auto dialog = cli::runToEnd(
      session.conversations().start("Hello! How do I change my password?"), kLimit);
  if (!dialog.last || !dialog.last->succeed()) return failed(size, "no conversation");
  if (!queue.runUntil([&] { return answered; }, kLimit)) return failed(size, "no answer within 10 s");

  navigation::ZKNavigationBar::setScreenWidthOverride(size.width());
  const std::string dialogId = dialog.last->success()->data.id;
  auto screen = std::make_shared<ConversationScreen>(session, dialogId);
  world->controller = std::make_shared<navigation::ZKNavigationController>(screen);
  auto* bar = new navigation::ZKNavigationBar;
  world->controller->presenter->setNavigationBar(bar);
  bar->leftView()->addSubview(screen->leftNavigationBarView());
  bar->centerView()->addSubview(screen->centerNavigationBarView());
  bar->rightView()->addSubview(screen->rightNavigationBarView());
  ui::View* shown = world->controller->view();
  shown->setParent(root.get());
  shown->setFrame(root->bounds());
  // The page, with both messages.
  queue.runUntil([&] { return screen->log().entries().size() >= 2; }, kLimit);
  screen->inputBar().setText(QStringLiteral("Thank you! :smile:"));
  return root;
}

std::vector<Scene> deskScenes() {
  return {{"desk:conversation", "a conversation with the embedded service: a question and the bot's answer",
           {375, 560}, [](QSizeF s) { return conversationScene(s); }}};
}

SceneGroup group(&deskScenes);

}  // namespace
}  // namespace tavrel::desk
