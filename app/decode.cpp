// `tavrel decode TYPE`: decodes one JSON document from standard input as a
// record of the data model and writes the record back as JSON.
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "command.h"
#include "record_json.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/core/log.h"
#include "tavrel/model/dialog.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/model/message.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/person.h"
#include "tavrel/model/response.h"
#include "tavrel/model/rts.h"
#include "tavrel/model/user.h"
#include "tavrel/model/user_property.h"

namespace tavrel::cli {
namespace {

// --- The type table ----------------------------------------------------------

using Runner = int (*)(std::string_view input, Io io);

template <class T>
int decodeAndWrite(std::string_view input, Io io) {
  auto result = decodeJson<T>(input);
  if (!result) {
    io.err << "tavrel decode: " << result.error().what() << '\n';
    return 1;
  }
  JsonWriter writer;
  writeAny(writer, result.value());
  if (writer.error()) {
    io.err << "tavrel decode: cannot write the record: " << writer.error()->what() << '\n';
    return 1;
  }
  io.out << writer.text() << '\n';
  return 0;
}

// The four forms of one record: X, [X], Response<X>, Response<[X]>.
struct Forms {
  Runner plain, array, response, responseOfArray;
};

template <class T>
constexpr Forms formsOf() {
  return {&decodeAndWrite<T>, &decodeAndWrite<std::vector<T>>, &decodeAndWrite<Response<T>>,
          &decodeAndWrite<Response<std::vector<T>>>};
}

struct Entry {
  std::string_view name;
  Forms forms;
};

const std::vector<Entry>& typeTable() {
  static const std::vector<Entry> table{
      {"JsonValue", formsOf<JsonValue>()},
      {"Person", formsOf<Person>()},
      {"Admin", formsOf<Admin>()},
      {"Message", formsOf<Message>()},
      {"Dialog", formsOf<Dialog>()},
      {"User", formsOf<User>()},
      {"Auth", formsOf<Auth>()},
      {"Messenger", formsOf<Messenger>()},
      {"UserProperty", formsOf<UserProperty>()},
      {"KnowledgeBaseSettings", formsOf<KnowledgeBaseSettings>()},
      {"KnowledgeBaseCategory", formsOf<KnowledgeBaseCategory>()},
      {"KnowledgeBaseArticle", formsOf<KnowledgeBaseArticle>()},
      {"Meta", formsOf<Meta>()},
      {"SimpleId", formsOf<SimpleId>()},
      {"RtsResponse", formsOf<RtsResponse>()},
  };
  return table;
}

// Strips `open` and `close` around `text`; false if they are not both there.
bool unwrap(std::string_view& text, std::string_view open, std::string_view close) {
  if (text.size() < open.size() + close.size() || !text.starts_with(open) ||
      !text.ends_with(close)) {
    return false;
  }
  text = text.substr(open.size(), text.size() - open.size() - close.size());
  return true;
}

// The runner for a type name such as "Message", "[Message]",
// "Response<Dialog>" or "Response<[Dialog]>"; nullptr for any other name.
Runner findRunner(std::string_view type) {
  const bool response = unwrap(type, "Response<", ">");
  const bool array = unwrap(type, "[", "]");
  for (const auto& entry : typeTable()) {
    if (entry.name != type) continue;
    if (response) return array ? entry.forms.responseOfArray : entry.forms.response;
    return array ? entry.forms.array : entry.forms.plain;
  }
  return nullptr;
}

void printUsage(std::ostream& out) {
  out << "usage: tavrel decode TYPE\n"
         "\n"
         "Reads one JSON document on standard input, decodes it as TYPE and writes\n"
         "the record on standard output as JSON: through the record's encoder where\n"
         "it has one, else as an object of its fields under their JSON keys (absent\n"
         "optionals as null; a Messenger as its \"data\" tree, which holds every\n"
         "field). A document that does not decode gives the error with its key path\n"
         "on standard error and exit status 1. Debug lines go to standard error.\n"
         "\n"
         "TYPE is a record X, an array of records, or an answer envelope of either:\n"
         "  X  [X]  Response<X>  Response<[X]>    as in: tavrel decode 'Response<[Dialog]>'\n"
         "where X is one of:\n";
  for (const auto& entry : typeTable()) out << "  " << entry.name << '\n';
}

// Sends the library's debug lines to standard error while a record decodes,
// so that standard output holds the JSON alone.
class DebugToError {
 public:
  explicit DebugToError(std::ostream& err) {
    setDebugSink([&err](std::string_view line) { err << line << '\n'; });
  }
  ~DebugToError() { setDebugSink({}); }
  DebugToError(const DebugToError&) = delete;
  DebugToError& operator=(const DebugToError&) = delete;
};

int runDecode(std::span<const std::string> args, Io io) {
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
    printUsage(io.out);
    return 0;
  }
  if (args.size() != 1) {
    return usageError(
        io.err, "tavrel decode",
        args.empty() ? std::string("missing TYPE") : "unexpected argument '" + args[1] + "'");
  }
  const Runner run = findRunner(args[0]);
  if (!run) return usageError(io.err, "tavrel decode", "unknown type '" + args[0] + "'");
  const std::string input = readAll(io.in);
  if (io.in.bad()) {
    io.err << "tavrel decode: cannot read standard input\n";
    return 1;
  }
  int status = 0;
  {
    DebugToError debugLines(io.err);
    status = run(input, io);
  }
  io.out.flush();
  if (!io.out) {
    io.err << "tavrel decode: cannot write standard output\n";
    return 1;
  }
  return status;
}

}  // namespace

TAVREL_COMMAND("decode", "decodes a JSON document from stdin as a record and writes it back",
               runDecode);

}  // namespace tavrel::cli
