#include "apps/inspector/window/MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QHBoxLayout>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QWindow>

#include "apps/inspector/window/Guide.h"
#include "apps/inspector/window/PageIcon.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/Pages.h"
#include "apps/inspector/window/ProgramChooser.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/platform/Platform.h"
#include "corvane/ui/Donation.h"

namespace corvane::inspector {

namespace {

constexpr char PAGE[] = "window.page";
constexpr double TICK = 1;  // seconds

// Without its access key: "&Quit", "終了(&Q)".
QString plain(QString text) {
  static const QRegularExpression appended(QStringLiteral("\\(&.\\)"));
  return text.remove(appended).remove(u'&');
}

QString title(const std::string& program) {
  const QString name = QStringLiteral("Corvane Inspector");
  return program.empty() ? name : shown(program) + QStringLiteral(" – ") + name;
}

}  // namespace

MainWindow::MainWindow(Source& source, const QString& page, std::string donationPage)
    : m_own(source),
      m_donationPage(std::move(donationPage)),
      m_chooser(new ProgramChooser(platform().diagnosticsPort())),
      m_message(new MessageBar),
      m_list(new QListWidget),
      m_stack(new QStackedWidget),
      m_pages(pageKinds().size()),
      m_clock(std::make_shared<Repeater>("window")) {
  setWindowTitle(title({}));
  makeBody();
  makeMenus();
  connect(m_list, &QListWidget::currentRowChanged, this, &MainWindow::showRow);
  connect(m_chooser, &ProgramChooser::chosen, this, &MainWindow::lookAt);
  connect(m_chooser, &ProgramChooser::failed, m_message, &MessageBar::showFailure);
  resize(1080, 720);
  setFrameAutosaveName(QStringLiteral("Inspector"));
  if (!showPage(page) && !showPage(QString::fromStdString(Defaults.loadString(PAGE, "")))) m_list->setCurrentRow(0);
  m_clock->start(TICK, [this] {
    notePresence();
    current()->tick();
  });
}

MainWindow::~MainWindow() {
  m_clock->stop();
  for (Page* const page : m_pages) delete page;  // before the source that it shows
}

void MainWindow::makeBody() {
  m_list->setAccessibleName(tr("Pages"));
  m_list->setFrameShape(QFrame::NoFrame);
  m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  m_list->setUniformItemSizes(true);
  m_list->viewport()->setAutoFillBackground(false);
  for (const PageKind& kind : pageKinds()) {
    auto* const item = new QListWidgetItem(QCoreApplication::translate("Page", kind.title), m_list);
    const int height = fontMetrics().height() * 2;
    item->setSizeHint(QSize(fontMetrics().horizontalAdvance(item->text()) + 3 * height, height));
  }
  m_list->setIconSize(QSize(20, 20));
  m_list->setFixedWidth(m_list->sizeHintForColumn(0));
  drawIcons();
  auto* const body = new QWidget;
  QVBoxLayout* const layout = pageLayout(body);
  addBar(layout)->addWidget(m_chooser);
  layout->addWidget(m_message);
  auto* const line = new QFrame;
  line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
  layout->addWidget(line);
  auto* const below = new QHBoxLayout;
  below->setSpacing(0);
  auto* const side = new QVBoxLayout;
  side->setContentsMargins(6, 6, 6, 6);
  side->addWidget(m_list);
  below->addLayout(side);
  below->addWidget(m_stack, 1);
  layout->addLayout(below, 1);
  setCentralWidget(body);
}

void MainWindow::attach(const std::string& program) {
  m_chooser->choose(program);
}

// Pages that show the program are made anew; those of the machine stay as they are.
void MainWindow::lookAt(const std::optional<ProgramIdentity>& program) {
  auto next = program ? std::make_unique<AttachedSource>(m_own.machine(), platform().diagnosticsPort(), *program,
                                                         [this] {
                                                           if (Page* const page = current()) page->tick();
                                                         })
                      : nullptr;
  next.swap(m_attached);
  for (std::size_t i = 0; i < m_pages.size(); ++i) {
    if (!m_pages[i]) continue;
    if (!pageKinds()[i].isOfProgram) {
      m_pages[i]->setSource(this->source());
      continue;
    }
    m_pages[i]->setSeen(false);
    m_pages[i]->hide();
    delete std::exchange(m_pages[i], nullptr);
  }
  setWindowTitle(title(program ? program->name : std::string()));
  m_message->clear();
  m_presence = Presence::HERE;
  m_silence = 0;
  showRow(m_list->currentRow());
}

// A program that does not answer at once is not told of.
void MainWindow::notePresence() {
  static constexpr int PATIENCE = 3;
  if (!m_attached) return;
  Presence presence = m_attached->presence();
  m_silence = presence == Presence::SILENT ? m_silence + 1 : 0;
  if (presence == Presence::SILENT && m_silence < PATIENCE) presence = m_presence;
  m_chooser->follow(m_attached->identity(), presence == Presence::ENDED);
  if (std::exchange(m_presence, presence) == presence) return;
  const QString name = shown(m_attached->name());
  if (presence == Presence::HERE)
    m_message->clear();
  else
    m_message->showFailure(presence == Presence::ENDED
                               ? tr("%1 has ended. What was known last is shown until it runs again.").arg(name)
                               : tr("%1 does not answer. What was known last is shown.").arg(name));
}

bool MainWindow::showPage(const QString& id) {
  const auto kinds = pageKinds();
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (id != QLatin1String(kinds[i].id)) continue;
    m_list->setCurrentRow(static_cast<int>(i));
    return true;
  }
  return false;
}

void MainWindow::drawIcons() {
  const auto kinds = pageKinds();
  for (std::size_t i = 0; i < kinds.size(); ++i)
    m_list->item(static_cast<int>(i))->setIcon(pageIcon(kinds[i].id, palette()));
}

void MainWindow::bringToFront() {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

void MainWindow::makeMenus() {
  const auto add = [this](QMenu* menu, const QString& text, const QKeySequence& keys, auto slot) {
    QAction* const action = menu->addAction(text, this, slot);
    action->setShortcut(keys);
    return action;
  };
  QMenu* const file = menuBar()->addMenu(tr("&File"));
  add(file, tr("&Close Window"), QKeySequence::Close, [this] { close(); });
  add(file, tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), [] { QApplication::quit(); });

  QMenu* const view = menuBar()->addMenu(tr("&View"));
  const auto kinds = pageKinds();
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const int row = static_cast<int>(i);
    const auto keys =
        row < 10 ? QKeySequence(Qt::ALT | static_cast<Qt::Key>(Qt::Key_0 + (row + 1) % 10)) : QKeySequence();
    add(view, m_list->item(row)->text(), keys, [this, row] { choose(row); });
  }
  view->addSeparator();
  const auto step = [this](int by) { choose((m_list->currentRow() + m_list->count() + by) % m_list->count()); };
  add(view, tr("&Choose Program"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P), [this] { m_chooser->open(); });
  add(view, tr("&Next Page"), QKeySequence(Qt::CTRL | Qt::Key_PageDown), [step] { step(1); });
  add(view, tr("&Previous Page"), QKeySequence(Qt::CTRL | Qt::Key_PageUp), [step] { step(-1); });

  m_pageMenu = menuBar()->addMenu(QString());

  QMenu* const help = menuBar()->addMenu(tr("&Help"));
  add(help, tr("Corvane Inspector &Help"), QKeySequence(Qt::Key_F1), [] { showGuide("inspector-window"); });
  add(help, tr("&Reference of the Library"), {}, [] { showReference(); });
  add(help, tr("&Keyboard Shortcuts"), QKeySequence(Qt::SHIFT | Qt::Key_F1), [this] { showShortcuts(); });
  add(help, tr("&About Corvane Inspector"), {}, [this] { showAbout(); })->setMenuRole(QAction::AboutRole);
}

void MainWindow::fillPageMenu() {
  m_pageMenu->clear();
  m_pageMenu->addActions(current()->actions());
  if (!current()->searchField()) return;
  if (!m_pageMenu->isEmpty()) m_pageMenu->addSeparator();
  QAction* const find = m_pageMenu->addAction(tr("&Find"), this, [this] { current()->find(); });
  find->setShortcut(QKeySequence::Find);
}

void MainWindow::choose(int row) {
  m_list->setCurrentRow(row);
  current()->setFocus();  // where its shortcuts work
}

void MainWindow::showRow(int row) {
  if (row < 0) return;
  const auto index = static_cast<std::size_t>(row);
  if (Page* const page = current()) page->setSeen(false);
  if (!m_pages[index]) {
    m_pages[index] = pageKinds()[index].make(source());
    m_stack->addWidget(m_pages[index]);
  }
  m_stack->setCurrentWidget(m_pages[index]);
  m_pageMenu->setTitle(m_list->item(row)->text());
  fillPageMenu();
  const char* const id = pageKinds()[index].id;
  if (Defaults.loadString(PAGE, "") != id) Defaults.saveString(PAGE, id);
  noteVisibility();
}

Page* MainWindow::current() const {
  return static_cast<Page*>(m_stack->currentWidget());
}

// Hidden, minimised, on another workspace or wholly covered, as far as the desktop tells.
void MainWindow::noteVisibility() {
  if (Page* const page = current())
    page->setSeen(isVisible() && !isMinimized() && windowHandle() && windowHandle()->isExposed());
}

bool MainWindow::event(QEvent* event) {
  const bool result = ScreenWindow::event(event);
  if (event->type() == QEvent::Show && windowHandle()) windowHandle()->installEventFilter(this);
  if (event->type() == QEvent::Show || event->type() == QEvent::Hide || event->type() == QEvent::WindowStateChange)
    noteVisibility();
  if (event->type() == QEvent::PaletteChange) drawIcons();
  return result;
}

bool MainWindow::eventFilter(QObject* object, QEvent* event) {
  // The window's own handler has noted the exposure when this runs.
  if (event->type() == QEvent::Expose)
    QMetaObject::invokeMethod(this, &MainWindow::noteVisibility, Qt::QueuedConnection);
  return ScreenWindow::eventFilter(object, event);
}

void MainWindow::showShortcuts() {
  QString rows;
  for (QAction* const menu : menuBar()->actions())
    for (const QAction* const action : menu->menu()->actions())
      if (!action->shortcut().isEmpty())
        rows += QStringLiteral("<tr><td>%1&nbsp;&nbsp;</td><td>%2</td></tr>")
                    .arg(action->shortcut().toString(QKeySequence::NativeText).toHtmlEscaped(),
                         plain(action->text()).toHtmlEscaped());
  auto* const box = new QMessageBox(QMessageBox::NoIcon, tr("Keyboard Shortcuts"), "<table>" + rows + "</table>",
                                    QMessageBox::Close, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void MainWindow::showAbout() {
  const auto bundle = Bundle::mainBundle();
  const QString version = QString::fromStdString(bundle->string("CFBundleShortVersionString").value_or(""));
  auto* const box = new QMessageBox(
      QMessageBox::NoIcon, tr("About Corvane Inspector"),
      tr("<h3>Corvane Inspector %1</h3><p>Shows what the machine and the program's timers do.</p>").arg(version),
      QMessageBox::Close, this);
  box->setIconPixmap(windowIcon().pixmap(64));
  if (!m_donationPage.empty())
    connect(box->addButton(tr("&Donate…"), QMessageBox::ActionRole), &QPushButton::clicked, this,
            &MainWindow::showDonation);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void MainWindow::showDonation() {
  //: The name of the message in this language.
  const auto message = Bundle::mainBundle()->resource(tr("Donate.rtf").toStdString());
  Donation::newDonation(message.value_or(""), m_donationPage,
                        {.otherSoftware = "", .socialProfile = "", .crowdfunding = ""});
}

}  // namespace corvane::inspector
