#include "apps/inspector/window/SpanText.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>

#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

struct TimeUnit {
  double nsec;
  const char* text;
};

constexpr std::array UNITS = {
    TimeUnit{1e9, QT_TRANSLATE_NOOP("Timeline", "%1 s")}, TimeUnit{1e6, QT_TRANSLATE_NOOP("Timeline", "%1 ms")},
    TimeUnit{1e3, QT_TRANSLATE_NOOP("Timeline", "%1 µs")}, TimeUnit{1, QT_TRANSLATE_NOOP("Timeline", "%1 ns")}};

const TimeUnit& unitOf(double nsec) {
  const auto unit = std::ranges::find_if(UNITS, [nsec](const TimeUnit& each) { return nsec >= each.nsec; });
  return unit == UNITS.end() ? UNITS.back() : *unit;
}

QString tr(const char* text) {
  return QCoreApplication::translate("Timeline", text);
}

QString withUnit(double nsec, const TimeUnit& unit, int decimals) {
  return tr(unit.text).arg(QLocale().toString(nsec / unit.nsec, 'f', decimals));
}

}  // namespace

QString titleOf(ActivitySpan::Kind kind) {
  switch (kind) {
    case ActivitySpan::Kind::REPEATER:
      return tr("Repeater");
    case ActivitySpan::Kind::MAIN_ITEM:
      return tr("Main queue");
    case ActivitySpan::Kind::MAIN_LOOP:
      return tr("Main loop");
    case ActivitySpan::Kind::QUEUE_ITEM:
      return tr("Queue");
    case ActivitySpan::Kind::TIMER:
      return tr("Timer");
  }
  return {};
}

QString titleOf(const TimelineLanes::Name& name) {
  if (name.name.empty()) return titleOf(name.kind);
  return name.item.empty() ? shown(name.name) : shown(name.name) + QStringLiteral(" – ") + shown(name.item);
}

QString durationText(std::int64_t nsec) {
  const auto value = static_cast<double>(nsec);
  const TimeUnit& unit = unitOf(value);
  const double amount = value / unit.nsec;
  return withUnit(value, unit, unit.nsec == 1 || amount >= 99.95 ? 0 : amount >= 9.995 ? 1 : 2);
}

QString offsetText(std::int64_t nsec, double step) {
  const bool isShort = step < 1e3;
  const TimeUnit& unit = isShort ? UNITS[2] : unitOf(step);
  return withUnit(static_cast<double>(nsec), unit, isShort ? static_cast<int>(std::ceil(3 - std::log10(step))) : 0);
}

QString momentText(std::int64_t moment) {
  return timeText(QDateTime::fromMSecsSinceEpoch(moment / 1'000'000).time(), true);
}

QString tipOf(const TimelineLanes& lanes, const TimelineLanes::Span& span) {
  const TimelineLanes::Name& name = lanes.nameOf(span);
  QStringList lines = {titleOf(name)};
  if (!name.name.empty()) lines << titleOf(name.kind);
  const QString length = durationText(span.duration());
  lines << (span.isOpen ? tr("%1, and goes on").arg(length) : length);
  if (span.waited > 0) lines << tr("waited %1 before").arg(durationText(span.waited));
  return lines.join(u'\n');
}

QString lineOf(const TimelineLanes& lanes, const TimelineLanes::Span& span) {
  return tipOf(lanes, span).replace(u'\n', QStringLiteral(" – ")) + QStringLiteral(" – ") +
         tr("began at %1").arg(momentText(span.start));
}

}  // namespace corvane::inspector
