#pragma once

#include <QString>

#include "apps/inspector/model/ProcessOrder.h"

namespace corvane::inspector {

/// A column's title, in the user's language.
QString titleOf(ProcessColumn column);

/// What a column shows of a process, in the user's language and locale; empty if it is not known.
QString textOf(const ProcessRow& row, ProcessColumn column);

/// "1234 name".
QString nameOf(const ProcessRow& row);

}  // namespace corvane::inspector
