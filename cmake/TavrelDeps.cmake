# Third-party libraries, all from the distribution (see scripts/setup).
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(simdjson REQUIRED)
# The JSON core reads simdjson's parsed documents word by word, as
# src/core/json_tape.h states for simdjson 3. Another major version may lay
# them out otherwise, so it is refused here; and the facts the header relies
# on are checked on a sample document, once per simdjson version and header.
string(REGEX MATCH "^[0-9]+" simdjson_major "${simdjson_VERSION}")
if(NOT simdjson_major EQUAL 3)
  message(FATAL_ERROR "simdjson ${simdjson_VERSION} found, but the JSON core reads the "
    "parser's tape as simdjson 3 lays it out (src/core/json_tape.h). Install "
    "simdjson 3, or check that header against the new version's doc/tape.md.")
endif()

file(SHA1 ${PROJECT_SOURCE_DIR}/src/core/json_tape.h tape_header_hash)
set(tape_check_key "${simdjson_VERSION} ${tape_header_hash}")
if(NOT TAVREL_TAPE_CHECKED STREQUAL tape_check_key)
  set(tape_check ${CMAKE_BINARY_DIR}/tape_check/tape_check.cpp)
  file(WRITE ${tape_check} [=[
#include "core/json_tape.h"
using namespace tavrel::detail;
int main() {
  const char json[] = R"({"k":[-1,18446744073709551615,2.5,"xy",true,false,null,{}],"k":{"a":1}})";
  simdjson::dom::parser parser;
  simdjson::dom::document doc;
  if (parser.parse_into_document(doc, json, sizeof json - 1).error()) return 1;
  const std::uint64_t* w = tape::wordsOf(doc);
  auto type = [&](std::size_t i) { return tape::typeOf(w[i]); };
  auto text = [&](std::size_t i) { return tape::textAt(tape::stringsOf(doc) + tape::stringOffset(w[i])); };
  const std::size_t root = tape::kRoot, array = root + 2, end = tape::after(w, root);
  bool ok = type(0) == 'r' && type(root) == '{' && tape::count(w[root]) == 2 && type(end) == 'r' &&
            type(tape::closing(w[root])) == '}' && text(root + 1) == "k" && type(array) == '[' &&
            tape::count(w[array]) == 8 && type(tape::closing(w[array])) == ']';
  std::size_t at = array + 1;
  const char types[] = "lud\"tfn{";
  for (char t : std::string_view(types, 8)) {
    ok = ok && type(at) == t;
    at = tape::after(w, at);
  }
  ok = ok && tape::numberAfter<std::int64_t>(w, array + 1) == -1 &&
       tape::numberAfter<std::uint64_t>(w, array + 3) == UINT64_MAX &&
       tape::numberAfter<double>(w, array + 5) == 2.5 && text(array + 7) == "xy" &&
       tape::count(w[array + 11]) == 0 && at == tape::closing(w[array]) &&
       text(at + 1) == "k" && type(at + 2) == '{' && tape::count(w[at + 2]) == 1;
  return ok ? 0 : 2;
}
]=])
  try_run(tape_run tape_compiled ${CMAKE_BINARY_DIR}/tape_check ${tape_check}
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${PROJECT_SOURCE_DIR}/src"
    LINK_LIBRARIES simdjson::simdjson
    CXX_STANDARD 20
    COMPILE_OUTPUT_VARIABLE tape_compile_output)
  if(NOT tape_compiled)
    message(FATAL_ERROR "src/core/json_tape.h does not compile against simdjson "
      "${simdjson_VERSION}:\n${tape_compile_output}")
  endif()
  if(NOT tape_run EQUAL 0)
    message(FATAL_ERROR "simdjson ${simdjson_VERSION} does not lay out a parsed document "
      "as src/core/json_tape.h states (sample check exited with ${tape_run}); the JSON "
      "core would misread documents.")
  endif()
  set(TAVREL_TAPE_CHECKED "${tape_check_key}" CACHE INTERNAL "simdjson tape layout checked")
  message(STATUS "simdjson ${simdjson_VERSION}: tape layout as src/core/json_tape.h states")
endif()
find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(LibXml2 REQUIRED)
find_package(SQLite3 REQUIRED)
pkg_check_modules(UTF8PROC REQUIRED IMPORTED_TARGET libutf8proc)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
# Line editing for `tavrel chat` in a terminal.
pkg_check_modules(LIBEDIT REQUIRED IMPORTED_TARGET libedit)
find_package(Boost 1.81 EXACT REQUIRED)
if(TAVREL_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(TAVREL_BENCH)
  find_package(benchmark REQUIRED)
  find_package(nlohmann_json REQUIRED)
endif()
