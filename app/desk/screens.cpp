#include "screens.h"

#include "shell_state.h"

#include <QLineEdit>
#include <QMouseEvent>
#include <QTextBrowser>

#include "tavrel/navigation/navigation_view_presenter.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"

namespace tavrel::desk {
namespace {

using navigation::NavigationViewState;
using ui::colors::hex;

// A text in the bar that acts when clicked.
class BarButton : public ui::Label {
 public:
  BarButton(const QString& text, std::function<void()> action) : action_(std::move(action)) {
    setAttribute(Qt::WA_TransparentForMouseEvents, false);
    setCursor(Qt::PointingHandCursor);
    setText(text);
    setFont(ui::Font::system(text.size() <= 2 ? 24 : 15, QFont::Normal));
    setTextColor(hex(0x3478F6));
    setTextAlignment(Qt::AlignCenter);
  }

 protected:
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (rect().contains(event->position().toPoint()) && action_) action_();
  }

 private:
  std::function<void()> action_;
};

// An item's own frame in its container: the bar's height, and the width of
// the centre container for the title.
QRectF itemFrame(bool center) {
  const double side = DeskScreen::kBarHeight;
  const double width = center ? navigation::ZKNavigationBar::screenWidth() - 2 * side : side;
  return {0, 0, width, side};
}

QString q(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

// --- DeskScreen -----------------------------------------------------------------

DeskScreen::DeskScreen(DeskSession& session) : session_(session) {}

DeskScreen::~DeskScreen() {
  *guard_ = false;
  // Items the bar let go of are ours; those still in it are the bar's.
  for (ui::View* item : {left_.data(), center_.data(), right_.data()}) {
    if (item && !item->superview()) delete item;
  }
}

void DeskScreen::setBarItems(const QString& title, const QString& left, std::function<void()> onLeft,
                             const QString& right, std::function<void()> onRight) {
  left_ = left.isEmpty() ? new ui::View() : new BarButton(left, std::move(onLeft));
  right_ = right.isEmpty() ? new ui::View() : new BarButton(right, std::move(onRight));
  auto* center = new ui::Label();
  center->setFont(ui::Font::system(17, QFont::DemiBold));
  center->setTextAlignment(Qt::AlignCenter);
  center_ = center;
  setTitle(title);
}

ui::View* DeskScreen::atHome(ui::View* item, bool center) {
  if (item && !item->superview()) {
    item->setFrame(itemFrame(center));
    item->setAlpha(1);
  }
  return item;
}

void DeskScreen::setTitle(const QString& title) {
  if (auto* label = qobject_cast<ui::Label*>(center_.data())) label->setText(title);
}

bool DeskScreen::isTop() const {
  return navigationController() && navigationController()->topViewController() == this;
}

void DeskScreen::show(const NavigationViewState& state) {
  state_ = state;
  if (!isTop()) return;
  if (auto* shell = navigation::getNavigationController(this)) shell->presenter->show(state);
}

void DeskScreen::push(std::shared_ptr<DeskScreen> screen) {
  if (navigationController()) navigationController()->pushViewController(std::move(screen), true);
}

void DeskScreen::pop() {
  if (navigationController()) navigationController()->popViewController(true);
}

void DeskScreen::viewDidAppear(bool) {
  shownBag_ = rx::DisposeBag();
  auto* shell = navigation::getNavigationController(this);
  if (!shell) return;
  std::weak_ptr<bool> alive = guard_;
  shell->presenter->errorRetryAction()
      .asObservable()
      .subscribe([this, alive](rx::Unit) {
        if (alive.lock()) reload();
      })
      .disposed(shownBag_);
  session_.reachability()
      .subscribe([this, alive](ReachabilityService::Status status) {
        if (alive.lock() && status == ReachabilityService::Status::offline) {
          show(NavigationViewState::connectError());
        }
      })
      .disposed(shownBag_);
}

void DeskScreen::viewWillAppear(bool) { show(state_); }

void DeskScreen::viewWillDisappear(bool) { shownBag_ = rx::DisposeBag(); }

// --- ListScreen -----------------------------------------------------------------

ListScreen::ListScreen(DeskSession& session) : DeskScreen(session) {
  setBarItems(QStringLiteral("Conversations"), QStringLiteral("?"),
              [this] { push(std::make_shared<HelpScreen>(session_)); }, QStringLiteral("+"),
              [this] { push(std::make_shared<ConversationScreen>(session_, "")); });
}

void ListScreen::viewDidLoad() {
  list_ = new RowListView(view()->bounds());
  list_->setTopInset(kBarHeight);
  view()->addSubview(list_);
  std::weak_ptr<bool> alive = guard_;
  // A new answer moves its conversation up.
  session_.frames()
      .subscribe([this, alive](const cli::ChatFrame& frame) {
        if (alive.lock() && std::holds_alternative<cli::ChatFrame::Reply>(frame.event)) reload();
      })
      .disposed(bag_);
}

void ListScreen::viewWillLayoutSubviews() { list_->setFrame(view()->bounds()); }

void ListScreen::viewWillAppear(bool animated) {
  DeskScreen::viewWillAppear(animated);
  if (!loaded_) show(NavigationViewState::contentLoading());
  reload();
}

void ListScreen::reload() {
  session_.request(session_.conversations().getDialogs(""), guard_,
                   std::function<void(Loaded<Response<std::vector<Dialog>>>)>([this](auto loaded) {
    auto dialogs = loaded.value ? loaded.value->data : std::vector<Dialog>{};
    loaded_ = loaded_ || loaded.outcome == Outcome::ok;
    show(stateAfter(loaded.outcome, dialogs.empty(),
                    ZeroTexts{QStringLiteral("No conversations yet"),
                              QStringLiteral("Press + to write to support.")}));
    if (loaded.outcome != Outcome::ok) return;
    std::sort(dialogs.begin(), dialogs.end(),
              [](const Dialog& a, const Dialog& b) { return a.lastUpdate > b.lastUpdate; });
    std::vector<RowItem> rows;
    for (const Dialog& dialog : dialogs) {
      RowItem row;
      const Message* last = dialog.partLast.get();
      std::string name = dialog.lastAdmin ? dialog.lastAdmin->name : "Support";
      row.title = q(name.empty() ? "Support" : name);
      row.subtitle = last ? q(last->body) : q(dialog.message.value_or(""));
      row.avatar = Person(std::nullopt, "admin", name, dialog.lastAdmin ? dialog.lastAdmin->avatar : "");
      if (dialog.userUnreadCount > 0) row.badge = QString::number(dialog.userUnreadCount);
      row.action = [this, id = dialog.id] { push(std::make_shared<ConversationScreen>(session_, id)); };
      rows.push_back(std::move(row));
    }
    list_->setRows(std::move(rows));
  }));
}

// --- HelpScreen -----------------------------------------------------------------

HelpScreen::HelpScreen(DeskSession& session, KnowledgeBaseCategory category)
    : DeskScreen(session), category_(std::move(category)) {
  setBarItems(category_.id.empty() ? QStringLiteral("Help") : q(category_.name), QStringLiteral("‹"),
              [this] { pop(); }, "", {});
}

void HelpScreen::viewDidLoad() {
  if (category_.id.empty()) {
    searchField_ = new QLineEdit(view());
    searchField_->setPlaceholderText(QStringLiteral("Search the help centre"));
    searchField_->setClearButtonEnabled(true);
    QObject::connect(searchField_, &QLineEdit::returnPressed, view(), [this] { search(); });
  }
  list_ = new RowListView(view()->bounds());
  view()->addSubview(list_);
  show(NavigationViewState::contentLoading());
  reload();
}

void HelpScreen::viewWillLayoutSubviews() {
  double top = kBarHeight;
  if (searchField_) {
    searchField_->setGeometry(QRectF(12, top + 8, view()->frame().width() - 24, 32).toRect());
    top += 48;
  }
  list_->setFrame(QRectF(0, top, view()->frame().width(), view()->frame().height() - top));
}

void HelpScreen::reload() {
  if (searchField_ && !searchField_->text().trimmed().isEmpty()) return search();
  if (!category_.id.empty()) {
    session_.request(session_.knowledgeBase().getArticles(category_.id), guard_,
                     articlesLoaded({QStringLiteral("No articles"), QStringLiteral("This category is empty.")}));
    return;
  }
  session_.request(session_.knowledgeBase().getCategories(), guard_,
                   std::function<void(Loaded<Response<std::vector<KnowledgeBaseCategory>>>)>(
                       [this](auto loaded) {
    show(stateAfter(loaded.outcome, false));
    if (!loaded.value) return;
    std::vector<RowItem> rows;
    for (const auto& category : loaded.value->data) {
      rows.push_back({q(category.name), QStringLiteral("%1 articles").arg(category.count.value_or(0)), std::nullopt, {},
                      [this, category] { push(std::make_shared<HelpScreen>(session_, category)); }});
    }
    list_->setRows(std::move(rows));
  }));
}

void HelpScreen::search() {
  const std::string text = searchField_->text().trimmed().toStdString();
  if (text.empty()) return reload();
  show(NavigationViewState::contentLoading());
  session_.request(session_.knowledgeBase().search(text), guard_,
                   articlesLoaded({QStringLiteral("Nothing found"), QStringLiteral("Try other words.")}));
}

std::function<void(Loaded<Response<std::vector<KnowledgeBaseArticle>>>)> HelpScreen::articlesLoaded(ZeroTexts empty) {
  return [this, empty](Loaded<Response<std::vector<KnowledgeBaseArticle>>> loaded) {
    const auto articles = loaded.value ? loaded.value->data : std::vector<KnowledgeBaseArticle>{};
    show(stateAfter(loaded.outcome, articles.empty(), empty));
    showArticles(articles);
  };
}

void HelpScreen::showArticles(const std::vector<KnowledgeBaseArticle>& articles) {
  std::vector<RowItem> rows;
  for (const auto& article : articles) {
    rows.push_back({q(article.name), q(article.description.value_or("")), std::nullopt, {},
                    [this, article] { push(std::make_shared<ArticleScreen>(session_, article)); }});
  }
  list_->setRows(std::move(rows));
}

// --- ArticleScreen --------------------------------------------------------------

ArticleScreen::ArticleScreen(DeskSession& session, KnowledgeBaseArticle article)
    : DeskScreen(session), article_(std::move(article)) {
  setBarItems(q(article_.name), QStringLiteral("‹"), [this] { pop(); }, "", {});
}

void ArticleScreen::viewDidLoad() {
  view()->setBackgroundColor(ui::colors::white());
  text_ = new QTextBrowser(view());
  text_->setFrameShape(QFrame::NoFrame);
  text_->setOpenExternalLinks(true);
  text_->document()->setDocumentMargin(16);
  show(NavigationViewState::contentLoading());
  reload();
}

void ArticleScreen::viewWillLayoutSubviews() {
  text_->setGeometry(QRectF(0, kBarHeight, view()->frame().width(), view()->frame().height() - kBarHeight).toRect());
}

void ArticleScreen::reload() {
  session_.request(session_.knowledgeBase().getArticle(article_.id), guard_,
                   std::function<void(Loaded<Response<KnowledgeBaseArticle>>)>([this](auto loaded) {
                     show(stateAfter(loaded.outcome, false));
                     if (!loaded.value) return;
                     article_ = loaded.value->data;
                     const QString body = q(article_.content.value_or(article_.description.value_or("")));
                     text_->setHtml(QStringLiteral("<h2>%1</h2>%2").arg(q(article_.name).toHtmlEscaped(), body));
                   }));
}

}  // namespace tavrel::desk
