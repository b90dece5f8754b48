#include "apps/inspector/window/ProcessDetails.h"

#include <QDateTime>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLocale>
#include <QVBoxLayout>

#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/ProcessText.h"

namespace corvane::inspector {

namespace {

constexpr int COLUMNS = 3;  // of titles with their values
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

// Labels whose texts can be selected align them by the direction of the text.
Qt::Alignment leading() {
  return QGuiApplication::isRightToLeft() ? Qt::AlignRight | Qt::AlignAbsolute : Qt::AlignLeft;
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

ProcessDetails::ProcessDetails(QWidget* parent)
    : QWidget(parent), m_title(new QLabel), m_body(new QWidget), m_command(new QPlainTextEdit) {
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
  for (const ProcessColumn column :
       {ProcessColumn::USER, ProcessColumn::PROCESSOR, ProcessColumn::MEMORY, ProcessColumn::STATE, ProcessColumn::TIME,
        ProcessColumn::FOOTPRINT, ProcessColumn::KIND, ProcessColumn::THREADS, ProcessColumn::READ,
        ProcessColumn::PARENT})
    addField(*grid, titleOf(column), [column](const ProcessRow& row) { return textOf(row, column); });
  addField(*grid, tr("Started"),
           [](const ProcessRow& row) { return QLocale().toString(startOf(row), QLocale::ShortFormat); });
  addField(*grid, titleOf(ProcessColumn::WRITTEN),
           [](const ProcessRow& row) { return textOf(row, ProcessColumn::WRITTEN); });
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
  m_command->setMinimumHeight(fontMetrics().lineSpacing() * 3);
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(MARGIN, GAP, MARGIN, GAP);
  layout->setSpacing(8);
  layout->addWidget(m_title);
  layout->addWidget(m_body);
  layout->addWidget(m_command, 1);
  setRow(nullptr);
}

void ProcessDetails::addField(QGridLayout& grid, const QString& title,
                              std::function<QString(const ProcessRow& row)> text) {
  const int place = static_cast<int>(m_fields.size());
  auto* const name = new QLabel(title);
  QPalette faint = name->palette();
  QColor colour = faint.color(QPalette::WindowText);
  colour.setAlphaF(0.65F);
  faint.setColor(QPalette::WindowText, colour);
  name->setPalette(faint);
  auto* const value = new QLabel;
  value->setTextFormat(Qt::PlainText);
  value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  value->setAlignment(leading());
  value->setAccessibleName(title);
  grid.addWidget(name, place / COLUMNS, place % COLUMNS * 2);
  grid.addWidget(value, place / COLUMNS, place % COLUMNS * 2 + 1);
  grid.setColumnStretch(place % COLUMNS * 2 + 1, 1);
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

QSize ProcessDetails::sizeHint() const {
  return {fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 10};
}

}  // namespace corvane::inspector
