#include "tavrel/model/knowledge_base.h"

#include "tavrel/core/text.h"
#include "tavrel/model/coding_keys.h"

namespace tavrel {

KnowledgeBaseSettings KnowledgeBaseSettings::decode(const JsonNode& node) {
  auto keys = node.object();
  KnowledgeBaseSettings settings;
  settings.domain = keys.decode<std::string>(DataCodingKeys::domain);
  settings.appId = keys.decode<std::string>(DataCodingKeys::appId);
  settings.fullDomain = keys.decodeLenient<std::string>(DataCodingKeys::fullDomain);
  return settings;
}

KnowledgeBaseCategory KnowledgeBaseCategory::decode(const JsonNode& node) {
  auto keys = node.object();
  KnowledgeBaseCategory category;
  category.id = keys.decode<std::string>(rawValue(CodingKeys::id));
  category.name = keys.decode<std::string>(rawValue(CodingKeys::name));
  const auto icon = keys.decode<std::string>(rawValue(CodingKeys::icon));
  category.icon = stringFromHtml(icon).value_or("");
  category.count = keys.decodeLenient<std::int64_t>(rawValue(CodingKeys::articlesCounter));
  return category;
}

KnowledgeBaseArticle KnowledgeBaseArticle::decode(const JsonNode& node) {
  auto keys = node.object();
  KnowledgeBaseArticle article;
  article.id = keys.decode<std::string>(rawValue(CodingKeys::id));
  article.name = keys.decode<std::string>(rawValue(CodingKeys::name));
  article.description = keys.decodeLenient<std::string>(rawValue(CodingKeys::shortDescription));
  if (!article.description) {
    article.description = keys.decodeLenient<std::string>(rawValue(CodingKeys::quote));
  }
  article.content = keys.decodeLenient<std::string>(rawValue(CodingKeys::content));
  article.categoryId =
      keys.decodeLenient<std::string>(rawValue(CodingKeys::categoryId)).value_or("");
  return article;
}

}  // namespace tavrel
