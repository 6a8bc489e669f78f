#pragma once
// Writing the records of the data model as JSON, for the subcommands that
// print them. Records with an encoder of their own go through it; the others
// are written as an object of their fields under their JSON keys (absent
// optionals as null), at the paths they are read from, so the output decodes
// back to the same record. Arrays and answer envelopes are written
// element-wise.

#include <type_traits>
#include <vector>

#include "tavrel/core/json_value.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/model/knowledge_base.h"
#include "tavrel/model/messenger.h"
#include "tavrel/model/response.h"
#include "tavrel/model/rts.h"
#include "tavrel/model/user.h"

namespace tavrel::cli {

// The records without an encoder of their own.
void writeFields(JsonWriter& w, const User& user);
void writeFields(JsonWriter& w, const Auth& auth);
// A Messenger as {"data": <its data tree>}: the tree holds every field.
void writeFields(JsonWriter& w, const Messenger& messenger);
void writeFields(JsonWriter& w, const KnowledgeBaseSettings& settings);
void writeFields(JsonWriter& w, const KnowledgeBaseCategory& category);
void writeFields(JsonWriter& w, const KnowledgeBaseArticle& article);
void writeFields(JsonWriter& w, const Meta& meta);
void writeFields(JsonWriter& w, const SimpleId& simpleId);
void writeFields(JsonWriter& w, const RtsResponse& frame);

namespace record_json_detail {
template <class T>
struct IsResponse : std::false_type {};
template <class T>
struct IsResponse<Response<T>> : std::true_type {};
template <class T>
struct IsVector : std::false_type {};
template <class T>
struct IsVector<std::vector<T>> : std::true_type {};
template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};
}  // namespace record_json_detail

// Writes any record of the model, an array or optional of one, or an
// envelope {"meta": ..., "data": ...} of either.
template <class T>
void writeAny(JsonWriter& w, const T& value) {
  using namespace record_json_detail;
  if constexpr (IsVector<T>::value) {
    w.beginArray();
    for (const auto& element : value) writeAny(w, element);
    w.endArray();
  } else if constexpr (IsOptional<T>::value) {
    if (value) {
      writeAny(w, *value);
    } else {
      w.null();
    }
  } else if constexpr (IsResponse<T>::value) {
    w.beginObject();
    w.key("meta");
    writeAny(w, value.meta);
    w.key("data");
    writeAny(w, value.data);
    w.endObject();
  } else if constexpr (requires { value.encode(w); }) {
    w.write(value);
  } else {
    writeFields(w, value);
  }
}

}  // namespace tavrel::cli
