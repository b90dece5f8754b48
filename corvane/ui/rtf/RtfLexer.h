#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

/// Splits rich text into its tokens: Rich Text Format 1.9.1, "RTF Syntax". Takes any bytes and never reads beyond them;
/// what is no token is left out. Knows no meaning except that of \bin, whose bytes are no tokens.
class RtfLexer {
 public:
  enum class Kind : std::uint8_t {
    END,
    OPEN,    ///< {
    CLOSE,   ///< }
    WORD,    ///< \word or \word-12: its letters and its number, the nearest one that an int can hold
    SYMBOL,  ///< \ and one other character, which is the text
    TEXT,    ///< bytes in the document's code page, without line ends, which mean nothing
    BYTE,    ///< \'hh, such a byte: the number
    BINARY   ///< the bytes after \bin: as many as it says and as there are
  };

  struct Token {
    Kind kind = Kind::END;
    std::string_view text = {};
    std::optional<int> number = {};
  };

  /// The bytes must outlive the lexer.
  explicit RtfLexer(std::string_view bytes) : m_rest(bytes) {}

  Token next();

 private:
  Token control();
  Token byte();
  std::optional<int> number();
  std::string_view take(std::size_t size);

  std::string_view m_rest;
};

}  // namespace corvane
