#pragma once

#include <unicode/ucnv.h>

#include <QString>
#include <map>
#include <memory>
#include <string_view>

namespace corvane {

/// Turns text in the code pages of rich text into Unicode. Codes that a page does not have become U+FFFD.
class RtfCodePages {
 public:
  static constexpr int WESTERN = 1252;
  static constexpr int SYMBOLS = -2;  ///< of fonts whose codes are pictures: bullets are known, the rest is WESTERN

  /// The code page of a font's \fcharset; std::nullopt for the document's own and for those that are not known.
  static std::optional<int> ofCharset(int charset);

  QString decoded(std::string_view bytes, int page);

 private:
  struct Closer {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
  };
  using Converter = std::unique_ptr<UConverter, Closer>;

  UConverter* converter(int page);

  std::map<int, Converter> m_converters;
};

}  // namespace corvane
