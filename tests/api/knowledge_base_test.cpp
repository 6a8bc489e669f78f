#include <gtest/gtest.h>

#include <string>

#include "api/route_fixture.h"
#include "tavrel/api/knowledge_base_service.h"

namespace tavrel {
namespace {

using test::Mode;
using test::succeeded;
using KnowledgeBase = test::RouteFixture;
using S = KnowledgeBaseService;

// The app id in the path, flags as 1, the search text through the form
// encoder (also when empty), the article id as it is.
TEST_F(KnowledgeBase, EveryRouteOnTheWire) {
  auto settings = [](const S& s) { return succeeded(s.getSettings()); };
  auto categories = [](const S& s) { return succeeded(s.getCategories()); };
  auto articles = [](const S& s) { return succeeded(s.getArticles("c 1")); };
  auto article = [](const S& s) { return succeeded(s.getArticle("a-5_x")); };
  auto search = [](const S& s) { return succeeded(s.search("café & tea")); };
  auto empty = [](const S& s) { return succeeded(s.search("")); };
  const std::string kb = R"({"domain":"help","app":"7"})", one = R"({"id":"a","name":"n"})";
  const std::string app = "auth_token=appm-7-tok&id_as_string=1",
                    sdk = "auth_token=tok&id_as_string=1";
  const std::string flags = "&include_category=1&include_quote=1&pattern=";
  checkRoutes<S>({
      {"settings", Mode::app, settings, kb, "GET", "/api/v1/knowledgebase/7", app, ""},
      {"categories", Mode::sdk, categories, "[]", "GET", "/api/v1/knowledgebase/7/categories",
       sdk + "&include_articles_counter=1", ""},
      {"articles", Mode::app, articles, "[]", "GET", "/api/v1/knowledgebase/7/articles",
       "auth_token=appm-7-tok&category=c%201&id_as_string=1", ""},
      {"article", Mode::sdk, article, one, "GET", "/api/v1/knowledgebase/7/articles/a-5_x", sdk,
       ""},
      {"search", Mode::sdk, search, "[]", "GET", "/api/v1/knowledgebase/7/search",
       sdk + flags + "caf%C3%A9%20%26%20tea", ""},
      {"search", Mode::app, empty, "[]", "GET", "/api/v1/knowledgebase/7/search", app + flags, ""},
  });
}

}  // namespace
}  // namespace tavrel
