#include "chat_window.h"

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QShortcut>
#include <QToolBar>
#include <iostream>
#include <string_view>
#include <vector>

#include "chat_setup.h"
#include "desk_session.h"
#include "screens.h"
#include "tavrel/device/connectivity_status.h"
#include "tavrel/device/tavrel_lib.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/navigation/transition_coordinators.h"
#include "tavrel/ui/app_state_bridge.h"
#include "tavrel/ui/main_queue_pump.h"

namespace tavrel::desk {
namespace {

constexpr int kWidth = 420, kHeight = 720;

constexpr std::string_view kHelp =
    "usage: tavrel-desk [--embedded [--db FILE] | --key KEY] [--network linux|manual] [options]\n"
    "       tavrel-desk --render list | --render NAME -o FILE.png [--size WxH]\n"
    "\n"
    "A chat window with support: your conversations, a conversation with its\n"
    "answers and typing live, the help centre. Ctrl+Enter sends what you type.\n"
    "\n"
    "  --embedded          starts the reference service in this process, with its\n"
    "                      bot; the default when none of --key, --token-file,\n"
    "                      TAVREL_TOKEN, TAVREL_MAIN_BUNDLE or a saved session is given\n"
    "  --db FILE           the embedded service's database (default: memory only)\n"
    "  --key KEY           a new visitor of that application, saved as `tavrel\n"
    "                      connect` saves it; otherwise the saved session\n"
    "  --user-id ID, --user-auth-key-file FILE   a known user, as for `tavrel chat`\n"
    "  --network linux     the network status follows this machine (the default\n"
    "                      with a service elsewhere)\n"
    "  --network manual    the toolbar's \"Work offline\" switch sets it (the default\n"
    "                      with the embedded service, which needs no network)\n"
    "  --token-file FILE, --state DIR, --timeout SECONDS, --verbose: as for `tavrel`\n"
    "\n"
    "F12 saves the window into the file TAVREL_DESK_SCREENSHOT names.\n"
    "Exit statuses: 0 closed; 1 the service refused the session; 2 no connection,\n"
    "or the embedded service did not start; 64 usage error; 78 configuration error.\n";

const cli::CommandSpec kDesk{
    "desk", "", {"--key", "--user-auth-key", "--user-auth-key-file", "--network", "--db"}, {}, 0, 0};

// Puts the root screen's items into the bar, as a transition would.
void placeItems(navigation::ZKNavigationBar& bar, DeskScreen& screen) {
  if (auto* item = screen.leftNavigationBarView()) bar.leftView()->addSubview(item);
  if (auto* item = screen.centerNavigationBarView()) bar.centerView()->addSubview(item);
  if (auto* item = screen.rightNavigationBarView()) bar.rightView()->addSubview(item);
}

int runWindow(cli::Call& call, int& argc, char** argv, const cli::Embedded* embedded, bool manualNetwork) {
  auto session = cli::openSession(call, embedded);
  if (auto* status = std::get_if<int>(&session)) return *status;
  cli::useInstalledLibBundle();
  if (auto problem = cli::wssUrlProblem(); !problem.empty()) return call.fail(problem, cli::kBadConfig);
  std::shared_ptr<ManualConnectivityBackend> manual;
  if (manualNetwork) {
    manual = ManualConnectivityBackend::installAsDefault();
    manual->setStatus(ConnectivityStatus::connected);
  }
  // A host that has one already (the tests) keeps it.
  std::unique_ptr<QApplication> own;
  if (!QApplication::instance()) own = std::make_unique<QApplication>(argc, argv);
  ui::MainQueuePump pump;
  ui::AppStateBridge appState;
  TavrelLib::shared();
  DeskSession desk(std::get<0>(std::move(session)), &call.transport(), manual);
  if (!desk.connect()) return call.fail("no real-time address from wssUrl and the session", cli::kBadConfig);

  QMainWindow window;
  window.setWindowTitle(QStringLiteral("Support — tavrel-desk"));
  auto* toolbar = window.addToolBar(QStringLiteral("Network"));
  toolbar->setMovable(false);
  QAction* offline = toolbar->addAction(QStringLiteral("Work offline"));
  offline->setCheckable(true);
  offline->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
  offline->setEnabled(desk.hasNetworkSwitch());
  offline->setToolTip(desk.hasNetworkSwitch() ? QStringLiteral("Cut the network (Ctrl+Shift+O)")
                                              : QStringLiteral("Needs --network manual"));
  QObject::connect(offline, &QAction::toggled, &window, [&desk](bool on) { desk.setOnline(!on); });
  auto* container = new QWidget;
  container->setFixedSize(kWidth, kHeight);
  window.setCentralWidget(container);

  navigation::ZKNavigationBar::setScreenWidthOverride(kWidth);
  auto root = std::make_shared<ListScreen>(desk);
  auto controller = std::make_shared<navigation::ZKNavigationController>(root);
  controller->setDelegate(std::make_shared<navigation::FromRightTransitionCoordinator>());
  controller->initLeftSwipe(navigation::ZKSwipeAction(navigation::ZKSwipeAction::pop{}));
  auto* bar = new navigation::ZKNavigationBar;
  controller->presenter->setNavigationBar(bar);
  placeItems(*bar, *root);
  controller->view()->setParent(container);
  controller->view()->setFrame(QRectF(0, 0, kWidth, kHeight));

  auto* shot = new QShortcut(QKeySequence(Qt::Key_F12), &window);
  shot->setContext(Qt::ApplicationShortcut);
  QObject::connect(shot, &QShortcut::activated, &window, [&window] {
    const char* file = std::getenv("TAVREL_DESK_SCREENSHOT");
    if (file && *file && !window.grab().save(QString::fromLocal8Bit(file), "PNG")) {
      std::cerr << "tavrel-desk: cannot write " << file << '\n';
    }
  });
  window.show();
  QApplication::exec();
  controller.reset();
  return cli::kSuccess;
}

}  // namespace

int runChatWindow(int argc, char** argv, std::ostream& err) {
  std::vector<std::string> rest;
  bool embeddedFlag = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::cout << kHelp;
      return cli::kSuccess;
    }
    if (arg == "--embedded") {
      embeddedFlag = true;
    } else {
      rest.push_back(arg);
    }
  }
  const auto chosen = cli::valueOf(rest, "--network");
  if (chosen && *chosen != "linux" && *chosen != "manual") {
    return cli::usageError(err, "tavrel-desk", "--network is linux or manual, not '" + *chosen + "'");
  }
  if (embeddedFlag && cli::given(rest, "--key")) {
    return cli::usageError(err, "tavrel-desk", "--embedded talks to its own service: no --key");
  }
  std::unique_ptr<cli::Embedded> embedded;
  if (embeddedFlag || !cli::serviceConfigured(rest)) {
    auto started = cli::Embedded::start(cli::valueOf(rest, "--db").value_or(":memory:"));
    if (auto* problem = std::get_if<std::string>(&started)) {
      err << "tavrel-desk: the embedded service did not start: " << *problem << '\n';
      return cli::kFailed;
    }
    embedded = std::move(std::get<0>(started));
  } else if (cli::given(rest, "--db")) {
    return cli::usageError(err, "tavrel-desk", "--db is for --embedded only");
  }
  // A service in this process is reachable whatever this machine's network.
  const std::string network = chosen.value_or(embedded ? "manual" : "linux");
  rx::MainQueue::shared().makeCurrentThread();
  cli::Io io{std::cin, std::cout, err};
  return cli::runCall("tavrel-desk", kDesk, rest, io, [&](cli::Call& call) {
    return runWindow(call, argc, argv, embedded.get(), network == "manual");
  });
}

}  // namespace tavrel::desk
