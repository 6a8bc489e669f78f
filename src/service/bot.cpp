#include "service/bot.h"

#include <boost/asio/steady_timer.hpp>

#include <memory>

#include "service/kb_search.h"

namespace tavrel::service {

void Bot::visitorWrote(const ConversationRow& conversation, const PartRow& part) {
  if (conversation.assigned) return;
  router_.operatorTyping(conversation, false);
  auto timer = std::make_shared<boost::asio::steady_timer>(io_, delay_);
  timer->async_wait([this, timer, id = conversation.id, part](boost::system::error_code ec) {
    if (ec) return;
    auto now = store_.conversation(id);
    if (!now || now->assigned) return;  // a person answered meanwhile
    try {
      const std::string answer = botAnswer(store_.articles(now->appId, std::nullopt), part.body);
      // One answer per visitor part, even if this ran twice.
      router_.operatorReply(id, answer, false, "bot-" + std::to_string(part.id));
    } catch (const std::exception&) {
      // The database refused; the visitor's message is stored, and an
      // operator can still answer it.
    }
  });
}

}  // namespace tavrel::service
