#pragma once
// Word-ranked search of the help centre, and the bot's answer built on it.

#include <string>
#include <string_view>
#include <vector>

#include "service/store.h"

namespace tavrel::service {

// The words of a text, lower-cased (ASCII and Cyrillic), without punctuation.
std::vector<std::string> words(std::string_view text);

// Articles that share words with `pattern`, best first: a word of the
// pattern counts three times in the title, twice in the summary and once in
// the body; a word matches another that starts with its stem, so "refunds"
// finds "refund" and "деньгами" finds "деньги". Articles with no match are left out.
std::vector<ArticleRow> rankArticles(const std::vector<ArticleRow>& articles, std::string_view pattern);

// What the bot answers to a visitor's message: the best article, else an
// acknowledgement; in Russian when the message has Cyrillic letters.
std::string botAnswer(const std::vector<ArticleRow>& articles, std::string_view message);

}  // namespace tavrel::service
