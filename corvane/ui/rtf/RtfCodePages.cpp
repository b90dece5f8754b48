#include "corvane/ui/rtf/RtfCodePages.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

namespace {

constexpr std::size_t MAX_CONVERTERS = 64;  // so many pages are in no document

// What ICU calls the pages that it does not know as "windows-" and the number.
std::string nameOf(int page) {
  switch (page) {
    case 10000:
      return "macintosh";
    case 10006:
      return "x-mac-greek";
    case 10007:
      return "x-mac-cyrillic";
    case 10029:
      return "x-mac-centraleurroman";
    case 10081:
      return "x-mac-turkish";
    case 65001:
      return "UTF-8";
    default:
      return (page < 874 ? "ibm-" : "windows-") + std::to_string(page);
  }
}

bool isAscii(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::optional<int> RtfCodePages::ofCharset(int charset) {
  static constexpr std::array<std::pair<int, int>, 19> PAGES = {{{0, WESTERN},
                                                                 {2, SYMBOLS},
                                                                 {77, 10000},
                                                                 {128, 932},
                                                                 {129, 949},
                                                                 {134, 936},
                                                                 {136, 950},
                                                                 {161, 1253},
                                                                 {162, 1254},
                                                                 {163, 1258},
                                                                 {177, 1255},
                                                                 {178, 1256},
                                                                 {186, 1257},
                                                                 {204, 1251},
                                                                 {222, 874},
                                                                 {238, 1250},
                                                                 {254, 437},
                                                                 {255, 850},
                                                                 {78, 932}}};
  const auto found = std::ranges::find(PAGES, charset, &std::pair<int, int>::first);
  return found == PAGES.end() ? std::nullopt : std::optional(found->second);
}

QString RtfCodePages::decoded(std::string_view bytes, int page) {
  if (page == SYMBOLS) {
    QString text = decoded(bytes, WESTERN);
    return text.replace(QChar(ushort{0xB7}), QChar(ushort{0x2022}));
  }
  if (isAscii(bytes)) return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  UConverter* const from = converter(page);
  if (!from) return QString(static_cast<qsizetype>(bytes.size()), QChar(QChar::ReplacementCharacter));
  std::u16string text(bytes.size() * 2 + 1, u'\0');
  UErrorCode error = U_ZERO_ERROR;
  const auto length = ucnv_toUChars(from, text.data(), static_cast<std::int32_t>(text.size()), bytes.data(),
                                    static_cast<std::int32_t>(bytes.size()), &error);
  return U_FAILURE(error) ? QString() : QString::fromUtf16(text.data(), length);
}

UConverter* RtfCodePages::converter(int page) {
  if (const auto found = m_converters.find(page); found != m_converters.end()) return found->second.get();
  if (m_converters.size() >= MAX_CONVERTERS) return nullptr;
  UErrorCode error = U_ZERO_ERROR;
  Converter made(ucnv_open(nameOf(page).c_str(), &error));
  if (U_FAILURE(error)) return page == WESTERN ? nullptr : converter(WESTERN);
  return (m_converters[page] = std::move(made)).get();
}

}  // namespace corvane
