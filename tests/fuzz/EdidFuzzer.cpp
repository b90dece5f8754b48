#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "corvane/core/Text.h"
#include "corvane/system/Edid.h"

// The data as it is, and with a base block that is made valid.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  std::vector<std::uint8_t> data(bytes, bytes + size);  // so that a byte too far is noticed
  const auto asSent = parseEdid(data);
  if (size < 128) return asSent ? std::abort(), 1 : 0;
  data.resize(128);
  std::fill(data.begin() + 1, data.begin() + 7, std::uint8_t{0xFF});
  data[0] = data[7] = data[127] = 0;
  data[127] = static_cast<std::uint8_t>(-std::accumulate(data.begin(), data.end(), 0));
  const auto edid = parseEdid(data);
  if (!edid || (asSent && asSent->name != edid->name) || edid->widthMm > 2559 || edid->heightMm > 2559) std::abort();
  for (const std::string& text : {edid->name, edid->serialText, edid->vendor})
    if (!isUtf8(text) || trimmed(text) != text || text.size() > 39) std::abort();
  return 0;
}
