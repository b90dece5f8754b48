#pragma once

#include <QString>
#include <tl/expected.hpp>

#include "corvane/platform/Value.h"

namespace corvane::inspector {

/// The kinds of a Value, in the order in which they are offered.
enum class ValueKind { TEXT, INTEGER, REAL, BOOLEAN, DATE, DATA, ARRAY, DICTIONARY };

inline constexpr int VALUE_KINDS = 8;

ValueKind kindOf(const Value& value);

/// "Text", "Whole number", for the user.
QString nameOf(ValueKind kind);

inline bool isContainer(ValueKind kind) {
  return kind == ValueKind::ARRAY || kind == ValueKind::DICTIONARY;
}

/// A value in one line for reading, as the user's language writes numbers: long texts and data are cut, of arrays and
/// dictionaries only the size is told.
QString valueText(const Value& value);

/// A plain value as text for editing, whole. Reals keep their last bit; dates are local times.
QString editable(const Value& value);

/// A value of a kind from the text that a user has typed, or what is wrong with the text. Numbers may be written as in
/// the user's language or as in programs. Arrays and dictionaries are empty, whatever the text.
tl::expected<Value, QString> parseValue(ValueKind kind, const QString& text);

}  // namespace corvane::inspector
