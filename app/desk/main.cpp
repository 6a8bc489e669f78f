// tavrel-desk: a chat window with support on the library's views, and the
// views' scenes drawn into pictures.
//
//   tavrel-desk [--embedded | --key KEY ...]  the chat window (see --help)
//   tavrel-desk --render list                the names of the scenes
//   tavrel-desk --render NAME -o FILE.png [--size WxH]
//                                            draws one scene into a PNG,
//                                            without a display
#include <QApplication>
#include <QPixmap>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

#include "chat_window.h"
#include "scenes.h"
#include "tavrel/core/info_plist.h"
#include "tavrel/rx/main_queue.h"
#include "tavrel/ui/animation_clock.h"
#include "tavrel/ui/main_queue_pump.h"

namespace {

int usage(const std::string& mistake) {
  std::cerr << "tavrel-desk: " << mistake << "\n"
            << "usage: tavrel-desk --render list | --render NAME -o FILE.png [--size WxH]\n";
  return 64;
}

std::optional<QSize> parseSize(const std::string& text) {
  const auto x = text.find('x');
  if (x == std::string::npos) return std::nullopt;
  try {
    std::size_t used = 0;
    const int w = std::stoi(text.substr(0, x), &used);
    if (used != x) return std::nullopt;
    const int h = std::stoi(text.substr(x + 1), &used);
    if (used != text.size() - x - 1 || w <= 0 || h <= 0 || w > 8000 || h > 8000) return std::nullopt;
    return QSize(w, h);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

int render(const tavrel::desk::Scene& scene, QSize size, const std::string& out) {
  auto& clock = tavrel::ui::AnimationClock::shared();
  clock.setManual(true);
  tavrel::ui::MainQueuePump pump;
  auto view = scene.build(QSizeF(size));
  view->show();
  // Settle: layout, queued tasks (loaded images, caret scrolls) and the
  // animations they start; the spinner is caught a quarter turn on.
  for (int round = 0; round < 5; ++round) {
    QCoreApplication::processEvents();
    tavrel::rx::MainQueue::shared().drainPending();
    view->layoutIfNeeded();
    clock.advance(250);
  }
  if (!view->grab().save(QString::fromStdString(out), "PNG")) {
    std::cerr << "tavrel-desk: cannot write " << out << "\n";
    return 73;
  }
  return 0;
}

}  // namespace

// The bundle installed beside the executable, unless the environment names
// another.
void registerBundle(const char* argv0) {
  if (std::getenv("TAVREL_MAIN_BUNDLE")) return;
  std::error_code error;
  const auto exe = std::filesystem::canonical(argv0, error);
  if (!error) tavrel::Bundle::registerMain(exe.parent_path() / "bundle");
}

int main(int argc, char** argv) {
  registerBundle(argv[0]);
  bool rendering = false;
  for (int i = 1; i < argc; ++i) rendering = rendering || std::string(argv[i]) == "--render";
  if (!rendering) return tavrel::desk::runChatWindow(argc, argv, std::cerr);
  std::optional<std::string> name, out;
  std::optional<QSize> size;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> std::optional<std::string> {
      if (i + 1 >= argc) return std::nullopt;
      return std::string(argv[++i]);
    };
    if (arg == "--render") {
      if (!(name = value())) return usage("--render needs a scene name, or list");
    } else if (arg == "-o") {
      if (!(out = value())) return usage("-o needs a file name");
    } else if (arg == "--size") {
      const auto text = value();
      if (!text || !(size = parseSize(*text))) return usage("--size takes WxH, as 375x120");
    } else {
      return usage("unknown argument " + arg);
    }
  }
  if (*name == "list") {
    for (const auto& s : tavrel::desk::scenes()) std::cout << s.name << "\t" << s.caption << "\n";
    return 0;
  }
  const auto* scene = tavrel::desk::findScene(*name);
  if (!scene) return usage("no scene named " + *name + " (see --render list)");
  if (!out) return usage("--render needs -o FILE.png");
  if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  return render(*scene, size.value_or(scene->size), *out);
}
