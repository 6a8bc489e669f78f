// The help centre: `tavrel kb settings|categories|articles|article|search`.
#include <ostream>
#include <string>

#include "api_common.h"
#include "tavrel/api/knowledge_base_service.h"

namespace tavrel::cli {
namespace {

struct KbCommand {
  std::string_view word;
  CommandSpec spec;
  int (*run)(Call& call, KnowledgeBaseService& service);
};

const KbCommand kCommands[] = {
    {"settings",
     {"kb settings", "Prints the settings of the application's knowledge base.", {}, {}, 0, 0},
     [](Call& call, KnowledgeBaseService& service) { return call.print(service.getSettings()); }},
    {"categories",
     {"kb categories", "Prints the categories, each with its number of articles.", {}, {}, 0, 0},
     [](Call& call, KnowledgeBaseService& service) { return call.print(service.getCategories()); }},
    {"articles",
     {"kb articles CATEGORY",
      "Prints the articles of the category CATEGORY.",
      {},
      {},
      1,
      1,
      {"CATEGORY"}},
     [](Call& call, KnowledgeBaseService& service) {
       return call.print(service.getArticles(call.argument(0)));
     }},
    {"article",
     {"kb article ID", "Prints the article ID with its content.", {}, {}, 1, 1, {"ID"}},
     [](Call& call, KnowledgeBaseService& service) {
       return call.print(service.getArticle(call.argument(0)));
     }},
    {"search",
     {"kb search TEXT",
      "Prints the articles that match TEXT, each with the quote that matched.",
      {},
      {},
      1,
      1},
     [](Call& call, KnowledgeBaseService& service) {
       return call.print(service.search(call.argument(0)));
     }},
};

void printKbUsage(std::ostream& out) {
  out << "usage: tavrel kb <what> [options]\n\nReads the help centre of the application:\n";
  for (const auto& command : kCommands) out << "  tavrel " << command.spec.synopsis << '\n';
  out << "\nRun `tavrel kb <what> --help` for the options.\n";
}

int runKb(std::span<const std::string> args, Io io) {
  if (args.empty()) {
    return usageError(io.err, "tavrel kb",
                      "missing what to read: settings, categories, articles, article or search");
  }
  if (args[0] == "--help" || args[0] == "-h") {
    printKbUsage(io.out);
    return kSuccess;
  }
  for (const auto& command : kCommands) {
    if (command.word != args[0]) continue;
    return runCall("kb " + std::string(command.word), command.spec, args.subspan(1), io,
                   [&command](Call& call) {
                     KnowledgeBaseService service(call.settings(), &call.transport());
                     return command.run(call, service);
                   });
  }
  return usageError(io.err, "tavrel kb", "unknown part '" + args[0] + "'");
}

}  // namespace

TAVREL_COMMAND("kb", "reads the help centre: settings, categories, articles, search", runKb);

}  // namespace tavrel::cli
