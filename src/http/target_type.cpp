#include "tavrel/http/target_type.h"

#include <algorithm>

#include "tavrel/core/percent_encoding.h"

namespace tavrel {

bool ValidationType::accepts(int statusCode) const {
  switch (kind) {
    case Kind::none: return true;
    case Kind::successCodes: return statusCode >= 200 && statusCode < 300;
    case Kind::successAndRedirectCodes: return statusCode >= 200 && statusCode < 400;
    case Kind::customCodes: return std::find(codes.begin(), codes.end(), statusCode) != codes.end();
  }
  return true;
}

std::string URL(const TargetType& target) {
  std::string base = target.baseURL();
  std::string path = target.path();
  if (path.empty()) return base;

  // The query and fragment of the base stay behind the joined path.
  auto tailAt = base.find_first_of("?#");
  std::string tail = tailAt == std::string::npos ? "" : base.substr(tailAt);
  std::string head = base.substr(0, tailAt);

  std::string encoded = percentEncode(path, charset::urlPathAllowed());
  bool headHasSlash = !head.empty() && head.back() == '/';
  bool pathHasSlash = encoded.front() == '/';
  if (headHasSlash && pathHasSlash) {
    encoded.erase(0, 1);
  } else if (!headHasSlash && !pathHasSlash) {
    head += '/';
  }
  return head + encoded + tail;
}

}  // namespace tavrel
