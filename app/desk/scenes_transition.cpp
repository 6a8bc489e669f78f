// Scenes of a change of screens in the shell, held halfway by an
// interactive transition: both screens half visible side by side, the bar's
// items mid-fade.
#include <QPointer>

#include "scenes.h"
#include "tavrel/navigation/navigation_view.h"
#include "tavrel/navigation/transition_coordinators.h"
#include "tavrel/navigation/zk_navigation_bar.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/label.h"

namespace tavrel::desk {
namespace {

using ui::View;

ui::Label* label(const QString& text, QRectF frame, double size, QColor colour,
                 Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter, QFont::Weight weight = QFont::Normal) {
  auto* l = new ui::Label(frame);
  l->setText(text);
  l->setFont(ui::Font::system(size, weight));
  l->setTextColor(colour);
  l->setTextAlignment(alignment);
  return l;
}

// A screen with its own bar items: a glyph on each side and a title.
class Screen : public ui::ViewController, public navigation::ZKChangeNavigationBarProtocol {
 public:
  Screen(const QString& left, const QString& title, const QString& right) {
    const QColor blue = ui::colors::hex(0x007AFF);
    left_ = label(left, QRectF(0, 0, 52, 52), 26, blue, Qt::AlignCenter);
    center_ = label(title, QRectF(0, 0, navigation::ZKNavigationBar::screenWidth() - 104, 52), 17,
                    ui::colors::black(), Qt::AlignCenter, QFont::DemiBold);
    right_ = label(right, QRectF(0, 0, 52, 52), 22, blue, Qt::AlignCenter);
  }
  ~Screen() override {
    delete left_.data();
    delete center_.data();
    delete right_.data();
  }
  View* leftNavigationBarView() const override { return left_; }
  View* centerNavigationBarView() const override { return center_; }
  View* rightNavigationBarView() const override { return right_; }

 private:
  QPointer<View> left_, center_, right_;
};

// The list of conversations.
std::shared_ptr<Screen> listScreen(QSizeF size) {
  auto screen = std::make_shared<Screen>(QStringLiteral("☰"), QStringLiteral("Разговоры"), QStringLiteral("+"));
  View* root = screen->view();
  root->setBackgroundColor(ui::colors::white());
  const QStringList names{"Анна, поддержка", "Бот", "Иван", "Мария", "Олег", "Ольга", "Пётр"};
  const QStringList lines{"Здравствуйте! Чем помочь?", "Статья: как сменить пароль", "Спасибо, всё работает",
                          "Файл отправлен", "Оплата прошла", "Добрый день", "Жду ответа"};
  for (int i = 0; i < names.size() && 60 + i * 68 < size.height(); ++i) {
    const double y = 60 + i * 68;
    auto* avatar = new View(QRectF(16, y + 8, 48, 48));
    avatar->setCornerRadius(24);
    avatar->setBackgroundColor(QColor::fromHsv((i * 47) % 360, 120, 220));
    root->addSubview(avatar);
    root->addSubview(label(names[i], QRectF(76, y + 8, size.width() - 92, 22), 16, ui::colors::black(),
                           Qt::AlignLeft | Qt::AlignVCenter, QFont::DemiBold));
    root->addSubview(label(lines[i], QRectF(76, y + 32, size.width() - 92, 20), 14, QColor(0x8e, 0x8e, 0x93)));
  }
  return screen;
}

// One conversation: bubbles on a grey ground.
std::shared_ptr<Screen> conversationScreen(QSizeF size) {
  auto screen = std::make_shared<Screen>(QStringLiteral("‹"), QStringLiteral("Анна, поддержка"), QStringLiteral("•••"));
  View* root = screen->view();
  root->setBackgroundColor(QColor(0xef, 0xef, 0xf4));
  const double w = size.width() * 0.7;
  struct Bubble {
    const char* text;
    bool mine;
  };
  const Bubble bubbles[]{{"Здравствуйте! Не могу войти в аккаунт.", true},
                         {"Добрый день! Попробуйте сменить пароль в настройках профиля.", false},
                         {"Получилось, спасибо!", true}};
  double y = 68;
  for (const Bubble& b : bubbles) {
    auto* bubble = new View(QRectF(b.mine ? size.width() - w - 12 : 12, y, w, 64));
    bubble->setCornerRadius(16);
    bubble->setBackgroundColor(b.mine ? ui::colors::hex(0x007AFF) : ui::colors::white());
    auto* text = label(QString::fromUtf8(b.text), QRectF(12, 6, w - 24, 52), 15,
                       b.mine ? ui::colors::white() : ui::colors::black());
    text->setNumberOfLines(0);
    bubble->addSubview(text);
    root->addSubview(bubble);
    y += 76;
  }
  return screen;
}

// Holds the controller for as long as the scene lives.
class SceneRoot : public View {
 public:
  using View::View;
  std::shared_ptr<navigation::ZKNavigationController> nav;
  std::shared_ptr<navigation::FromRightTransitionCoordinator> coordinator;
};

std::unique_ptr<View> halfway(QSizeF size, bool push) {
  auto root = std::make_unique<SceneRoot>(QRectF(QPointF(0, 0), size));
  navigation::ZKNavigationBar::setScreenWidthOverride(size.width());
  auto first = listScreen(size);
  auto second = conversationScreen(size);
  root->nav = std::make_shared<navigation::ZKNavigationController>(first);
  if (!push) root->nav->pushViewController(second, false);  // a pop starts from the conversation
  View* shell = root->nav->view();
  shell->setFrame(root->bounds());
  root->addSubview(shell);
  auto* bar = new navigation::ZKNavigationBar();
  root->nav->navigationView()->setNavigationBar(bar);
  auto* top = static_cast<Screen*>(root->nav->topViewController());
  bar->leftView()->addSubview(top->leftNavigationBarView());
  bar->centerView()->addSubview(top->centerNavigationBarView());
  bar->rightView()->addSubview(top->rightNavigationBarView());
  shell->layoutIfNeeded();

  root->coordinator = std::make_shared<navigation::FromRightTransitionCoordinator>();
  root->nav->setDelegate(root->coordinator);
  auto interaction = std::make_shared<ui::PercentDrivenInteractiveTransition>();
  root->coordinator->interactionController = interaction;
  if (push) root->nav->pushViewController(second, true);
  else root->nav->popViewController(true);
  interaction->update(0.5);
  navigation::ZKNavigationBar::setScreenWidthOverride(std::nullopt);
  return root;
}

std::vector<Scene> transitionScenes() {
  return {
      {"transition:push:0.5", "a push held halfway: the list leaves, the conversation comes in from the right",
       QSize(375, 667), [](QSizeF size) { return halfway(size, true); }},
      {"transition:pop:0.5", "a pop held halfway: the conversation leaves, the list comes back from the left",
       QSize(375, 667), [](QSizeF size) { return halfway(size, false); }},
  };
}

static SceneGroup group(&transitionScenes);

}  // namespace
}  // namespace tavrel::desk
