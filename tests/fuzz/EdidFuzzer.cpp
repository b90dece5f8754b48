#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "corvane/core/Text.h"
#include "corvane/system/Edid.h"

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const std::vector<std::uint8_t> data(bytes, bytes + size);  // so that a byte too far is noticed
  const auto asSent = parseEdid(data);
  if (size < 128) {
    require(!asSent, "data that is cut off");
    return 0;
  }
  std::vector<std::uint8_t> valid(data.begin(), data.begin() + 128);
  std::fill(valid.begin() + 1, valid.begin() + 7, std::uint8_t{0xFF});
  valid[0] = valid[7] = valid[127] = 0;
  valid[127] = static_cast<std::uint8_t>(-std::accumulate(valid.begin(), valid.end(), 0));
  const auto edid = parseEdid(valid);
  require(edid.has_value(), "a valid block that is refused");
  require(!asSent || asSent->name == edid->name, "extension blocks that change the result");
  for (const std::string& text : {edid->name, edid->serialText, edid->vendor})
    require(isUtf8(text) && trimmed(text) == text && text.size() <= 39, "a text that is no text");
  require(edid->widthMm <= 2559 && edid->heightMm <= 2559, "a display as large as a house");
  return 0;
}
