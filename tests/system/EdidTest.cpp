#include "corvane/system/Edid.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>

namespace corvane {
namespace {

using Bytes = std::vector<std::uint8_t>;

void put(Bytes& block, std::size_t at, std::string_view text) {
  std::copy(text.begin(), text.end(), block.begin() + static_cast<std::ptrdiff_t>(at));
}

// A display with a name of 13 characters, which leave no room for an end, whose timing is 597 x 336 mm.
Bytes sample() {
  Bytes block(128);
  std::fill(block.begin() + 1, block.begin() + 7, std::uint8_t{0xFF});
  put(block, 8, {"\x0D\xCE\x34\x12\xF0\xDE\xBC\x9A\x07\x1F\x01\x04\xA5\x3C\x22", 15});  // "CNN"
  put(block, 54, {"\x02\x3A\x80\x18\x71\x38\x2D\x40\x58\x2C\x45\x00\x55\x50\x21", 15});
  put(block, 72, {"\0\0\0\xFC\0ThirteenChars", 18});
  put(block, 90, {"\0\0\0\xFF\0 A1 \n        ", 18});
  put(block, 108, {"\0\0\0\xFC\0Second\n      ", 18});
  return block;
}

std::string described(Bytes block, bool sum = true) {
  if (sum && block.size() >= 128)
    block[127] = static_cast<std::uint8_t>(-std::accumulate(block.begin(), block.begin() + 127, 0));
  const auto edid = parseEdid(block);
  if (!edid) return edid.error().domain + ": " + edid.error().description;
  return edid->vendor + " " + std::to_string(edid->vendorID) + " " + std::to_string(edid->productID) + " " +
         std::to_string(edid->serial) + " '" + edid->name + "' '" + edid->serialText + "' " +
         std::to_string(edid->year) + "-W" + std::to_string(edid->week.value_or(0)) + " " +
         std::to_string(edid->widthMm) + "x" + std::to_string(edid->heightMm);
}

TEST(EdidTest, ReadsWhatDisplaysSendAndRefusesDamagedData) {
  const struct {
    const char* fault;
    std::function<void(Bytes&)> change;
    const char* result;
  } rows[] = {
      {"none", [](Bytes&) {}, "CNN 3534 4660 2596069104 'ThirteenChars' 'A1' 2021-W7 597x336"},
      {"extensions that are missing", [](Bytes& b) { b[126] = 255; },
       "CNN 3534 4660 2596069104 'ThirteenChars' 'A1' 2021-W7 597x336"},
      {"no letters, no week, a ratio as size, half-filled and hostile texts",
       [](Bytes& b) {
         b[8] = 0xFF, b[9] = 0xE0, b[16] = 0xFF, b[21] = 0;
         put(b, 77, {"\x1B[2J\xFF\0hidden", 12});
         put(b, 95, "             ");
         put(b, 111, "\xFF");
       },
       "??? 65504 4660 2596069104 '[2J\uFFFD' 'Second' 2021-W0 0x0"},
      {"a size far from that of the timing", [](Bytes& b) { b[21] = 50, b[22] = 28; },
       "CNN 3534 4660 2596069104 'ThirteenChars' 'A1' 2021-W7 500x280"},
      {"no timing", [](Bytes& b) { b[54] = b[55] = 0; },
       "CNN 3534 4660 2596069104 'ThirteenChars' 'A1' 2021-W7 600x340"},
      {"the first signature byte", [](Bytes& b) { b[0] = 1; },
       "edid: The display's data does not begin with the signature"},
      {"one byte too few", [](Bytes& b) { b.pop_back(); }, "edid: The display's data is cut off: 127 bytes"},
      {"nothing", [](Bytes& b) { b.clear(); }, "edid: The display's data is cut off: 0 bytes"},
  };
  for (const auto& row : rows) {
    Bytes block = sample();
    row.change(block);
    EXPECT_EQ(described(block), row.result) << row.fault;
  }
  EXPECT_EQ(described(sample(), false), "edid: The display's data has a wrong checksum");
}

}  // namespace
}  // namespace corvane
