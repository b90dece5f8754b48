#include "apps/inspector/window/ProcessText.h"

#include <QCoreApplication>
#include <QLocale>
#include <array>

#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

constexpr std::array TITLES = {
    QT_TRANSLATE_NOOP("Processes", "PID"),    QT_TRANSLATE_NOOP("Processes", "Parent"),
    QT_TRANSLATE_NOOP("Processes", "User"),   QT_TRANSLATE_NOOP("Processes", "State"),
    QT_TRANSLATE_NOOP("Processes", "Kind"),   QT_TRANSLATE_NOOP("Processes", "Processor"),
    QT_TRANSLATE_NOOP("Processes", "Memory"), QT_TRANSLATE_NOOP("Processes", "Threads"),
    QT_TRANSLATE_NOOP("Processes", "Time"),   QT_TRANSLATE_NOOP("Processes", "Footprint"),
    QT_TRANSLATE_NOOP("Processes", "Read"),   QT_TRANSLATE_NOOP("Processes", "Written"),
    QT_TRANSLATE_NOOP("Processes", "Name"),   QT_TRANSLATE_NOOP("Processes", "Command"),
};

QString translated(const char* text) {
  return QCoreApplication::translate("Processes", text);
}

QString stateText(char state) {
  switch (state) {
    case 'R':
      return translated(QT_TRANSLATE_NOOP("Processes", "Running"));
    case 'S':
      return translated(QT_TRANSLATE_NOOP("Processes", "Sleeping"));
    case 'T':
      return translated(QT_TRANSLATE_NOOP("Processes", "Stopped"));
    case 'Z':
      return translated(QT_TRANSLATE_NOOP("Processes", "Ended"));
    default:
      return {};
  }
}

QString kindText(ProcessKind kind) {
  switch (kind) {
    case ProcessKind::NATIVE:
      return translated(QT_TRANSLATE_NOOP("Processes", "Native"));
    case ProcessKind::TRANSLATED:
      return translated(QT_TRANSLATE_NOOP("Processes", "Translated"));
    case ProcessKind::KERNEL:
      return translated(QT_TRANSLATE_NOOP("Processes", "Kernel"));
    case ProcessKind::UNKNOWN:
      return {};
  }
  return {};
}

QString sizeText(std::uint64_t bytes) {
  return valueText(static_cast<double>(bytes), Unit::BYTES);
}

QString figureText(const ProcessRow& row, std::uint64_t ProcessFigures::*figure) {
  return row.figures ? sizeText((*row.figures).*figure) : QString();
}

}  // namespace

QString titleOf(ProcessColumn column) {
  return translated(TITLES[static_cast<std::size_t>(column)]);
}

QString textOf(const ProcessRow& row, ProcessColumn column) {
  const QLocale locale;
  switch (column) {
    case ProcessColumn::PID:
      return QString::number(row.pid);
    case ProcessColumn::PARENT:
      return QString::number(row.parent);
    case ProcessColumn::USER:
      return shown(row.user);
    case ProcessColumn::STATE:
      return stateText(row.state);
    case ProcessColumn::KIND:
      return kindText(row.kind);
    case ProcessColumn::PROCESSOR:
      return row.processor ? valueText(*row.processor, Unit::PERCENT) : QString();
    case ProcessColumn::MEMORY:
      return sizeText(row.memory);
    case ProcessColumn::THREADS:
      return locale.toString(row.threads);
    case ProcessColumn::TIME:
      return lengthText(row.processorUsec / 1'000'000);
    case ProcessColumn::FOOTPRINT:
      return figureText(row, &ProcessFigures::footprint);
    case ProcessColumn::READ:
      return figureText(row, &ProcessFigures::read);
    case ProcessColumn::WRITTEN:
      return figureText(row, &ProcessFigures::written);
    case ProcessColumn::NAME:
      return shown(row.name);
    case ProcessColumn::COMMAND:
      return shown(commandLine(row));
  }
  return {};
}

QString nameOf(const ProcessRow& row) {
  return QString::number(row.pid) + u' ' + shown(row.name);
}

}  // namespace corvane::inspector
