#include "corvane/system/Edid.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "corvane/core/Text.h"

namespace corvane {

namespace {

using Bytes = std::span<const std::uint8_t>;

// Offsets and sizes in the base block, from the standard.
constexpr std::size_t BLOCK = 128;
constexpr std::array<std::uint8_t, 8> SIGNATURE = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr std::size_t DESCRIPTORS = 54;
constexpr std::size_t DESCRIPTOR_SIZE = 18;
constexpr std::size_t DESCRIPTOR_COUNT = 4;
constexpr std::size_t TEXT_AT = 5;  // in a descriptor
constexpr std::uint8_t NAME_TAG = 0xFC;
constexpr std::uint8_t SERIAL_TAG = 0xFF;
constexpr int FIRST_YEAR = 1990;
constexpr int LAST_WEEK = 54;

std::string vendorLetters(unsigned packed) {
  std::string letters;
  for (const unsigned shift : {10U, 5U, 0U}) {
    const unsigned letter = packed >> shift & 31U;
    letters += letter >= 1 && letter <= 26 ? static_cast<char>('A' + letter - 1) : '?';
  }
  return letters;
}

// A line feed ends a text that does not fill its field, but some displays write NUL or nothing.
std::string descriptorText(Bytes field) {
  std::string text(field.begin(),
                   std::find_if(field.begin(), field.end(), [](std::uint8_t c) { return c == '\n' || c == '\0'; }));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }, ' ');
  text = repaired(std::move(text));
  return std::string(trimmed(text));
}

bool isTiming(Bytes descriptor) {
  return descriptor[0] != 0 || descriptor[1] != 0;  // the pixel clock
}

// The size in centimetres, made exact by that of a timing if that is the same size and not just a ratio.
int millimetres(int centimetres, int ofTiming) {
  if (centimetres == 0) return 0;
  return std::abs(ofTiming - centimetres * 10) < 10 ? ofTiming : centimetres * 10;
}

void readSize(Edid& edid, Bytes block) {
  const Bytes timing = block.subspan(DESCRIPTORS, DESCRIPTOR_SIZE);
  const bool known = isTiming(timing);
  // A zero in one of the two makes the other a ratio.
  if (block[21] == 0 || block[22] == 0) return;
  edid.widthMm = millimetres(block[21], known ? timing[12] | (timing[14] >> 4) << 8 : 0);
  edid.heightMm = millimetres(block[22], known ? timing[13] | (timing[14] & 15) << 8 : 0);
}

}  // namespace

Result<Edid> parseEdid(Bytes bytes) {
  if (bytes.size() < BLOCK)
    return failure("edid", 0, "The display's data is cut off: " + std::to_string(bytes.size()) + " bytes");
  const Bytes block = bytes.first(BLOCK);
  if (!std::equal(SIGNATURE.begin(), SIGNATURE.end(), block.begin()))
    return failure("edid", 0, "The display's data does not begin with the signature");
  if (std::accumulate(block.begin(), block.end(), 0U) % 256 != 0)
    return failure("edid", 0, "The display's data has a wrong checksum");

  Edid edid;
  edid.vendorID = static_cast<std::uint16_t>(block[8] << 8 | block[9]);
  edid.vendor = vendorLetters(edid.vendorID);
  edid.productID = static_cast<std::uint16_t>(block[10] | block[11] << 8);
  for (const std::size_t at : {15U, 14U, 13U, 12U}) edid.serial = edid.serial << 8 | block[at];
  if (block[16] >= 1 && block[16] <= LAST_WEEK) edid.week = block[16];
  edid.year = FIRST_YEAR + block[17];
  readSize(edid, block);
  for (std::size_t i = 0; i < DESCRIPTOR_COUNT; ++i) {
    const Bytes descriptor = block.subspan(DESCRIPTORS + i * DESCRIPTOR_SIZE, DESCRIPTOR_SIZE);
    if (isTiming(descriptor)) continue;
    const auto tag = descriptor[3];
    std::string* const text = tag == NAME_TAG ? &edid.name : tag == SERIAL_TAG ? &edid.serialText : nullptr;
    if (text && text->empty()) *text = descriptorText(descriptor.subspan(TEXT_AT));
  }
  return edid;
}

}  // namespace corvane
