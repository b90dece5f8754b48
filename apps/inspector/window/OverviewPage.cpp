#include "apps/inspector/window/OverviewPage.h"

#include <QActionGroup>
#include <QHBoxLayout>
#include <QLocale>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <array>

#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

namespace {

constexpr char SPAN[] = "window.overview.minutes";
constexpr std::array SPANS = {1, 5, 15, 60};
constexpr int MARGIN = OverviewGraphs::MARGIN, GAP = OverviewGraphs::GAP;

}  // namespace

OverviewPage::OverviewPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_host(new QLabel),
      m_uptime(new QLabel),
      m_spans(new QActionGroup(this)),
      m_graphs(new OverviewGraphs(source.machine())) {
  makeSpans();
  setSpan(m_spans->checkedAction()->data().toInt());
  QAction* const onDesktop = newAction(this, tr("Show on the &Desktop"), QKeySequence(Qt::CTRL | Qt::Key_D));
  onDesktop->setCheckable(true);
  onDesktop->setToolTip(tr("Make the graphs the desktop's picture until this program ends"));
  connect(onDesktop, &QAction::toggled, this, &OverviewPage::showOnDesktop);
  auto* const scroll = new QScrollArea;
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setWidgetResizable(true);
  scroll->setWidget(m_graphs);
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(makeHeader());
  layout->addWidget(scroll, 1);
}

QWidget* OverviewPage::makeHeader() {
  QFont font = m_host->font();
  font.setPointSizeF(font.pointSizeF() * 1.4);
  font.setWeight(QFont::DemiBold);
  m_host->setFont(font);
  m_host->setTextFormat(Qt::PlainText);
  m_host->setTextInteractionFlags(Qt::TextSelectableByMouse);
  m_host->setText(shown(source().machine().host()));
  m_uptime->setToolTip(tr("How long this program has been running"));
  auto* const header = new QWidget;
  auto* const row = new QHBoxLayout(header);
  row->setContentsMargins(MARGIN, MARGIN, MARGIN, GAP);
  row->setSpacing(GAP);
  row->addWidget(m_host);
  row->addWidget(m_uptime, 1, Qt::AlignBaseline);
  auto* const buttons = new QHBoxLayout;
  buttons->setSpacing(2);
  for (QAction* const action : m_spans->actions()) {
    auto* const button = new QToolButton;
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    buttons->addWidget(button);
  }
  row->addLayout(buttons);
  return header;
}

void OverviewPage::makeSpans() {
  const auto saved = static_cast<int>(Defaults.loadInteger(SPAN, SPANS.front()));
  const int wanted = std::ranges::find(SPANS, saved) == SPANS.end() ? SPANS.front() : saved;
  for (const int minutes : SPANS) {
    auto* const action = new QAction(tr("%1 min").arg(QLocale().toString(minutes)), m_spans);
    action->setToolTip(minutes == 1 ? tr("Show the last minute")
                                    : tr("Show the last %1 minutes").arg(QLocale().toString(minutes)));
    action->setCheckable(true);
    action->setData(minutes);
    action->setChecked(minutes == wanted);
    connect(action, &QAction::triggered, this, [this, minutes] {
      Defaults.saveInteger(SPAN, minutes);
      setSpan(minutes);
    });
    addAction(action);
  }
}

void OverviewPage::setSpan(int minutes) {
  m_graphs->setSpan(minutes);
  if (m_onDesktop) m_onDesktop->setSpan(minutes);
}

void OverviewPage::showOnDesktop(bool isShown) {
  m_onDesktop.reset();
  if (!isShown) return;
  m_onDesktop = std::make_unique<DesktopGraphs>(source().machine());
  setSpan(m_spans->checkedAction()->data().toInt());
}

void OverviewPage::refresh() {
  m_uptime->setText(tr("running for %1").arg(lengthText(source().started().elapsed() / 1'000'000)));
  m_graphs->refresh();
}

}  // namespace corvane::inspector
