#pragma once
// The conversation's content views: a message row (avatar, name and time,
// the text in a bubble, attachment chips) and the scrolling column of rows
// above the input bar.

#include <QScrollArea>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "conversation_log.h"
#include "tavrel/device/download_service.h"
#include "tavrel/ui/label.h"
#include "tavrel/ui/view.h"

namespace tavrel::desk {

// A file the message carries: from its "attachments", or a link in its text.
struct Attachment {
  std::string url;
  std::string name;
};
std::vector<Attachment> attachmentsOf(const Message& message);

// One attachment: its name, and while it downloads a bar of its progress.
class AttachmentChip : public ui::View {
 public:
  AttachmentChip(Attachment attachment, std::function<void(const Attachment&)> onOpen);
  void setState(const DownloadService::State& state);
  const Attachment& attachment() const { return attachment_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  Attachment attachment_;
  std::function<void(const Attachment&)> onOpen_;
  DownloadService::State state_;
};

class MessageRow : public ui::View {
 public:
  static constexpr double kAvatar = 32, kPadding = 12, kBubbleInset = 9;
  MessageRow(const ConversationLog::Entry& entry, double width,
             const std::function<void(const Attachment&)>& onOpen);
  // The height a row of this entry takes at this width.
  static double heightFor(const ConversationLog::Entry& entry, double width);
  bool mine() const { return mine_; }
  std::vector<AttachmentChip*> chips() const { return chips_; }
  void layoutSubviews() override;

 private:
  bool mine_;
  ConversationLog::Entry entry_;
  View* bubble_;
  ui::Label* text_;
  ui::Label* caption_;
  std::vector<AttachmentChip*> chips_;
};

// The rows in a vertical scroll area. New messages at the end keep the view
// on the newest when it was there; an older page above keeps what is shown
// in place. Reaching the top asks for the older page.
class MessagesView : public ui::View {
 public:
  explicit MessagesView(const QRectF& frame = {});
  void setEntries(const std::vector<ConversationLog::Entry>& entries);
  std::function<void()> onReachedTop;
  std::function<void(const Attachment&)> onOpenAttachment;
  // Called for each chip made, for the screen to feed it download states.
  std::function<void(AttachmentChip*)> onChip;
  void scrollToBottom();
  QScrollArea& scrollArea() { return *scroll_; }
  void layoutSubviews() override;

 private:
  void rebuild();
  QScrollArea* scroll_;
  View* column_;
  std::vector<ConversationLog::Entry> entries_;
  std::string firstId_;  // the oldest shown, to tell a page above from news below
};

}  // namespace tavrel::desk
