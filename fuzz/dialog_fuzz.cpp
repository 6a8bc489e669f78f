// Arbitrary bytes -> Dialog. Whatever decodes must encode, and its text must
// decode to the same dialog.

#include <vector>

#include "fuzz_support.h"
#include "tavrel/model/dialog.h"
#include "tavrel/model/response.h"

using namespace tavrel;
using namespace tavrel::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = input(data, size);
  if (auto dialog = roundTrip<Dialog>(bytes)) {
    check(dialog->partLast && dialog->lastAdmin);  // decoded dialogs hold both
  }
  // An answer with a list fails or succeeds as a whole, and never crashes.
  (void)decodeJson<Response<std::vector<Dialog>>>(bytes);
  return 0;
}
