#include "apps/inspector/window/GraphAxis.h"

#include <QCoreApplication>
#include <QLocale>
#include <algorithm>
#include <array>
#include <cmath>

#include "apps/inspector/text/RoundStep.h"

namespace corvane::inspector {

namespace {

constexpr double KIBI = 1024;

QString sizeText(double bytes, int decimals, Unit unit) {
  const auto format = unit == Unit::BYTES ? QLocale::DataSizeIecFormat : QLocale::DataSizeSIFormat;
  const QString size = bytes < (unit == Unit::BYTES ? KIBI : 1000)
                           ? QCoreApplication::translate("Graph", "%1 B").arg(QLocale().toString(bytes, 'f', 0))
                           : QLocale().formattedDataSize(std::llround(bytes), decimals, format);
  return unit == Unit::BYTES ? size : QCoreApplication::translate("Graph", "%1/s").arg(size);
}

QString text(double value, int decimals, Unit unit) {
  const QLocale locale;
  switch (unit) {
    case Unit::PERCENT:
      return locale.toString(value, 'f', decimals) + QChar(QChar::Nbsp) + locale.percent();
    case Unit::BYTES:
    case Unit::BYTES_PER_SECOND:
      return sizeText(value, decimals, unit);
    case Unit::CELSIUS:
      return locale.toString(value, 'f', decimals) + QChar(QChar::Nbsp) + QStringLiteral("°C");
    case Unit::COUNT:
      return locale.toString(value, 'f', 0);
  }
  return {};
}

// Amounts of memory have powers of 1024 for units.
double stepFor(double least, Unit unit) {
  if (unit == Unit::COUNT || unit == Unit::PERCENT) return std::max(1.0, roundStep(least));
  if (unit != Unit::BYTES) return roundStep(least);
  const double scale = std::pow(KIBI, std::max(0.0, std::floor(std::log2(least) / 10)));
  const double step = roundStep(std::max(1.0, least / scale));
  return std::min(step, KIBI) * scale;
}

// The length of an axis for values that are all the same.
double leastSpan(Unit unit) {
  return unit == Unit::BYTES ? KIBI : unit == Unit::BYTES_PER_SECOND ? 1000 : 1;
}

// Whether a tick needs a decimal: 1.5 MiB.
int decimalsOf(double value, double step, Unit unit) {
  if (unit == Unit::CELSIUS) return step < 1 ? 1 : 0;
  if (unit != Unit::BYTES && unit != Unit::BYTES_PER_SECOND) return 0;
  const double base = unit == Unit::BYTES ? KIBI : 1000;
  const double scale = value >= 1 ? std::pow(base, std::floor(std::log(value) / std::log(base) + 1e-9)) : 1;
  return std::abs(value / scale - std::round(value / scale)) > 0.01 ? 1 : 0;
}

constexpr std::array TIME_STEPS = {5, 10, 15, 20, 30, 60, 120, 300, 600, 900, 1800, 3600};

}  // namespace

QString valueText(double value, Unit unit) {
  return text(value, 1, unit);
}

ValueAxis::ValueAxis(Range ends, bool isExact, int most, Unit unit) : range(ends) {
  if (range.high <= range.low) range.high = range.low + leastSpan(unit);
  const double step = stepFor((range.high - range.low) / (most - 1), unit);
  // Rounding errors neither widen the range nor hide a tick at its end.
  if (!isExact) range = {std::floor(range.low / step + 1e-6) * step, std::ceil(range.high / step - 1e-6) * step};
  for (double place = std::ceil(range.low / step - 1e-6); place <= range.high / step + 1e-6; ++place)
    ticks.push_back({place * step, text(place * step, decimalsOf(place * step, step, unit), unit)});
}

std::vector<Tick> timeTicks(const QDateTime& now, double span, int most) {
  const auto step = std::ranges::find_if(TIME_STEPS, [=](int seconds) { return span / seconds <= most; });
  if (step == TIME_STEPS.end()) return {};
  const QString format = QLocale().timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss"));
  // Round in local time.
  const double second = static_cast<double>(now.time().msecsSinceStartOfDay()) / 1000;
  std::vector<Tick> ticks;
  for (double before = std::fmod(second, *step); before <= span; before += *step) {
    const QTime time = now.time().addMSecs(-static_cast<int>(std::llround(before * 1000)));
    ticks.push_back({before, *step < 60 ? timeText(time) : QLocale().toString(time, format)});
  }
  return ticks;
}

QString timeText(const QTime& time, bool withMilliseconds) {
  QString format = QLocale().timeFormat(QLocale::ShortFormat);
  if (!format.contains(u's')) format.replace(QStringLiteral("mm"), QStringLiteral("mm:ss"));
  if (withMilliseconds) format.replace(QStringLiteral("ss"), "ss" + QLocale().decimalPoint() + "zzz");
  return QLocale().toString(time, format);
}

QString lengthText(std::int64_t seconds) {
  static constexpr std::int64_t DAY = 24 * 60 * 60;
  const QTime rest = QTime(0, 0).addSecs(static_cast<int>(std::max<std::int64_t>(0, seconds) % DAY));
  const QString time = QLocale().toString(rest, QStringLiteral("H:mm:ss"));
  if (seconds < DAY) return time;
  return QCoreApplication::translate("Graph", "%1 d %2").arg(QLocale().toString(qlonglong{seconds / DAY}), time);
}

}  // namespace corvane::inspector
