#include "message_views.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollBar>
#include <QUrl>

#include "list_views.h"
#include "tavrel/model/person.h"
#include "tavrel/ui/avatar.h"
#include "tavrel/ui/colors.h"
#include "tavrel/ui/font.h"

namespace tavrel::desk {
namespace {

using ui::colors::hex;

constexpr double kChipHeight = 28, kCaptionHeight = 16, kRowGap = 10;
const QColor kMine = hex(0x3478F6), kTheirs = hex(0xECECF0);

QFont bodyFont() { return ui::Font::system(15); }
QFont captionFont() { return ui::Font::system(11); }

bool isMine(const Message& message) { return message.direction == "u2a"; }

QString q(const std::string& text) { return QString::fromStdString(text); }

std::string nameOf(const Message& message) {
  if (isMine(message)) return "You";
  auto name = message.from.getString("name");
  return name && !name->empty() ? *name : "Support";
}

// The bubble's text width at a row width: the row less the avatar and
// paddings, at most 70% of the row.
double textWidth(double width) {
  const double room = width - MessageRow::kAvatar - 3 * MessageRow::kPadding;
  return std::max(40.0, std::min(room, width * 0.7) - 2 * MessageRow::kBubbleInset);
}

// The text with a break opportunity (U+200B) in every 12 characters of a
// long word, so that a link or a row of letters wraps inside the bubble.
QString breakable(const std::string& body) {
  const QString text = QString::fromStdString(body);
  QString out;
  int run = 0;
  for (QChar c : text) {
    run = c.isSpace() ? 0 : run + 1;
    out += c;
    if (run == 12) {
      out += QChar(0x200B);
      run = 0;
    }
  }
  return out;
}

QSizeF textSize(const QString& text, double width) {
  const QRectF r = QFontMetricsF(bodyFont())
                       .boundingRect(QRectF(0, 0, width, 1e6), Qt::TextWordWrap, text);
  return {std::ceil(std::clamp(r.width(), 8.0, width)), std::ceil(r.height())};
}

QString captionOf(const ConversationLog::Entry& entry) {
  switch (entry.delivery) {
    case ConversationLog::Delivery::sending: return QStringLiteral("sending…");
    case ConversationLog::Delivery::failed: return QStringLiteral("not sent");
    case ConversationLog::Delivery::delivered: break;
  }
  QString caption = q(nameOf(entry.message));
  if (entry.message.created > 0) {
    caption += QStringLiteral(" · ") +
               QDateTime::fromSecsSinceEpoch(entry.message.created).toString(QStringLiteral("HH:mm"));
  }
  return caption;
}

}  // namespace

std::vector<Attachment> attachmentsOf(const Message& message) {
  std::vector<Attachment> found;
  auto add = [&found](std::string url, std::string name) {
    if (url.empty()) return;
    if (name.empty()) name = QUrl(q(url)).fileName().toStdString();
    if (name.empty()) name = url;
    found.push_back({std::move(url), std::move(name)});
  };
  if (message.attachments) {
    if (const auto* list = message.attachments->getIf<JsonValue::Array>()) {
      for (const auto& item : *list) {
        if (const auto* url = item.getIf<std::string>()) {
          add(*url, "");
        } else {
          add(item.getString("url").value_or(""),
              item.getString("name").value_or(item.getString("file_name").value_or("")));
        }
      }
    }
  }
  // Links to files in the text: a path that ends in a name with an extension.
  static const QRegularExpression link(QStringLiteral(R"(https?://\S+/[^/\s]+\.[A-Za-z0-9]{1,5}\b)"));
  for (auto it = link.globalMatch(q(message.body)); it.hasNext();) {
    add(it.next().captured(0).toStdString(), "");
  }
  return found;
}

// --- AttachmentChip -------------------------------------------------------------

AttachmentChip::AttachmentChip(Attachment attachment, std::function<void(const Attachment&)> onOpen)
    : attachment_(std::move(attachment)), onOpen_(std::move(onOpen)) {
  setCursor(Qt::PointingHandCursor);
  setToolTip(q(attachment_.url));
}

void AttachmentChip::setState(const DownloadService::State& state) {
  state_ = state;
  update();
}

void AttachmentChip::paintEvent(QPaintEvent* event) {
  View::paintEvent(event);
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  const QRectF area = bounds().adjusted(0.5, 0.5, -0.5, -0.5);
  p.setPen(hex(0xC8C8CE));
  p.setBrush(ui::colors::white());
  p.drawRoundedRect(area, 6, 6);
  using Case = DownloadService::State::Case;
  QString status;
  if (state_.kind == Case::progress) {
    QRectF bar(area.left() + 6, area.bottom() - 5, (area.width() - 12) * state_.percent / 100.0, 3);
    p.fillRect(bar, kMine);
    status = QStringLiteral("%1%").arg(state_.percent);
  } else if (state_.kind == Case::done) {
    status = QStringLiteral("open");
  } else if (state_.kind == Case::error) {
    status = QStringLiteral("failed, again");
  } else {
    status = QStringLiteral("download");
  }
  p.setFont(captionFont());
  const QFontMetricsF metrics(captionFont());
  const double statusWidth = metrics.horizontalAdvance(status) + 8;
  p.setPen(hex(0x8E8E93));
  p.drawText(area.adjusted(0, 0, -6, 0), Qt::AlignRight | Qt::AlignVCenter, status);
  p.setPen(ui::colors::black());
  const QString name = QStringLiteral("📎 ") + q(attachment_.name);
  p.drawText(area.adjusted(8, 0, -statusWidth, 0), Qt::AlignLeft | Qt::AlignVCenter,
             metrics.elidedText(name, Qt::ElideMiddle, area.width() - statusWidth - 8));
}

void AttachmentChip::mouseReleaseEvent(QMouseEvent* event) {
  if (rect().contains(event->position().toPoint()) && onOpen_) onOpen_(attachment_);
}

// --- MessageRow -----------------------------------------------------------------

MessageRow::MessageRow(const ConversationLog::Entry& entry, double width,
                       const std::function<void(const Attachment&)>& onOpen)
    : View(QRectF(0, 0, width, heightFor(entry, width))), mine_(isMine(entry.message)), entry_(entry) {
  const Message& message = entry.message;
  const std::string avatarUrl = message.from.getString("avatar").value_or("");
  auto* avatar = new ui::Avatar(QRectF(0, 0, kAvatar, kAvatar), mine_ ? hex(0x7ED321) : hex(0xF5A623));
  addSubview(avatar);
  avatar->setup(Person(std::nullopt, mine_ ? "user" : "admin", nameOf(message), avatarUrl));
  auto* initial = new ui::Label(QRectF(0, 0, kAvatar, kAvatar));
  initial->setText(q(nameOf(message)).left(1).toUpper());
  initial->setFont(ui::Font::system(14, QFont::DemiBold));
  initial->setTextColor(ui::colors::white());
  initial->setTextAlignment(Qt::AlignCenter);
  avatar->addSubview(initial);
  if (!avatarUrl.empty()) {
    avatar->onLoadFinished = [initial](bool loaded) { initial->setHidden(loaded); };
  }

  bubble_ = new View();
  bubble_->setBackgroundColor(mine_ ? kMine : kTheirs);
  bubble_->setCornerRadius(14);
  if (entry.delivery == ConversationLog::Delivery::failed) bubble_->setAlpha(0.5);
  addSubview(bubble_);
  text_ = new ui::Label();
  text_->setNumberOfLines(0);
  text_->setFont(bodyFont());
  text_->setTextColor(mine_ ? ui::colors::white() : ui::colors::black());
  text_->setText(breakable(message.body));
  bubble_->addSubview(text_);
  caption_ = new ui::Label();
  caption_->setFont(captionFont());
  caption_->setTextColor(entry.delivery == ConversationLog::Delivery::failed ? ui::colors::red()
                                                                            : hex(0x8E8E93));
  caption_->setText(captionOf(entry));
  caption_->setTextAlignment(mine_ ? Qt::AlignRight : Qt::AlignLeft);
  addSubview(caption_);
  for (auto& attachment : attachmentsOf(message)) {
    auto* chip = new AttachmentChip(attachment, onOpen);
    addSubview(chip);
    chips_.push_back(chip);
  }
  layoutSubviews();
}

double MessageRow::heightFor(const ConversationLog::Entry& entry, double width) {
  const QSizeF text = textSize(breakable(entry.message.body), textWidth(width));
  const double bubble = std::max(kAvatar, text.height() + 2 * kBubbleInset);
  const auto chips = attachmentsOf(entry.message).size();
  return kCaptionHeight + bubble + chips * (kChipHeight + 4) + kRowGap;
}

void MessageRow::layoutSubviews() {
  const double width = frame().width();
  const QSizeF text = textSize(text_->text(), textWidth(width));
  const QSizeF bubble(text.width() + 2 * kBubbleInset,
                      std::max(kAvatar, text.height() + 2 * kBubbleInset));
  const double avatarX = mine_ ? width - kPadding - kAvatar : kPadding;
  const double bubbleX = mine_ ? avatarX - kPadding / 2 - bubble.width() : avatarX + kAvatar + kPadding / 2;
  caption_->setFrame(QRectF(kPadding + kAvatar, 0, width - 2 * (kPadding + kAvatar), kCaptionHeight));
  bubble_->setFrame(QRectF(QPointF(bubbleX, kCaptionHeight), bubble));
  text_->setFrame(QRectF(kBubbleInset, (bubble.height() - text.height()) / 2, text.width() + 1, text.height()));
  subviews().front()->setFrame(QRectF(avatarX, kCaptionHeight + bubble.height() - kAvatar, kAvatar, kAvatar));
  double y = kCaptionHeight + bubble.height() + 4;
  const double chipWidth = std::min(260.0, width - 2 * kPadding - kAvatar);
  for (auto* chip : chips_) {
    const double x = mine_ ? avatarX - kPadding / 2 - chipWidth : avatarX + kAvatar + kPadding / 2;
    chip->setFrame(QRectF(x, y, chipWidth, kChipHeight));
    y += kChipHeight + 4;
  }
}

// --- MessagesView ---------------------------------------------------------------

MessagesView::MessagesView(const QRectF& frame) : View(frame) {
  setBackgroundColor(ui::colors::white());
  scroll_ = whiteScrollArea(this, column_);
  QObject::connect(scroll_->verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int value) {
    if (value == 0 && scroll_->verticalScrollBar()->maximum() > 0 && onReachedTop) onReachedTop();
  });
}

void MessagesView::setEntries(const std::vector<ConversationLog::Entry>& entries) {
  QScrollBar* bar = scroll_->verticalScrollBar();
  const bool atBottom = bar->value() >= bar->maximum() - 4;
  const int fromBottom = bar->maximum() - bar->value();
  const std::string oldFirst = firstId_;
  entries_ = entries;
  firstId_ = entries.empty() ? "" : entries.front().message.id;
  rebuild();
  if (!oldFirst.empty() && firstId_ != oldFirst && !atBottom) {
    bar->setValue(bar->maximum() - fromBottom);  // a page came above: keep the view
  } else if (atBottom || oldFirst.empty()) {
    scrollToBottom();
  }
}

void MessagesView::scrollToBottom() {
  QScrollBar* bar = scroll_->verticalScrollBar();
  bar->setValue(bar->maximum());
}

void MessagesView::rebuild() {
  for (View* row : column_->subviews()) {
    row->removeFromSuperview();
    row->deleteLater();
  }
  const double width = std::max(200.0, frame().width() - 2);
  double y = 8;
  for (const auto& entry : entries_) {
    auto* row = new MessageRow(entry, width, [this](const Attachment& a) {
      if (onOpenAttachment) onOpenAttachment(a);
    });
    row->setFrame(QRectF(0, y, width, row->frame().height()));
    column_->addSubview(row);
    row->show();
    for (auto* chip : row->chips())
      if (onChip) onChip(chip);
    y += row->frame().height();
  }
  column_->setFrame(QRectF(0, 0, width, std::max(y + 8, frame().height())));
  column_->setFixedSize(column_->frame().size().toSize());
}

void MessagesView::layoutSubviews() {
  scroll_->setGeometry(bounds().toRect());
  if (!entries_.empty() && std::abs(column_->frame().width() - std::max(200.0, frame().width() - 2)) > 0.5) {
    rebuild();
    scrollToBottom();
  }
}

}  // namespace tavrel::desk
