#pragma once
// The read-only records of the help centre: the knowledge base's settings,
// its categories and its articles. They are only ever decoded.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tavrel/core/json_decoder.h"

namespace tavrel {

// The knowledge base of an application.
struct KnowledgeBaseSettings {
  // The keys of this record, its own set.
  struct DataCodingKeys {
    static constexpr std::string_view domain = "domain";
    static constexpr std::string_view appId = "app";
    static constexpr std::string_view fullDomain = "full_domain";
  };

  std::string domain;                     // "domain"
  std::string appId;                      // "app": the owning application's id
  std::optional<std::string> fullDomain;  // "full_domain", if the service has one

  // "domain" and "app" are required texts; any failure of "full_domain"
  // gives absent. Throws DecodingError.
  static KnowledgeBaseSettings decode(const JsonNode& node);

  friend bool operator==(const KnowledgeBaseSettings&, const KnowledgeBaseSettings&) = default;
};

// A category of articles.
struct KnowledgeBaseCategory {
  std::string id;                    // "id"
  std::string name;                  // "name": display name
  std::string icon;                  // "icon": markup, HTML entities decoded
  std::optional<std::int64_t> count;  // "articles_counter": number of articles

  // "id", "name" and "icon" are required texts; the icon's HTML entities are
  // decoded ("" if that gives nothing); any failure of "articles_counter"
  // gives absent. Throws DecodingError.
  static KnowledgeBaseCategory decode(const JsonNode& node);

  friend bool operator==(const KnowledgeBaseCategory&, const KnowledgeBaseCategory&) = default;
};

// An article, from a category's list or from a search.
struct KnowledgeBaseArticle {
  std::string id;                          // "id"
  std::string name;                        // "name": title
  std::optional<std::string> description;  // "short_description", else "quote"
  std::optional<std::string> content;      // "content": body of the article
  std::string categoryId;                  // "category_id", "" if none

  // "id" and "name" are required texts. The description is the first string
  // of "short_description" and "quote" (an empty one still wins); "content"
  // and "category_id" swallow any failure into absent and "". Throws
  // DecodingError.
  static KnowledgeBaseArticle decode(const JsonNode& node);

  friend bool operator==(const KnowledgeBaseArticle&, const KnowledgeBaseArticle&) = default;
};

}  // namespace tavrel
