// The small help centre every new application starts with, in Russian and
// English, so that the bot and the knowledge-base routes have something to
// find.

#include "service/store.h"

namespace tavrel::service {
namespace {

struct SeedArticle {
  const char* name;
  const char* shortDescription;
  const char* content;
};

struct SeedCategory {
  const char* name;
  const char* icon;
  std::vector<SeedArticle> articles;
};

const std::vector<SeedCategory>& helpCentre() {
  static const std::vector<SeedCategory> seed = {
      {"Начало работы", "&lt;i class=&quot;icon-start&quot;&gt;&lt;/i&gt;",
       {{"Как начать чат с поддержкой",
         "Напишите сообщение, и оператор ответит в этом же окне.",
         "Откройте чат, напишите вопрос и отправьте его. Оператор ответит здесь же; "
         "история разговора сохраняется."},
        {"Getting started with support chat",
         "Write a message and an operator answers in the same window.",
         "Open the chat, type your question and send it. An operator answers right here, "
         "and the whole conversation is kept."}}},
      {"Оплата", "&lt;i class=&quot;icon-payment&quot;&gt;&lt;/i&gt;",
       {{"Как вернуть деньги", "Возврат оплаты за заказ в течение 14 дней.",
         "Чтобы вернуть деньги, напишите номер заказа в чат. Возврат приходит на ту же карту "
         "в течение 14 дней."},
        {"How to get a refund", "Refunds of an order's payment within 14 days.",
         "To get a refund, send your order number in the chat. The money returns to the same card "
         "within 14 days."}}},
      {"Аккаунт", "&lt;i class=&quot;icon-account&quot;&gt;&lt;/i&gt;",
       {{"Как сменить пароль", "Смена пароля в настройках профиля.",
         "Откройте настройки профиля, выберите «Пароль» и введите новый пароль дважды."},
        {"How to change your password", "Changing the password in the profile settings.",
         "Open the profile settings, choose Password and type the new password twice."}}},
  };
  return seed;
}

}  // namespace

void Store::seedHelpCentre(std::int64_t appId) {
  for (const auto& category : helpCentre()) {
    db_.prepare("INSERT INTO kb_categories(app_id, name, icon) VALUES(?1, ?2, ?3)")
        .with(appId, category.name, category.icon)
        .run();
    const std::int64_t categoryId = db_.lastInsertId();
    for (const auto& a : category.articles) {
      db_.prepare(
             "INSERT INTO kb_articles(app_id, category_id, name, short_description, content) "
             "VALUES(?1, ?2, ?3, ?4, ?5)")
          .with(appId, categoryId, a.name, a.shortDescription, a.content)
          .run();
    }
  }
}

}  // namespace tavrel::service
