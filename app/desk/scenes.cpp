#include "scenes.h"

#include <QDir>
#include <QPainter>
#include <QStandardPaths>

#include "tavrel/core/resources.h"
#include "tavrel/model/person.h"
#include "tavrel/ui/al_text_input_bar.h"
#include "tavrel/ui/avatar.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"
#include "tavrel/ui/image_button.h"
#include "tavrel/ui/label.h"
#include "tavrel/ui/loading_view.h"

namespace tavrel::desk {
namespace {

using ui::View;

// Keeps the bar's bottom edge on the root's bottom as it grows, as a host
// with the bar above the keyboard does.
class BarHost : public ui::ALTextInputBarDelegate {
 public:
  explicit BarHost(ui::ALTextInputBar* bar) : bar_(bar) {}
  void inputBarDidChangeHeight(double height) override {
    if (!bar_->superview()) return;
    QRectF f = bar_->frame();
    f.moveBottom(bar_->superview()->frame().height());
    f.setHeight(height);
    f.moveBottom(bar_->superview()->frame().height());
    bar_->setFrame(f);
  }

 private:
  ui::ALTextInputBar* bar_;
};

std::unique_ptr<View> root(QSizeF size, QColor colour = ui::colors::white()) {
  auto view = std::make_unique<View>(QRectF(QPointF(0, 0), size));
  view->setBackgroundColor(colour);
  return view;
}

// A conversation's bottom edge: the bar with a send label on its right.
std::unique_ptr<View> inputScene(QSizeF size, const QString& text, bool blocked) {
  auto view = root(size);
  auto* bar = new ui::ALTextInputBar(QRectF(0, size.height() - 43.5, size.width(), 43.5));
  auto* host = new BarHost(bar);
  QObject::connect(bar, &QObject::destroyed, [host] { delete host; });
  bar->delegate = host;
  auto* send = new ui::Label(QRectF(0, 0, 92, 30));
  send->setText(QStringLiteral("Отправить"));
  send->setFont(ui::Font::system(15, QFont::DemiBold));
  send->setTextColor(ui::colors::hex(0x007AFF));
  send->setTextAlignment(Qt::AlignCenter);
  bar->setRightView(send);
  bar->setShowTextViewBorder(true);
  bar->textViewBorderPadding = {2, 0, 2, 0};
  view->addSubview(bar);
  bar->setText(text);
  if (blocked) {
    // The cover is see-through; this host gives it the text area's colour.
    bar->disableView().setBackgroundColor(ui::colors::white());
    bar->disableView().setHidden(false);
  }
  // Put the caret at the end, where typing left it.
  bar->textView().setSelectedRange({int(text.size()), int(text.size())});
  return view;
}

QString writePortrait() {
  QImage image(240, 240, QImage::Format_ARGB32_Premultiplied);
  QPainter p(&image);
  QLinearGradient sky(0, 0, 0, 240);
  sky.setColorAt(0, QColor(0x6a, 0xb7, 0xff));
  sky.setColorAt(1, QColor(0x1e, 0x3c, 0x72));
  p.fillRect(image.rect(), sky);
  p.setRenderHint(QPainter::Antialiasing);
  p.setBrush(QColor(0xf2, 0xc1, 0x9e));
  p.setPen(Qt::NoPen);
  p.drawEllipse(QRectF(80, 50, 80, 90));
  p.drawEllipse(QRectF(40, 150, 160, 140));
  p.end();
  const QString path = QDir(QStandardPaths::writableLocation(QStandardPaths::TempLocation))
                           .filePath(QStringLiteral("tavrel-desk-portrait.png"));
  image.save(path);
  return path;
}

std::unique_ptr<View> avatarScene(QSizeF size, bool withImage) {
  auto view = root(size);
  const QColor colours[] = {ui::colors::hex(0x4A90E2), ui::colors::hex(0xF5A623), ui::colors::hex(0x7ED321)};
  const QString portrait = withImage ? writePortrait() : QString();
  double x = 16;
  for (const QColor& colour : colours) {
    auto* avatar = new ui::Avatar(QRectF(x, (size.height() - 64) / 2, 64, 64), colour);
    view->addSubview(avatar);
    const std::string url = withImage ? "file://" + portrait.toStdString() : std::string();
    avatar->setup(Person(std::nullopt, "user", "Ada", url));
    x += 80;
  }
  return view;
}

std::unique_ptr<View> buttonScene(QSizeF size, bool enabled) {
  auto view = root(size, ui::colors::groupTableViewBackground());
  auto* button = new ui::ImageButton(ui::ImageView::imageNamed(R::drawable::questionCircle),
                                     ui::toQColor(R::color::gray153153153()));
  button->setCenter({size.width() / 2, size.height() / 2});
  view->addSubview(button);
  button->isEnabledRelay.accept(enabled);
  return view;
}

std::vector<std::vector<Scene> (*)()>& groups() {
  static std::vector<std::vector<Scene> (*)()> all;
  return all;
}

std::vector<Scene> widgetScenes() {
  return {
      {"input:empty", "the empty bar: placeholder, no send button", {375, 120},
       [](QSizeF s) { return inputScene(s, {}, false); }},
      {"input:1", "one line: the send button has slid in", {375, 120},
       [](QSizeF s) { return inputScene(s, QStringLiteral("Здравствуйте! У меня вопрос"), false); }},
      {"input:3", "three lines: the bar has grown by two lines", {375, 160},
       [](QSizeF s) {
         return inputScene(s, QStringLiteral("Здравствуйте!\nЗаказ №1024 не пришёл.\nЧто можно сделать?"), false);
       }},
      {"input:cap", "past the line cap: the bar stops growing, the text scrolls to the caret", {375, 220},
       [](QSizeF s) {
         QString text;
         for (int i = 1; i <= 10; ++i) text += QStringLiteral("Строка %1 длинного сообщения\n").arg(i);
         text += QStringLiteral("последняя строка");
         return inputScene(s, text, false);
       }},
      {"input:blocked", "sending blocked: the cover with its text and help button", {375, 120},
       [](QSizeF s) { return inputScene(s, {}, true); }},
      {"avatar:placeholder", "three discs in their background colours", {256, 96},
       [](QSizeF s) { return avatarScene(s, false); }},
      {"avatar:image", "three round pictures", {256, 96}, [](QSizeF s) { return avatarScene(s, true); }},
      {"button:enabled", "the help icon in grey 0x999999", {120, 80}, [](QSizeF s) { return buttonScene(s, true); }},
      {"button:disabled", "the help icon greyed to 0xC6C6C6", {120, 80},
       [](QSizeF s) { return buttonScene(s, false); }},
      {"spinner", "the open ring, turned a quarter", {120, 120},
       [](QSizeF s) {
         auto view = root(s);
         auto* spinner = new ui::ProgressView(22.5, ui::colors::black(), 2.0);
         spinner->setCenter({s.width() / 2, s.height() / 2});
         view->addSubview(spinner);
         return view;
       }},
      {"loading", "the white cover with the spinner in its middle", {320, 240},
       [](QSizeF s) {
         auto view = root(s, ui::colors::hex(0xDDDDDD));
         auto* loading = new ui::LoadingView(QRectF(QPointF(0, 0), s));
         view->addSubview(loading);
         return view;
       }},
  };
}

}  // namespace

SceneGroup::SceneGroup(std::vector<Scene> (*make)()) { groups().push_back(make); }

const std::vector<Scene>& scenes() {
  static const std::vector<Scene> all = [] {
    std::vector<Scene> list = widgetScenes();
    for (auto make : groups())
      for (auto& scene : make()) list.push_back(std::move(scene));
    return list;
  }();
  return all;
}

const Scene* findScene(const std::string& name) {
  for (const auto& s : scenes())
    if (s.name == name) return &s;
  return nullptr;
}

}  // namespace tavrel::desk
