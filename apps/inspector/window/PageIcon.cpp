#include "apps/inspector/window/PageIcon.h"

#include <QBuffer>
#include <QImageReader>
#include <QPixmap>
#include <algorithm>
#include <array>

namespace corvane::inspector {

namespace {

struct Drawing {
  std::string_view id;
  const char* path;  ///< lines in a square of 24
};

constexpr std::array DRAWINGS = {
    Drawing{"overview", "M3 3V21H21M6 16L10 10L14 14L20 6"},
    Drawing{"repeaters", "M20 12A8 8 0 1 1 17.5 6.2M20 3V7.5H15.5M12 8V12L15 14"},
    Drawing{"processes", "M3 4H10V9H3ZM14 9.5H21V14.5H14ZM14 16.5H21V21H14ZM6.5 9V19H14M6.5 12H14"},
    Drawing{"log", "M6 3H15L19 7V21H6ZM9 11H16M9 14H16M9 17H13"},
    Drawing{"settings", "M3 7H11M17 7H21M3 17H7M13 17H21M14 4.5V9.5M10 14.5V19.5"},
    Drawing{"broadcaster",
            "M12 12V21M8.5 8.5A5 5 0 0 0 8.5 15.5M15.5 8.5A5 5 0 0 1 15.5 15.5M5 5A10 10 0 0 0 5 19M19 5A10 10 0 0 1 "
            "19 19"},
    Drawing{"power", "M12 3V11M6.5 6.5A8 8 0 1 0 17.5 6.5"},
    Drawing{"devices", "M7 7H17V17H7ZM10 3V7M14 3V7M10 17V21M14 17V21M3 10H7M3 14H7M17 10H21M17 14H21"},
    Drawing{"disks", "M4 6A8 3 0 0 0 20 6A8 3 0 0 0 4 6V18A8 3 0 0 0 20 18V6M4 12A8 3 0 0 0 20 12"},
    Drawing{"helper", "M12 3L19 6V11C19 16 16 19.5 12 21C8 19.5 5 16 5 11V6ZM9 12L11 14L15 10"},
    Drawing{"queues", "M3 6H10M3 12H10M3 18H10M14 5H21V19H14ZM14 9.7H21M14 14.3H21"},
    Drawing{"timeline", "M3 5H13V8.5H3ZM8 10.5H16V14H8ZM12 16H21V19.5H12Z"},
};

QPixmap drawn(const char* path, const QColor& colour, int pixels) {
  QByteArray text =
      QByteArrayLiteral("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 24 24'><path fill='none' ") +
      "stroke-width='1.6' stroke-linecap='round' stroke-linejoin='round' stroke='" + colour.name().toLatin1() +
      "' d='" + path + "'/></svg>";
  QBuffer buffer(&text);
  QImageReader reader(&buffer, "svg");
  reader.setScaledSize(QSize(pixels, pixels));
  return QPixmap::fromImage(reader.read());
}

}  // namespace

QIcon pageIcon(std::string_view id, const QPalette& palette) {
  QIcon icon;
  const auto drawing = std::ranges::find(DRAWINGS, id, &Drawing::id);
  if (drawing == DRAWINGS.end()) return icon;
  for (const int pixels : {20, 40}) {
    icon.addPixmap(drawn(drawing->path, palette.color(QPalette::Text), pixels));
    icon.addPixmap(drawn(drawing->path, palette.color(QPalette::HighlightedText), pixels), QIcon::Selected);
  }
  return icon;
}

}  // namespace corvane::inspector
