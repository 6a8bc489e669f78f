#include "tavrel/api/knowledge_base_service.h"

#include "tavrel/core/overloaded.h"
#include "tavrel/http/network_logger_plugin.h"

namespace tavrel {

std::string KnowledgeBaseTarget::path() const {
  const std::string root = "knowledgebase/" + appId();
  return std::visit(Overloaded{
                        [&](const GetArticles&) { return root + "/articles"; },
                        [&](const Search&) { return root + "/search"; },
                        [&](const GetArticle& c) { return root + "/articles/" + c.articleId; },
                        [&](const GetSettings&) { return root; },
                        [&](const GetCategories&) { return root + "/categories"; },
                    },
                    case_);
}

Task KnowledgeBaseTarget::task() const {
  auto query = [](Parameters parameters) {
    return Task::requestParameters(std::move(parameters), URLEncoding::default_());
  };
  return std::visit(Overloaded{
                        [&](const GetArticles& c) { return query({{"category", c.categoryId}}); },
                        [&](const Search& c) {
                          return query({{"pattern", c.text},
                                        {"include_quote", true},
                                        {"include_category", true}});
                        },
                        [](const GetArticle&) { return Task::requestPlain(); },
                        [](const GetSettings&) { return Task::requestPlain(); },
                        [&](const GetCategories&) {
                          return query({{"include_articles_counter", true}});
                        },
                    },
                    case_);
}

KnowledgeBaseService::KnowledgeBaseService(std::shared_ptr<NetworkSettings> networkSettings,
                                           HttpTransport* transport)
    : provider_(std::make_shared<TavrelProvider<KnowledgeBaseTarget>>(
          std::move(networkSettings),
          std::vector<std::shared_ptr<PluginType>>{std::make_shared<NetworkLoggerPlugin>(true)},
          transport)) {}

rx::Observable<Result<Response<KnowledgeBaseSettings>>> KnowledgeBaseService::getSettings() const {
  return provider_->rx().request<KnowledgeBaseSettings>(KnowledgeBaseTarget::getSettings());
}

rx::Observable<Result<Response<std::vector<KnowledgeBaseCategory>>>>
KnowledgeBaseService::getCategories() const {
  return provider_->rx().request<std::vector<KnowledgeBaseCategory>>(
      KnowledgeBaseTarget::getCategories());
}

rx::Observable<Result<Response<std::vector<KnowledgeBaseArticle>>>>
KnowledgeBaseService::getArticles(std::string catgoryId) const {
  return provider_->rx().request<std::vector<KnowledgeBaseArticle>>(
      KnowledgeBaseTarget::getArticles(std::move(catgoryId)));
}

rx::Observable<Result<Response<KnowledgeBaseArticle>>> KnowledgeBaseService::getArticle(
    std::string id) const {
  return provider_->rx().request<KnowledgeBaseArticle>(
      KnowledgeBaseTarget::getArticle(std::move(id)));
}

rx::Observable<Result<Response<std::vector<KnowledgeBaseArticle>>>> KnowledgeBaseService::search(
    std::string text) const {
  return provider_->rx().request<std::vector<KnowledgeBaseArticle>>(
      KnowledgeBaseTarget::search(std::move(text)));
}

}  // namespace tavrel
