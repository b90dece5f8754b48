#include "apps/inspector/window/BroadcasterPage.h"

#include <QLocale>

#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

double average(const broadcaster_stats& row) {
  return row.count > 0 ? static_cast<double>(row.elapsed) / static_cast<double>(row.count) : 0;
}

QString sizeText(qint64 size) {
  return QLocale().formattedDataSize(size, 1, QLocale::DataSizeSIFormat);
}

QString logText(const LogFigures& log) {
  if (log.path.empty()) return BroadcasterPage::tr("The program keeps no log.");
  const QLocale locale;
  const QString size = log.size ? BroadcasterPage::tr("%1 of %2", "size, limit")
                                      .arg(sizeText(static_cast<qint64>(*log.size)), sizeText(Logger::MAX_LOG_SIZE))
                                : BroadcasterPage::tr("no such file at present");
  return BroadcasterPage::tr("%1 – %2 – archives: %3 of %4 – lines by this process: %5")
      .arg(shown(log.path), size, locale.toString(static_cast<qlonglong>(log.archives)),
           locale.toString(static_cast<qlonglong>(Logger::MAX_LOGS + 1)),
           locale.toString(static_cast<qlonglong>(log.lines)));
}

}  // namespace

std::vector<RowColumn<broadcaster_stats>> BroadcasterPage::columns() {
  using Row = broadcaster_stats;
  return {
      {"key", tr("Key"), [](const Row& row) { return shown(row.key); },
       [](const Row& a, const Row& b) { return a.key < b.key; }},
      {"count", tr("Count"), [](const Row& row) { return QLocale().toString(static_cast<qlonglong>(row.count)); },
       [](const Row& a, const Row& b) { return a.count < b.count; }, true},
      {"total", tr("Total (ms)"),
       [](const Row& row) { return QLocale().toString(static_cast<double>(row.elapsed) / 1000, 'f', 3); },
       [](const Row& a, const Row& b) { return a.elapsed < b.elapsed; }, true},
      {"average", tr("Average (µs)"),
       [](const Row& row) { return row.count > 0 ? QLocale().toString(average(row), 'f', 1) : shownOrDash(""); },
       [](const Row& a, const Row& b) { return average(a) < average(b); }, true},
      {"listener", tr("Listener"), [](const Row& row) { return shown(row.listener); },
       [](const Row& a, const Row& b) { return a.listener < b.listener; }},
  };
}

BroadcasterPage::BroadcasterPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_table(new PageTable(&m_model, "broadcaster", tr("Listeners"), {24, 12, 14, 16})),
      m_log(new QLabel) {
  m_table->setPlaceholderText(tr("Nobody listens."));
  m_log->setTextFormat(Qt::PlainText);
  m_log->setWordWrap(true);
  m_log->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  QVBoxLayout* const layout = pageLayout(this);
  layout->addWidget(m_table, 1);
  addBar(layout)->addWidget(m_log);
  setFocusProxy(m_table);
}

void BroadcasterPage::refresh() {
  m_model.setRows(source().listeners());
  m_log->setText(logText(source().log()));
}

}  // namespace corvane::inspector
