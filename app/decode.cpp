// `tavrel decode TYPE`: decodes one JSON document from standard input as a
// record of the data model and writes the record back as JSON.
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "command.h"
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

// --- Writing records that have no encoder of their own --------------------
// Each is written as an object of its fields under their JSON keys; fields
// that live at a path ("data" / "user" / "id") are written at that path, so
// the output decodes back to the same record.

void writeFields(JsonWriter& w, const User& user) {
  w.beginObject();
  w.key("data");
  w.beginObject();
  w.field("auth_token", user.token);
  w.key("user");
  w.beginObject();
  w.field("id", user.id);
  w.field("has_conversations", user.hasConversations);
  w.field("is_banned", user.isBanned);
  w.field("conversations_unread", user.conversationsUnread);
  w.endObject();
  w.key("app");
  w.beginObject();
  w.field("id", user.appId);
  w.endObject();
  w.endObject();
  w.endObject();
}

void writeFields(JsonWriter& w, const Auth& auth) {
  w.beginObject();
  w.key("user");
  if (auth.user) {
    writeFields(w, *auth.user);
  } else {
    w.null();
  }
  w.key("data");
  w.beginObject();
  w.field("result", auth.result);
  w.endObject();
  w.endObject();
}

// Every typed field of a Messenger is read out of "data", which the record
// keeps whole: that tree is the complete record.
void writeFields(JsonWriter& w, const Messenger& messenger) {
  w.beginObject();
  w.field("data", messenger.connectData);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseSettings& settings) {
  using Keys = KnowledgeBaseSettings::DataCodingKeys;
  w.beginObject();
  w.field(Keys::domain, settings.domain);
  w.field(Keys::appId, settings.appId);
  w.field(Keys::fullDomain, settings.fullDomain);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseCategory& category) {
  w.beginObject();
  w.field("id", category.id);
  w.field("name", category.name);
  w.field("icon", category.icon);
  w.field("articles_counter", category.count);
  w.endObject();
}

void writeFields(JsonWriter& w, const KnowledgeBaseArticle& article) {
  w.beginObject();
  w.field("id", article.id);
  w.field("name", article.name);
  w.field("short_description", article.description);
  w.field("content", article.content);
  w.field("category_id", article.categoryId);
  w.endObject();
}

void writeFields(JsonWriter& w, const Meta& meta) {
  w.beginObject();
  w.field("status", meta.status);
  w.field("error", meta.error);
  w.field("error_message", meta.errorMessage);
  w.field("next_after", meta.nextAfter);
  w.field("next_before_position", meta.nextBeforePosition);
  w.endObject();
}

void writeFields(JsonWriter& w, const SimpleId& simpleId) {
  w.beginObject();
  w.field("id", simpleId.id);
  w.endObject();
}

void writeFields(JsonWriter& w, const RtsResponse& frame) {
  w.beginObject();
  w.field(rawValue(RootKeys::id), frame.id);
  w.field(rawValue(RootKeys::channel), frame.channel);
  w.field(rawValue(RootKeys::message), frame.message);
  w.field(rawValue(RootKeys::tag), frame.tag);
  w.field(rawValue(RootKeys::time), frame.time);
  w.endObject();
}

template <class T>
struct IsResponse : std::false_type {};
template <class T>
struct IsResponse<Response<T>> : std::true_type {};
template <class T>
struct IsVector : std::false_type {};
template <class T>
struct IsVector<std::vector<T>> : std::true_type {};

// Writes any decodable type of the table: through the record's own encoder
// where it has one, else field by field; arrays and envelopes element-wise.
template <class T>
void writeAny(JsonWriter& w, const T& value) {
  if constexpr (IsVector<T>::value) {
    w.beginArray();
    for (const auto& element : value) writeAny(w, element);
    w.endArray();
  } else if constexpr (IsResponse<T>::value) {
    w.beginObject();
    w.key("meta");
    writeAny(w, value.meta);
    w.key("data");
    writeAny(w, value.data);
    w.endObject();
  } else if constexpr (requires { value.encode(w); }) {
    value.encode(w);
  } else {
    writeFields(w, value);
  }
}

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

std::string readAll(std::istream& in) {
  std::string all;
  char chunk[1 << 16];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    all.append(chunk, static_cast<std::size_t>(in.gcount()));
  }
  return all;
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
    io.err << (args.empty() ? std::string("tavrel decode: missing TYPE\n")
                            : "tavrel decode: unexpected argument '" + args[1] + "'\n");
    printUsage(io.err);
    return 2;
  }
  const Runner run = findRunner(args[0]);
  if (!run) {
    io.err << "tavrel decode: unknown type '" << args[0] << "'\n";
    printUsage(io.err);
    return 2;
  }
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
