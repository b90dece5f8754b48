#pragma once

#include <QColor>
#include <QString>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace corvane {

/// How characters look. Numbers of fonts and colours are those of the document's tables.
struct RtfCharacters {
  enum class Underline : std::uint8_t { NONE, LINE, WAVE, DASHES, DOTS };
  enum class Script : std::uint8_t { NORMAL, SUPER, SUB };
  enum class Capitals : std::uint8_t { NORMAL, ALL, SMALL };

  int font = -1;        // the document's own
  int halfPoints = 24;  // of the font's size
  int color = 0;        // the first colour is that of ordinary text
  int background = 0;
  int link = -1;  // none
  bool isBold = false;
  bool isItalic = false;
  bool isStruckOut = false;
  bool isHidden = false;
  Underline underline = Underline::NONE;
  Script script = Script::NORMAL;
  Capitals capitals = Capitals::NORMAL;

  bool operator==(const RtfCharacters&) const = default;
};

/// How a paragraph is laid out. Lengths are in twentieths of a point.
struct RtfParagraph {
  enum class Alignment : std::uint8_t { NATURAL, LEFT, CENTRE, RIGHT, JUSTIFIED };
  enum class Direction : std::uint8_t { OF_TEXT, RIGHT_TO_LEFT };

  int left = 0;
  int right = 0;
  int first = 0;  // of the first line, beyond left
  int above = 0;
  int below = 0;
  int lineHeight = 0;           // 0: the font's
  bool isLineMultiple = false;  // lineHeight is in 240ths of the font's
  int heading = 0;              // 1 to 6; 0: none
  Alignment alignment = Alignment::NATURAL;
  Direction direction = Direction::OF_TEXT;
  bool isInTable = false;
  std::vector<int> tabs = {};

  bool operator==(const RtfParagraph&) const = default;
};

/// What the fields of a row say of its cells.
struct RtfRow {
  struct Cell {
    int edge = 0;  // its right one, in twentieths of a point
    int background = 0;
  };

  int left = 0;
  bool hasBorders = false;
  std::vector<Cell> cells = {};
};

struct RtfFont {
  enum class Family : std::uint8_t { ANY, SERIF, SANS, FIXED };

  QString name = {};
  Family family = Family::ANY;
  std::optional<int> codePage = {};
};

/// What the head of a document says.
struct RtfTables {
  std::unordered_map<int, RtfFont> fonts = {};
  int ordinaryFont = 0;
  std::vector<QColor> colors = {};  // an invalid one is that of ordinary text
  std::vector<QString> links = {};
};

/// Pictures in a document.
struct RtfPicture {
  const char* format = nullptr;  // Qt's name of it; null: one that is not shown
  int width = 0;                 // wanted, in twentieths of a point; 0: its own
  int height = 0;
  int widthPercent = 100;
  int heightPercent = 100;
};

}  // namespace corvane
