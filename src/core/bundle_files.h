#pragma once
// Readers for the two kinds of file a bundle holds: property lists and
// translation tables.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::detail {

// A property list's top-level dictionary: each key with its text value, or
// nothing for a value that is not text. Reads XML and binary property lists;
// nothing when the data is neither or its top level is no dictionary.
using PlistDictionary = std::map<std::string, std::optional<std::string>>;
std::optional<PlistDictionary> readPlistDictionary(std::string_view data);

// A translation table: "key" = "value"; entries with /* */ and // comments,
// C-style escapes and \Uxxxx, in UTF-8 or UTF-16 with a byte-order mark; also
// a table compiled to an XML or binary property list. Nothing when the data
// does not parse: a table is read whole or not at all.
using StringsTable = std::map<std::string, std::string>;
std::optional<StringsTable> parseStringsTable(std::string_view data);

}  // namespace tavrel::detail
