#pragma once

#include <QColor>
#include <QPalette>
#include <QRectF>
#include <array>
#include <cstddef>

#include "corvane/platform/DiagnosticsPort.h"

class QPainter;

namespace corvane::inspector {

/// Draws the shape that stands for a kind of span into a square, with the painter's brush: kinds are not told apart by
/// colours only.
void drawKind(QPainter& painter, ActivitySpan::Kind kind, const QRectF& square);

QColor colourOf(ActivitySpan::Kind kind, const QPalette& palette);

/// The colours that spans are drawn in.
class TimelineColours {
 public:
  static constexpr std::size_t LEVELS = 16;

  struct Look {
    QColor fill, border, text;
    std::array<QColor, LEVELS> pale;  ///< of several spans together, by the share of the time that they take
  };

  explicit TimelineColours(const QPalette& palette);

  /// Spans that are not marked are faint while others are.
  const Look& of(ActivitySpan::Kind kind, bool isFaint) const {
    return m_looks[static_cast<std::size_t>(kind) % ActivitySpan::KINDS][isFaint ? 1 : 0];
  }

 private:
  std::array<std::array<Look, 2>, ActivitySpan::KINDS> m_looks;
};

}  // namespace corvane::inspector
