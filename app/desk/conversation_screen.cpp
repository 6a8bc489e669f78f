#include <QDesktopServices>
#include <QEvent>
#include <QShortcut>
#include <QUrl>

#include "screens.h"
#include "shell_state.h"
#include "tavrel/emoji/conversion.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"

namespace tavrel::desk {
namespace {

using navigation::NavigationViewState;
using MessagePage = Response<std::vector<Message>>;

constexpr double kTypingHeight = 20;

}  // namespace

ConversationScreen::ConversationScreen(DeskSession& session, std::string dialogId)
    : DeskScreen(session) {
  log_.open(std::move(dialogId));
  setBarItems(log_.dialogId().empty() ? QStringLiteral("New conversation") : QStringLiteral("Support"),
              QStringLiteral("‹"), [this] { pop(); }, "", {});
}

void ConversationScreen::viewDidLoad() {
  ui::View* root = view();
  root->setBackgroundColor(ui::colors::white());
  messages_ = new MessagesView(root->bounds());
  messages_->onReachedTop = [this] { loadOlder(); };
  messages_->onOpenAttachment = [this](const Attachment& a) { open(a); };
  messages_->onChip = [this](AttachmentChip* chip) { watch(chip); };
  root->addSubview(messages_);
  typing_ = new ui::Label();
  typing_->setFont(ui::Font::system(12));
  typing_->setTextColor(ui::colors::hex(0x8E8E93));
  root->addSubview(typing_);

  bar_ = new ui::ALTextInputBar(QRectF(0, 0, root->frame().width(), 43.5));
  bar_->delegate = this;
  bar_->setShowTextViewBorder(true);
  bar_->textViewBorderPadding = {2, 0, 2, 0};
  bar_->setBackgroundColor(ui::colors::groupTableViewBackground());
  auto* sendButton = new ui::Label(QRectF(0, 0, 72, 30));
  sendButton->setText(QStringLiteral("Send"));
  sendButton->setFont(ui::Font::system(15, QFont::DemiBold));
  sendButton->setTextColor(ui::colors::hex(0x007AFF));
  sendButton->setTextAlignment(Qt::AlignCenter);
  sendButton->setAttribute(Qt::WA_TransparentForMouseEvents, false);
  sendButton->setCursor(Qt::PointingHandCursor);
  bar_->setRightView(sendButton);
  root->addSubview(bar_);
  // Ctrl+Enter sends, as does a click on the send label.
  auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return), root);
  shortcut->setContext(Qt::WidgetWithChildrenShortcut);
  QObject::connect(shortcut, &QShortcut::activated, root, [this] { send(); });
  struct Click : QObject {
    std::function<void()> action;
    bool eventFilter(QObject*, QEvent* event) override {
      if (event->type() == QEvent::MouseButtonRelease) action();
      return false;
    }
  };
  auto* click = new Click;
  click->setParent(sendButton);
  click->action = [this] { send(); };
  sendButton->installEventFilter(click);

  std::weak_ptr<bool> alive = guard_;
  session_.frames()
      .subscribe([this, alive](const cli::ChatFrame& frame) {
        if (alive.lock()) onFrame(frame);
      })
      .disposed(bag_);
  session_.connected()
      .subscribe([this, alive](bool) {
        if (alive.lock()) refreshNewest();
      })
      .disposed(bag_);
  if (log_.dialogId().empty()) return;
  show(NavigationViewState::contentLoading());
  reload();
}

void ConversationScreen::viewDidAppear(bool animated) {
  DeskScreen::viewDidAppear(animated);
  bar_->textView().becomeFirstResponder();  // typing goes to the bar
}

void ConversationScreen::viewWillLayoutSubviews() {
  const QRectF area = view()->bounds();
  const double barHeight = std::max(43.5, bar_->frame().height());
  bar_->setFrame(QRectF(0, area.height() - barHeight, area.width(), barHeight));
  typing_->setFrame(QRectF(16, area.height() - barHeight - kTypingHeight, area.width() - 32, kTypingHeight));
  messages_->setFrame(QRectF(0, kBarHeight, area.width(), area.height() - kBarHeight - barHeight - kTypingHeight));
}

void ConversationScreen::inputBarDidChangeHeight(double height) {
  QRectF frame = bar_->frame();
  frame.setTop(frame.bottom() - height);
  bar_->setFrame(frame);
  viewWillLayoutSubviews();
}

void ConversationScreen::reload() {
  if (log_.dialogId().empty()) return show(NavigationViewState::hide());
  const std::string dialogId = log_.dialogId();
  session_.request(session_.messages().getMessages(dialogId), guard_,
                   std::function<void(Loaded<MessagePage>)>([this, dialogId](auto loaded) {
    show(stateAfter(loaded.outcome, false));
    if (!loaded.value || log_.dialogId() != dialogId) return;
    if (log_.empty()) log_.setOlderPosition(loaded.value->meta.nextBeforePosition);
    log_.merge(loaded.value->data);
    render();
    markRead();
  }));
}

void ConversationScreen::refreshNewest() {
  // What came while no connection was open: the newest page, merged.
  if (log_.dialogId().empty() || !isViewLoaded()) return;
  const std::string dialogId = log_.dialogId();
  session_.request(session_.messages().getMessages(dialogId), guard_,
                   std::function<void(Loaded<MessagePage>)>([this, dialogId](auto loaded) {
    if (loaded.value && log_.dialogId() == dialogId && log_.merge(loaded.value->data)) render();
  }));
}

void ConversationScreen::loadOlder() {
  if (loadingOlder_ || !log_.olderPosition() || log_.dialogId().empty()) return;
  loadingOlder_ = true;
  const std::string dialogId = log_.dialogId();
  session_.request(session_.messages().getMessages(dialogId, log_.olderPosition()), guard_,
                   std::function<void(Loaded<MessagePage>)>([this, dialogId](auto loaded) {
    loadingOlder_ = false;
    if (!loaded.value || log_.dialogId() != dialogId) return;
    log_.setOlderPosition(loaded.value->meta.nextBeforePosition);
    if (log_.merge(loaded.value->data)) render();
  }));
}

void ConversationScreen::send() {
  const QString typed = bar_->text().trimmed();
  if (typed.isEmpty()) return;
  if (!session_.online()) return show(NavigationViewState::connectError());  // the text stays
  const std::string body = emojiUnescapedString(typed.toStdString());
  bar_->setText({});
  if (log_.dialogId().empty()) {
    // The first message starts the conversation; its page shows it.
    session_.request(session_.conversations().start(body), guard_,
                     std::function<void(Loaded<Response<SimpleId>>)>([this, typed](auto loaded) {
      if (!loaded.value) {
        if (bar_->text().isEmpty()) bar_->setText(typed);
        return show(stateAfter(loaded.outcome, false));
      }
      log_.open(loaded.value->data.id);
      setTitle(QStringLiteral("Support"));
      refreshNewest();
    }));
    return;
  }
  const std::int64_t randomId = DeskSession::newRandomId();
  log_.addSending(body, randomId);
  render();
  session_.request(
      session_.conversations().reply(log_.dialogId(), body, std::to_string(randomId),
                                     ConversationLog::kReplyType),
      guard_, std::function<void(Loaded<Response<SimpleId>>)>([this, randomId](auto loaded) {
        if (loaded.value) {
          log_.confirm(randomId, loaded.value->data.id);
        } else {
          // Not sent: back into the bar, unless something new is typed there.
          log_.fail(randomId);
          auto unsent = log_.takeFailed(randomId);
          if (unsent && bar_->text().isEmpty()) bar_->setText(QString::fromStdString(*unsent));
          show(stateAfter(loaded.outcome, false));
        }
        render();
      }));
}

void ConversationScreen::onFrame(const cli::ChatFrame& frame) {
  if (log_.dialogId().empty()) return;
  if (const auto* reply = std::get_if<cli::ChatFrame::Reply>(&frame.event)) {
    const Message& message = reply->message;
    if (message.conversation && *message.conversation != log_.dialogId()) return;
    if (message.direction != "u2a") setTyping({});
    if (log_.merge(message)) render();
    markRead();
  } else if (const auto* typing = std::get_if<cli::ChatFrame::Typing>(&frame.event)) {
    if (!typing->dialogId.empty() && typing->dialogId != log_.dialogId()) return;
    setTyping(QString::fromStdString(typing->who.empty() ? "Support" : typing->who));
  }
}

void ConversationScreen::setTyping(const QString& who) {
  typing_->setText(who.isEmpty() ? QString() : who + QStringLiteral(" is typing…"));
  if (who.isEmpty()) return;
  // Typing that no answer follows fades after a while.
  const unsigned generation = ++typingGeneration_;
  std::weak_ptr<bool> alive = guard_;
  rx::MainQueue::shared()
      .postAfter(std::chrono::seconds(6),
                 [this, alive, generation] {
                   if (alive.lock() && generation == typingGeneration_) typing_->setText({});
                 })
      .disposed(bag_);
}

void ConversationScreen::render() {
  if (messages_) messages_->setEntries(log_.entries());
}

void ConversationScreen::markRead() {
  if (log_.dialogId().empty() || !isTop()) return;
  session_.request(session_.conversations().markRead(log_.dialogId()), guard_,
                   std::function<void(Loaded<Response<std::optional<JsonValue>>>)>([](auto) {}));
}

void ConversationScreen::watch(AttachmentChip* chip) {
  QPointer<AttachmentChip> weakChip(chip);
  const std::string url = chip->attachment().url;
  std::weak_ptr<bool> alive = guard_;
  DownloadService::shared()
      .getFileState(url)
      .asObservable()
      .subscribe([this, weakChip, url, alive](const DownloadService::State& state) {
        rx::MainQueue::shared().post([this, weakChip, url, alive, state] {
          if (!alive.lock()) return;
          if (weakChip) weakChip->setState(state);
          if (state.kind == DownloadService::State::Case::done && openWhenDone_.erase(url) && state.file) {
            QDesktopServices::openUrl(QUrl(QString::fromStdString(state.file->absoluteString())));
          }
        });
      })
      .disposed(bag_);
}

void ConversationScreen::open(const Attachment& attachment) {
  auto state = DownloadService::shared().getFileState(attachment.url).value();
  if (state.kind == DownloadService::State::Case::done && state.file) {
    QDesktopServices::openUrl(QUrl(QString::fromStdString(state.file->absoluteString())));
    return;
  }
  if (state.kind == DownloadService::State::Case::progress) return;
  openWhenDone_.insert(attachment.url);
  DownloadService::shared().startDownload(attachment.url);
}

}  // namespace tavrel::desk
