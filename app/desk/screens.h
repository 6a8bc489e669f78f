#pragma once
// The window's screens, in a ZKNavigationController: the conversation list,
// one conversation, the help centre and one of its articles. Each brings its
// bar items (a title, a button on either side) and tells the shell what to
// show over it while it is the top screen: a spinner while its page loads,
// the error panel when a load fails or the network goes, an empty screen's
// texts. A retry (the panel's button, or the network's return) loads again.

#include <QPointer>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "conversation_log.h"
#include "desk_session.h"
#include "list_views.h"
#include "message_views.h"
#include "shell_state.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/navigation/navigation_view_state.h"
#include "tavrel/navigation/zk_navigation_bar.h"
#include "tavrel/navigation/zk_navigation_controller.h"
#include "tavrel/ui/al_text_input_bar.h"
#include "tavrel/ui/label.h"
#include "tavrel/ui/view_controller.h"

class QLineEdit;
class QTextBrowser;

namespace tavrel::desk {

class DeskScreen : public ui::ViewController, public navigation::ZKChangeNavigationBarProtocol {
 public:
  static constexpr double kBarHeight = 52;
  explicit DeskScreen(DeskSession& session);
  ~DeskScreen() override;

  // Each read gives the item at home in its container: a transition that
  // took it out of the bar left it moved aside.
  ui::View* leftNavigationBarView() const override { return atHome(left_, false); }
  ui::View* rightNavigationBarView() const override { return atHome(right_, false); }
  ui::View* centerNavigationBarView() const override { return atHome(center_, true); }

  void viewWillAppear(bool animated) override;
  void viewDidAppear(bool animated) override;
  void viewWillDisappear(bool animated) override;

  // Loads what the screen shows (again).
  virtual void reload() = 0;

 protected:
  // The bar items: a title, and a text button on either side ("" for none).
  void setBarItems(const QString& title, const QString& left, std::function<void()> onLeft,
                   const QString& right, std::function<void()> onRight);
  void setTitle(const QString& title);
  // Shows the state over this screen now if it is the top one, else when it
  // comes on top.
  void show(const navigation::NavigationViewState& state);
  void push(std::shared_ptr<DeskScreen> screen);
  void pop();
  bool isTop() const;

  DeskSession& session_;
  Guard guard_ = makeGuard();
  rx::DisposeBag bag_;       // while the screen lives
  rx::DisposeBag shownBag_;  // while the screen is on top

 private:
  static ui::View* atHome(ui::View* item, bool center);

  QPointer<ui::View> left_, center_, right_;
  // What this screen last asked the shell to show: shown again each time
  // the screen comes back on top.
  navigation::NavigationViewState state_ = navigation::NavigationViewState::hide();
};

// The visitor's conversations, newest first.
class ListScreen : public DeskScreen {
 public:
  explicit ListScreen(DeskSession& session);
  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  void viewWillLayoutSubviews() override;
  void reload() override;

 private:
  RowListView* list_ = nullptr;
  bool loaded_ = false;
};

// One conversation: its messages, the input bar, live answers and typing.
class ConversationScreen : public DeskScreen, private ui::ALTextInputBarDelegate {
 public:
  // dialogId "" for a new conversation, which the first message starts.
  ConversationScreen(DeskSession& session, std::string dialogId);
  void viewDidLoad() override;
  void viewDidAppear(bool animated) override;
  void viewWillLayoutSubviews() override;
  void reload() override;
  // Sends what the bar holds.
  void send();
  ui::ALTextInputBar& inputBar() { return *bar_; }
  const ConversationLog& log() const { return log_; }

 private:
  void inputBarDidChangeHeight(double height) override;
  void render();
  void refreshNewest();
  void loadOlder();
  void onFrame(const cli::ChatFrame& frame);
  void setTyping(const QString& who);
  void markRead();
  void watch(AttachmentChip* chip);
  void open(const Attachment& attachment);

  ConversationLog log_;
  MessagesView* messages_ = nullptr;
  ui::ALTextInputBar* bar_ = nullptr;
  ui::Label* typing_ = nullptr;
  bool loadingOlder_ = false;
  unsigned typingGeneration_ = 0;
  std::set<std::string> openWhenDone_;  // attachments clicked while they download
};

// The help centre: its categories, a category's articles, or search hits.
class HelpScreen : public DeskScreen {
 public:
  // category "": all categories, with the search field.
  HelpScreen(DeskSession& session, KnowledgeBaseCategory category = {});
  void viewDidLoad() override;
  void viewWillLayoutSubviews() override;
  void reload() override;

 private:
  void showArticles(const std::vector<KnowledgeBaseArticle>& articles);
  // Shows loaded articles, or `empty`'s texts when there are none.
  std::function<void(Loaded<Response<std::vector<KnowledgeBaseArticle>>>)> articlesLoaded(ZeroTexts empty);
  void search();

  KnowledgeBaseCategory category_;
  QLineEdit* searchField_ = nullptr;
  RowListView* list_ = nullptr;
};

// One article of the help centre.
class ArticleScreen : public DeskScreen {
 public:
  ArticleScreen(DeskSession& session, KnowledgeBaseArticle article);
  void viewDidLoad() override;
  void viewWillLayoutSubviews() override;
  void reload() override;

 private:
  KnowledgeBaseArticle article_;
  QTextBrowser* text_ = nullptr;
};

}  // namespace tavrel::desk
