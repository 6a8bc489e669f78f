#pragma once
// The help centre of the application: KnowledgeBaseTarget describes the five
// read-only endpoints under "knowledgebase/{app_id}" and KnowledgeBaseService
// sends them. All are GET with their parameters in the query.
//
// Ids must be the service's own, as its answers gave them. An id goes into
// the request's path as it is, and the provider decodes and re-encodes the
// whole URL, so "../", "?" or "#" in one would change the path and the query
// of the request. A host that takes ids from people checks them first.

#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tavrel/api/tavrel_provider.h"
#include "tavrel/api/tavrel_target.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/model/response.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

class KnowledgeBaseTarget : public TavrelTarget {
 public:
  // "knowledgebase/{app_id}/articles" with "category".
  struct GetArticles {
    std::string categoryId;
  };
  // "knowledgebase/{app_id}/search" with "pattern", "include_quote" and
  // "include_category".
  struct Search {
    std::string text;
  };
  // "knowledgebase/{app_id}/articles/<articleId>".
  struct GetArticle {
    std::string articleId;
  };
  // "knowledgebase/{app_id}".
  struct GetSettings {};
  // "knowledgebase/{app_id}/categories" with "include_articles_counter".
  struct GetCategories {};

  using Case = std::variant<GetArticles, Search, GetArticle, GetSettings, GetCategories>;

  KnowledgeBaseTarget(Case value) : case_(std::move(value)) {}  // NOLINT: a case is a target
  static KnowledgeBaseTarget getArticles(std::string categoryId) {
    return KnowledgeBaseTarget(GetArticles{std::move(categoryId)});
  }
  static KnowledgeBaseTarget search(std::string text) {
    return KnowledgeBaseTarget(Search{std::move(text)});
  }
  static KnowledgeBaseTarget getArticle(std::string articleId) {
    return KnowledgeBaseTarget(GetArticle{std::move(articleId)});
  }
  static KnowledgeBaseTarget getSettings() { return KnowledgeBaseTarget(GetSettings{}); }
  static KnowledgeBaseTarget getCategories() { return KnowledgeBaseTarget(GetCategories{}); }

  const Case& value() const noexcept { return case_; }

  std::string path() const override;
  Method method() const override { return Method::get; }
  // URLEncoding.default of the case's parameters; requestPlain for the
  // cases without parameters. Flags are booleans (1 on the wire).
  Task task() const override;

 private:
  Case case_;
};

class KnowledgeBaseService {
 public:
  // networkSettings may be null: the path then keeps "{app_id}" and the
  // requests carry no "auth_token". Requests are logged by a verbose
  // NetworkLoggerPlugin. transport: where requests go; the shared one when null.
  explicit KnowledgeBaseService(std::shared_ptr<NetworkSettings> networkSettings = nullptr,
                                HttpTransport* transport = nullptr);
  KnowledgeBaseService(const KnowledgeBaseService&) = delete;
  KnowledgeBaseService& operator=(const KnowledgeBaseService&) = delete;

  // The provider that sends this service's requests.
  TavrelProvider<KnowledgeBaseTarget>& provider() const noexcept { return *provider_; }

  // Each operation sends one request per subscription.
  rx::Observable<Result<Response<KnowledgeBaseSettings>>> getSettings() const;
  // The categories, each with its number of articles.
  rx::Observable<Result<Response<std::vector<KnowledgeBaseCategory>>>> getCategories() const;
  // The articles of one category.
  rx::Observable<Result<Response<std::vector<KnowledgeBaseArticle>>>> getArticles(
      std::string catgoryId) const;
  // One article; the id goes into the path as it is (see the top of this file).
  rx::Observable<Result<Response<KnowledgeBaseArticle>>> getArticle(std::string id) const;
  // Full-text search; each hit carries its quote and category.
  rx::Observable<Result<Response<std::vector<KnowledgeBaseArticle>>>> search(
      std::string text) const;

 private:
  std::shared_ptr<TavrelProvider<KnowledgeBaseTarget>> provider_;
};

}  // namespace tavrel
