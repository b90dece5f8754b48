#include "apps/inspector/window/ValueText.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <cmath>
#include <string>

#include "apps/inspector/window/Shown.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

constexpr qsizetype SHOWN_CHARACTERS = 300;
constexpr std::size_t SHOWN_BYTES = 32;
constexpr double LAST_SECOND = 2.5e11;  // of the year 9999, and as far into the past, since 1970

struct Texts {
  Q_DECLARE_TR_FUNCTIONS(Value)
};

QLocale plainLocale() {
  QLocale locale;
  locale.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
  return locale;
}

QString hexOf(const Data& data, std::size_t count) {
  return QString::fromLatin1(
      QByteArray::fromRawData(reinterpret_cast<const char*>(data.bytes.data()), static_cast<qsizetype>(count)).toHex());
}

QString dateText(const Date& date) {
  const double seconds = date.unixSeconds();
  if (!(std::fabs(seconds) < LAST_SECOND))
    return Texts::tr("%1 s after 2001").arg(plainLocale().toString(date.seconds, 'g', QLocale::FloatingPointShortest));
  const auto time = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(seconds * 1000)));
  return time.toString(time.time().msec() == 0 ? "yyyy-MM-dd HH:mm:ss" : "yyyy-MM-dd HH:mm:ss.zzz");
}

tl::expected<Value, QString> parseInteger(const QString& text) {
  bool isNumber = false;
  if (const qlonglong number = plainLocale().toLongLong(text, &isNumber); isNumber)
    return Value(static_cast<std::int64_t>(number));
  if (const auto number = numberIn<std::int64_t>(text.toStdString())) return Value(*number);
  return tl::unexpected(
      Texts::tr("“%1” is not a whole number from -9223372036854775808 to 9223372036854775807.").arg(text));
}

tl::expected<Value, QString> parseReal(const QString& text) {
  bool isNumber = false;
  if (const double number = plainLocale().toDouble(text, &isNumber); isNumber && std::isfinite(number))
    return Value(number);
  if (const auto number = numberIn<double>(text.toStdString())) return Value(*number);
  return tl::unexpected(Texts::tr("“%1” is not a number.").arg(text));
}

tl::expected<Value, QString> parseBoolean(const QString& text) {
  for (const bool truth : {false, true})
    if (text.compare(valueText(Value(truth)), Qt::CaseInsensitive) == 0) return Value(truth);
  return tl::unexpected(
      Texts::tr("“%1” is neither %2 nor %3.").arg(text, valueText(Value(true)), valueText(Value(false))));
}

tl::expected<Value, QString> parseDate(QString text) {
  const QString typed = text;
  if (text.size() > 10 && text[10] == u' ') text[10] = u'T';
  QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
  if (!time.isValid()) return tl::unexpected(Texts::tr("“%1” is not a date such as 2026-03-07 09:05:00.").arg(typed));
  return Value(Date::fromUnixSeconds(static_cast<double>(time.toMSecsSinceEpoch()) / 1000));
}

tl::expected<Value, QString> parseData(const QString& text) {
  Data data;
  QString digits = text;
  digits.remove(u' ');
  if (digits.size() % 2 != 0) return tl::unexpected(Texts::tr("Data needs two hexadecimal digits for each byte."));
  data.bytes.reserve(static_cast<std::size_t>(digits.size() / 2));
  for (qsizetype i = 0; i < digits.size(); i += 2) {
    bool isByte = digits[i] != u'+' && digits[i] != u'-';
    const ushort byte = isByte ? QStringView(digits).mid(i, 2).toUShort(&isByte, 16) : ushort{0};
    if (!isByte) return tl::unexpected(Texts::tr("“%1” is not a pair of hexadecimal digits.").arg(digits.mid(i, 2)));
    data.bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  return Value(std::move(data));
}

}  // namespace

ValueKind kindOf(const Value& value) {
  if (value.isString()) return ValueKind::TEXT;
  if (value.isInteger()) return ValueKind::INTEGER;
  if (value.isReal()) return ValueKind::REAL;
  if (value.isBool()) return ValueKind::BOOLEAN;
  if (value.isDate()) return ValueKind::DATE;
  if (value.isData()) return ValueKind::DATA;
  return value.isArray() ? ValueKind::ARRAY : ValueKind::DICTIONARY;
}

QString nameOf(ValueKind kind) {
  switch (kind) {
    case ValueKind::TEXT:
      return Texts::tr("Text");
    case ValueKind::INTEGER:
      return Texts::tr("Whole number");
    case ValueKind::REAL:
      return Texts::tr("Real number");
    case ValueKind::BOOLEAN:
      return Texts::tr("Yes or no");
    case ValueKind::DATE:
      return Texts::tr("Date");
    case ValueKind::DATA:
      return Texts::tr("Data");
    case ValueKind::ARRAY:
      return Texts::tr("List");
    case ValueKind::DICTIONARY:
      return Texts::tr("Dictionary");
  }
  return {};
}

QString editable(const Value& value) {
  switch (kindOf(value)) {
    case ValueKind::TEXT:
      return QString::fromStdString(*value.asString());
    case ValueKind::INTEGER:
      return plainLocale().toString(static_cast<qlonglong>(*value.asInteger()));
    case ValueKind::REAL:
      return plainLocale().toString(*value.asReal(), 'g', QLocale::FloatingPointShortest);
    case ValueKind::BOOLEAN:
      return *value.asBool() ? Texts::tr("Yes") : Texts::tr("No");
    case ValueKind::DATE:
      return dateText(*value.asDate());
    case ValueKind::DATA:
      return hexOf(*value.asData(), value.asData()->bytes.size());
    default:
      return {};
  }
}

QString valueText(const Value& value) {
  const auto counted = [](const QString& text, std::size_t count) {
    return text.arg(QLocale().toString(static_cast<qulonglong>(count)));
  };
  if (const auto* array = value.asArray()) return counted(Texts::tr("Items: %1"), array->size());
  if (const auto* dictionary = value.asDictionary()) return counted(Texts::tr("Entries: %1"), dictionary->size());
  if (const Data* const data = value.asData(); data && data->bytes.size() > SHOWN_BYTES)
    return hexOf(*data, SHOWN_BYTES) + counted(Texts::tr("… (%1 bytes)"), data->bytes.size());
  if (const std::string* const text = value.asString()) {
    const QString start = shown(std::string_view(*text).substr(0, 4 * SHOWN_CHARACTERS));
    return start.size() > SHOWN_CHARACTERS ? start.left(SHOWN_CHARACTERS) + u'…' : start;
  }
  return editable(value);
}

tl::expected<Value, QString> parseValue(ValueKind kind, const QString& text) {
  switch (kind) {
    case ValueKind::TEXT:
      return Value(text.toStdString());
    case ValueKind::INTEGER:
      return parseInteger(text.trimmed());
    case ValueKind::REAL:
      return parseReal(text.trimmed());
    case ValueKind::BOOLEAN:
      return parseBoolean(text.trimmed());
    case ValueKind::DATE:
      return parseDate(text.trimmed());
    case ValueKind::DATA:
      return parseData(text.trimmed());
    case ValueKind::ARRAY:
      return Value(Value::Array());
    case ValueKind::DICTIONARY:
      return Value(Value::Dictionary());
  }
  return {};
}

}  // namespace corvane::inspector
