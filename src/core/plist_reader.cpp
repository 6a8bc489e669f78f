#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

#include "core/bundle_files.h"

namespace tavrel::detail {
namespace {

struct PlistFree {
  void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

bool looksLikePlist(std::string_view data) {
  if (data.starts_with("bplist00")) return true;
  if (data.starts_with("\xEF\xBB\xBF")) data.remove_prefix(3);
  while (!data.empty() && (data.front() == ' ' || data.front() == '\n' || data.front() == '\r' || data.front() == '\t'))
    data.remove_prefix(1);
  return data.starts_with("<?xml") || data.starts_with("<!DOCTYPE plist") || data.starts_with("<plist");
}

}  // namespace

std::optional<PlistDictionary> readPlistDictionary(std::string_view data) {
  if (!looksLikePlist(data) || data.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  plist_t raw = nullptr;
  plist_from_memory(data.data(), static_cast<uint32_t>(data.size()), &raw);
  PlistPtr root(raw);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;

  PlistDictionary result;
  plist_dict_iter it = nullptr;
  plist_dict_new_iter(root.get(), &it);
  if (!it) return result;
  while (true) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(root.get(), it, &key, &value);
    if (!key) break;
    std::optional<std::string> text;
    if (value && plist_get_node_type(value) == PLIST_STRING) {
      uint64_t length = 0;
      const char* s = plist_get_string_ptr(value, &length);
      if (s) text = std::string(s, static_cast<std::size_t>(length));
    }
    result[key] = std::move(text);
    std::free(key);
  }
  std::free(it);
  return result;
}

}  // namespace tavrel::detail
