#include "service/kb_search.h"

#include <algorithm>

namespace tavrel::service {
namespace {

// Decodes one UTF-8 code point at `i`, moving past it; U+FFFD for a bad byte.
char32_t next(std::string_view text, std::size_t& i) {
  const auto b = static_cast<unsigned char>(text[i++]);
  if (b < 0x80) return b;
  int extra = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC0 ? 1 : -1;
  if (extra < 0) return 0xFFFD;
  char32_t cp = b & (0x3F >> extra);
  for (int k = 0; k < extra; ++k) {
    if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0xFFFD;
    cp = (cp << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
  }
  return cp;
}

void append(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

char32_t lower(char32_t cp) {
  if (cp >= 'A' && cp <= 'Z') return cp + 32;
  if (cp >= 0x410 && cp <= 0x42F) return cp + 32;  // А..Я
  if (cp == 0x401 || cp == 0x451) return 0x435;     // Ё, ё as е
  return cp;
}

bool isWordChar(char32_t cp) {
  return (cp >= '0' && cp <= '9') || (cp >= 'a' && cp <= 'z') || (cp >= 0x430 && cp <= 0x44F);
}

// The first max(3, n - 2) code points of a word of n, as bytes.
std::string stem(const std::string& word) {
  std::vector<std::size_t> starts;
  for (std::size_t i = 0; i < word.size(); next(word, i)) starts.push_back(i);
  const std::size_t n = starts.size();
  const std::size_t keep = std::min(n, std::max<std::size_t>(3, n >= 2 ? n - 2 : n));
  return keep >= n ? word : word.substr(0, starts[keep]);
}

int hits(const std::vector<std::string>& stems, const std::vector<std::string>& text) {
  int count = 0;
  for (const auto& s : stems) {
    for (const auto& w : text) count += w.rfind(s, 0) == 0 ? 1 : 0;
  }
  return count;
}

bool hasCyrillic(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const char32_t cp = next(text, i);
    if (cp >= 0x400 && cp <= 0x4FF) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> words(std::string_view text) {
  std::vector<std::string> out;
  std::string current;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t cp = lower(next(text, i));
    if (isWordChar(cp)) {
      append(current, cp);
    } else if (!current.empty()) {
      out.push_back(std::move(current));
      current.clear();
    }
  }
  if (!current.empty()) out.push_back(std::move(current));
  return out;
}

std::vector<ArticleRow> rankArticles(const std::vector<ArticleRow>& articles, std::string_view pattern) {
  std::vector<std::string> stems;
  for (const auto& w : words(pattern)) {
    if (w.size() >= 3) stems.push_back(stem(w));  // "a", "и", "to" say nothing
  }
  std::vector<std::pair<int, const ArticleRow*>> scored;
  for (const auto& a : articles) {
    const int score = 3 * hits(stems, words(a.name)) + 2 * hits(stems, words(a.shortDescription)) +
                      hits(stems, words(a.content));
    if (score > 0) scored.emplace_back(score, &a);
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const auto& x, const auto& y) { return x.first > y.first; });
  std::vector<ArticleRow> out;
  for (const auto& [score, article] : scored) out.push_back(*article);
  return out;
}

std::string botAnswer(const std::vector<ArticleRow>& articles, std::string_view message) {
  const bool russian = hasCyrillic(message);
  const auto ranked = rankArticles(articles, message);
  if (ranked.empty()) {
    return russian ? "Спасибо, мы получили ваше сообщение. Оператор скоро ответит."
                   : "Thank you, we got your message. An operator will answer soon.";
  }
  const ArticleRow& best = ranked.front();
  return russian ? "Возможно, поможет статья «" + best.name + "»: " + best.shortDescription
                 : "This article may help: \"" + best.name + "\". " + best.shortDescription;
}

}  // namespace tavrel::service
