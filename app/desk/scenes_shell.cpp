// The navigation shell's scenes: a screen of conversations under the shell,
// with its bar, in each state; and the bar alone over colours.
#include <QPainter>
#include <QPainterPath>

#include "scenes.h"
#include "tavrel/device/manual_connectivity_backend.h"
#include "tavrel/device/reachability_service.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/image_view.h"
#include "tavrel/ui/label.h"

namespace tavrel::desk {
namespace {

using navigation::NavigationView;
using navigation::NavigationViewState;
using navigation::ZKNavigationBar;
using ui::View;

const QColor kTint = ui::colors::hex(0x007AFF);

// The back chevron, a template image drawn in the tint.
QImage chevron() {
  QImage image(44, 44, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing);
  QPainterPath path;
  path.moveTo(27, 10);
  path.lineTo(15, 22);
  path.lineTo(27, 34);
  p.strokePath(path, QPen(Qt::black, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  return image;
}

ui::Label* label(const QRectF& frame, const QString& text, double size, QColor colour,
                 QFont::Weight weight = QFont::Normal) {
  auto* l = new ui::Label(frame);
  l->setText(text);
  l->setFont(ui::Font::system(size, weight));
  l->setTextColor(colour);
  return l;
}

// A bar as wide as the scene: a title in its centre, a back icon on its left.
ZKNavigationBar* makeBar(double width, const QString& title) {
  ZKNavigationBar::setScreenWidthOverride(width);
  auto* bar = new ZKNavigationBar();
  ZKNavigationBar::setScreenWidthOverride(std::nullopt);
  auto* back = new ui::ImageView(QRectF(4, 4, 44, 44), chevron());
  back->setRenderingMode(ui::ImageView::RenderingMode::alwaysTemplate);
  bar->leftView()->addSubview(back);
  auto* centre = bar->centerView();
  auto* name = label(centre->bounds(), title, 17, ui::colors::black(), QFont::DemiBold);
  name->setTextAlignment(Qt::AlignCenter);
  centre->addSubview(name);
  return bar;
}

// The screen below the shell: a coloured card that runs under the bar, then
// rows of conversations.
void addContent(View& root) {
  const double w = root.frame().width();
  auto* card = new View(QRectF(0, 0, w, 120));
  card->setBackgroundColor(ui::colors::hex(0x34C759));
  card->addSubview(label(QRectF(16, 64, w - 32, 24), QStringLiteral("Поддержка онлайн"), 20, ui::colors::white(),
                         QFont::DemiBold));
  card->addSubview(label(QRectF(16, 90, w - 32, 20), QStringLiteral("Отвечаем за пару минут"), 15,
                         ui::colors::white()));
  root.addSubview(card);
  const QString names[] = {QStringLiteral("Анна, поддержка"), QStringLiteral("Бот"), QStringLiteral("Игорь"),
                           QStringLiteral("Мария"), QStringLiteral("Оплата")};
  const QString lines[] = {QStringLiteral("Здравствуйте! Чем помочь?"), QStringLiteral("Статья: как сменить пароль"),
                           QStringLiteral("Заказ уже в пути"), QStringLiteral("Спасибо за ожидание"),
                           QStringLiteral("Счёт оплачен")};
  for (int i = 0; i < 5; ++i) {
    const double y = 120 + i * 64;
    root.addSubview(label(QRectF(16, y + 12, w - 32, 22), names[i], 17, ui::colors::black(), QFont::DemiBold));
    root.addSubview(label(QRectF(16, y + 36, w - 32, 18), lines[i], 15, ui::colors::hex(0x8E8E93)));
    auto* line = new View(QRectF(16, y + 63, w - 16, 1));
    line->setBackgroundColor(ui::colors::hex(0xE5E5EA));
    root.addSubview(line);
  }
}

std::unique_ptr<View> shellScene(QSizeF size, const NavigationViewState& state) {
  auto root = std::make_unique<View>(QRectF(QPointF(0, 0), size));
  root->setBackgroundColor(ui::colors::white());
  addContent(*root);
  auto* shell = new NavigationView(QRectF(QPointF(0, 0), size));
  shell->setTintColor(kTint);
  root->addSubview(shell);
  shell->setNavigationBar(makeBar(size.width(), QStringLiteral("Сообщения")));
  if (state.kind() == NavigationViewState::Case::hide) shell->show(NavigationViewState::contentLoading());
  shell->show(state);
  return root;
}

std::vector<Scene> shellScenes() {
  using State = NavigationViewState;
  const QSize phone(320, 568);
  const auto scene = [&](const char* name, const char* caption, State state) {
    return Scene{name, caption, phone, [state](QSizeF s) { return shellScene(s, state); }};
  };
  return {
      scene("shell:hide", "the screen under its bar, nothing over it", State::hide()),
      scene("shell:contentLoading", "white below the bar, the spinner in its middle", State::contentLoading()),
      scene("shell:fullscreenLoading", "white over everything, bar included, the spinner in the middle",
            State::fullscreenLoading()),
      scene("shell:frameLoading", "the spinner in the rows' rectangle (centre y 280), white below the bar",
            State::frameLoading(QRectF(0, 184, 320, 192))),
      scene("shell:zeroData", "the empty screen's own title and text, no button",
            State::zeroData(QStringLiteral("Здесь пока пусто"),
                            QStringLiteral("Напишите нам, и\u00A0разговор появится здесь."))),
      scene("shell:connectError", "no internet: title, text and the retry button in blue", State::connectError()),
      {"shell:serverError", "something went wrong on the server, with the retry button", phone,
       [](QSizeF s) {
         // Online, or the shell would say that the network is lost.
         auto network = ManualConnectivityBackend::installAsDefault();
         network->setStatus(ConnectivityStatus::connected);
         ReachabilityService::shared().connection();
         return shellScene(s, NavigationViewState::serverError());
       }},
      {"bar", "the bar over colours: white at 0.9 over their blur", {320, 120},
       [](QSizeF s) {
         auto root = std::make_unique<View>(QRectF(QPointF(0, 0), s));
         root->setBackgroundColor(ui::colors::white());
         const QColor colours[] = {ui::colors::hex(0xFF3B30), ui::colors::hex(0xFFCC00), ui::colors::hex(0x34C759),
                                   ui::colors::hex(0x007AFF)};
         const double w = s.width() / 4;
         for (int i = 0; i < 4; ++i) {
           auto* block = new View(QRectF(i * w, 0, w, 36 + 24 * i));
           block->setBackgroundColor(colours[i]);
           root->addSubview(block);
         }
         auto* bar = makeBar(s.width(), QStringLiteral("Сообщения"));
         bar->setTintColor(kTint);
         root->addSubview(bar);
         return root;
       }},
  };
}

SceneGroup group(&shellScenes);

}  // namespace
}  // namespace tavrel::desk
