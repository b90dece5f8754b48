#include "corvane/ui/RectText.h"

#include <QRegularExpression>
#include <array>
#include <cmath>

#include "corvane/core/Text.h"

namespace corvane {

std::string stringFromRect(const QRect& rect) {
  const auto pair = [](int first, int second) {
    return '{' + std::to_string(first) + ", " + std::to_string(second) + '}';
  };
  return '{' + pair(rect.x(), rect.y()) + ", " + pair(rect.width(), rect.height()) + '}';
}

std::optional<QRect> rectFromString(std::string_view text) {
  constexpr double LIMIT = 1e6;
  static const QRegularExpression FORM(R"(^\s*\{\s*\{([^{},]*),([^{},]*)\}\s*,\s*\{([^{},]*),([^{},]*)\}\s*\}\s*$)");
  const auto match = FORM.match(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
  if (!match.hasMatch()) return std::nullopt;
  std::array<int, 4> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto number = numberIn<double>(match.captured(static_cast<int>(i) + 1).trimmed().toStdString());
    if (!number || !(std::abs(*number) <= LIMIT)) return std::nullopt;
    numbers[i] = static_cast<int>(std::lround(*number));
  }
  const auto [x, y, width, height] = numbers;
  return width > 0 && height > 0 ? std::optional(QRect(x, y, width, height)) : std::nullopt;
}

}  // namespace corvane
