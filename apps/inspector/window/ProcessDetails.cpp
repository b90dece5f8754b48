#include "apps/inspector/window/ProcessDetails.h"

#include <QDateTime>
#include <QGridLayout>
#include <QLocale>
#include <QVBoxLayout>

#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/ProcessText.h"

namespace corvane::inspector {

namespace {

constexpr int MARGIN = 16, GAP = 12;

// Leaves a text that has not changed as it is, with what is selected of it.
template <class Widget>
void setTextOf(Widget& widget, const QString& now, const QString& text) {
  if (now == text) return;
  if constexpr (std::is_same_v<Widget, QLabel>)
    widget.setText(text);
  else
    widget.setPlainText(text);
}

// So that the rows above do not move when one is selected.
void keepPlace(QWidget& widget) {
  QSizePolicy policy = widget.sizePolicy();
  policy.setRetainSizeWhenHidden(true);
  widget.setSizePolicy(policy);
}

QDateTime startOf(const ProcessRow& row) {
  return QDateTime::fromMSecsSinceEpoch(row.started / 1000);
}

}  // namespace

ProcessDetails::ProcessDetails(Shape shape, QWidget* parent)
    : QWidget(parent), m_shape(shape), m_title(new QLabel), m_body(new QWidget), m_command(new QPlainTextEdit) {
  QFont font = m_title->font();
  font.setWeight(QFont::DemiBold);
  m_title->setFont(font);
  m_title->setTextFormat(Qt::PlainText);
  m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
  m_title->setAlignment(leading());
  keepPlace(*m_body);
  keepPlace(*m_command);
  auto* const grid = new QGridLayout(m_body);
  grid->setContentsMargins({});
  grid->setHorizontalSpacing(GAP);
  grid->setVerticalSpacing(4);
  addFields(*grid);
  m_command->setReadOnly(true);
  m_command->setFrameShape(QFrame::NoFrame);
  m_command->setLayoutDirection(Qt::LeftToRight);  // so are command lines, whatever the language
  QTextOption option = m_command->document()->defaultTextOption();
  option.setAlignment(leading());
  m_command->document()->setDefaultTextOption(option);
  m_command->setWordWrapMode(QTextOption::WrapAnywhere);
  m_command->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  m_command->viewport()->setAutoFillBackground(false);
  m_command->document()->setDocumentMargin(0);
  m_command->setAccessibleName(titleOf(ProcessColumn::COMMAND));
  m_command->setTabChangesFocus(true);
  m_command->setMinimumHeight(fontMetrics().lineSpacing() * (shape == Shape::WIDE ? 3 : 4));
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(MARGIN, GAP, MARGIN, GAP);
  layout->setSpacing(8);
  layout->addWidget(m_title);
  layout->addWidget(m_body);
  layout->addWidget(m_command, 1);
  setRow(nullptr);
}

// From left to right.
void ProcessDetails::addFields(QGridLayout& grid) {
  using enum ProcessColumn;
  const auto add = [&](std::initializer_list<ProcessColumn> columns) {
    for (const ProcessColumn column : columns)
      addField(grid, titleOf(column), [column](const ProcessRow& row) { return textOf(row, column); });
  };
  const auto addStart = [&] {
    addField(grid, tr("Started"),
             [](const ProcessRow& row) { return QLocale().toString(startOf(row), QLocale::ShortFormat); });
  };
  if (m_shape == Shape::WIDE) {
    add({USER, PROCESSOR, MEMORY, STATE, TIME, FOOTPRINT, KIND, THREADS, READ, PARENT});
    addStart();
    add({WRITTEN});
  } else {
    add({USER, PROCESSOR, STATE, TIME, KIND, MEMORY, PARENT, THREADS});
    addStart();
    addField(grid, tr("Open files"),
             [](const ProcessRow& row) { return row.files ? QLocale().toString(*row.files) : QString(); });
  }
}

void ProcessDetails::addField(QGridLayout& grid, const QString& title,
                              std::function<QString(const ProcessRow& row)> text) {
  const int columns = m_shape == Shape::WIDE ? 3 : 2;  // of titles with their values
  const int place = static_cast<int>(m_fields.size());
  QLabel* const name = fieldTitle(title);
  QLabel* const value = fieldValue(title);
  grid.addWidget(name, place / columns, place % columns * 2);
  grid.addWidget(value, place / columns, place % columns * 2 + 1);
  grid.setColumnStretch(place % columns * 2 + 1, 1);
  m_fields.push_back({value, std::move(text)});
}

void ProcessDetails::setRow(const ProcessRow* row) {
  setTextOf(*m_title, m_title->text(), row ? nameOf(*row) : tr("No process is selected."));
  m_title->setEnabled(row);
  m_body->setVisible(row);
  m_command->setVisible(row);
  if (!row) return;
  for (const Field& field : m_fields) {
    const QString text = field.text(*row);
    setTextOf(*field.value, field.value->text(), text.isEmpty() ? QStringLiteral("–") : text);
  }
  setTextOf(*m_command, m_command->toPlainText(), textOf(*row, ProcessColumn::COMMAND));
}

void ProcessDetails::setEnded(const ProcessRow& row) {
  setTextOf(*m_title, m_title->text(), tr("%1 has ended.").arg(nameOf(row)));
  m_body->setEnabled(false);
  m_command->setEnabled(false);
}

QSize ProcessDetails::sizeHint() const {
  const int width = fontMetrics().averageCharWidth() * 60;
  if (m_shape == Shape::WIDE) return {width, fontMetrics().height() * 10};
  ensurePolished();
  return minimumSizeHint().expandedTo({width, 0}) + QSize(fontMetrics().averageCharWidth() * 6, 0);  // numbers grow
}

}  // namespace corvane::inspector
