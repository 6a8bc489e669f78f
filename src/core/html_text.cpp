// Plain text of HTML through libxml2's forgiving HTML parser.

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <cstring>
#include <limits>
#include <mutex>
#include <string>

#include "core/text_unicode.h"
#include "tavrel/core/text.h"

namespace tavrel {
namespace {

bool nameIs(const xmlNode* node, const char* name) {
  return node->name && std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

bool isBlock(const xmlNode* node) {
  static constexpr const char* kBlocks[] = {"p",  "div", "li", "ul", "ol", "h1", "h2", "h3", "h4", "h5",
                                            "h6", "tr", "table", "blockquote", "pre", "dl", "dt", "dd",
                                            "section", "article", "header", "footer", "address", "hr"};
  for (const char* name : kBlocks)
    if (nameIs(node, name)) return true;
  return false;
}

bool isSkipped(const xmlNode* node) {
  return nameIs(node, "script") || nameIs(node, "style") || nameIs(node, "head") || nameIs(node, "title") ||
         nameIs(node, "noscript") || nameIs(node, "template");
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

class TextCollector {
 public:
  void walk(const xmlNode* node, bool preformatted) {
    for (; node; node = node->next) {
      if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
        text(reinterpret_cast<const char*>(node->content), preformatted);
      } else if (node->type == XML_ELEMENT_NODE) {
        if (isSkipped(node)) continue;
        if (nameIs(node, "br")) {
          lineBreak();
          continue;
        }
        const bool block = isBlock(node);
        if (block) endLine();
        walk(node->children, preformatted || nameIs(node, "pre"));
        if (block) endLine();
        if (nameIs(node, "td") || nameIs(node, "th")) pendingSpace_ = true;
      }
    }
  }

  std::string take() { return std::move(out_); }

 private:
  void text(const char* content, bool preformatted) {
    if (!content) return;
    for (const char* p = content; *p; ++p) {
      if (preformatted) {
        out_.push_back(*p);
      } else if (isSpace(*p)) {
        pendingSpace_ = true;
      } else {
        if (pendingSpace_ && !out_.empty() && out_.back() != '\n') out_.push_back(' ');
        pendingSpace_ = false;
        out_.push_back(*p);
      }
    }
  }
  void lineBreak() {
    out_.push_back('\n');
    pendingSpace_ = false;
  }
  // Starts a new line unless the text is empty or already at one.
  void endLine() {
    if (!out_.empty() && out_.back() != '\n') out_.push_back('\n');
    pendingSpace_ = false;
  }

  std::string out_;
  bool pendingSpace_ = false;
};

}  // namespace

std::optional<std::string> stringFromHtml(std::string_view htmlEncodedString) {
  if (!detail::isValidUtf8(htmlEncodedString)) return std::nullopt;
  if (htmlEncodedString.empty()) return std::string();
  if (htmlEncodedString.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return std::nullopt;
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });

  htmlParserCtxtPtr ctxt = htmlNewParserCtxt();
  if (!ctxt) return std::nullopt;
  const int options = HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
  // Opening the body first keeps the parser from wrapping loose text in
  // paragraphs of its own; a document's own <html>, <head> and <body> tags
  // merge into it, and what a head holds is skipped wherever it stands.
  const std::string input = "<body>" + std::string(htmlEncodedString);
  htmlDocPtr doc =
      htmlCtxtReadMemory(ctxt, input.data(), static_cast<int>(input.size()), nullptr, "UTF-8", options);
  htmlFreeParserCtxt(ctxt);
  if (!doc) return std::nullopt;
  TextCollector collector;
  collector.walk(doc->children, false);
  xmlFreeDoc(doc);
  return collector.take();
}

}  // namespace tavrel
