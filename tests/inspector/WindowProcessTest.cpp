#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QImageReader>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <filesystem>
#include <iterator>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/window/ProcessPage.h"
#include "corvane/core/MasterTimer.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

// What no other process is called.
std::string secondsOfThisTest() {
  return "217." + std::to_string(getpid());
}

// A child that waits until the test ends it.
class Child {
 public:
  Child() {
    std::string name = "sleep", seconds = secondsOfThisTest();
    char* const arguments[] = {name.data(), seconds.data(), nullptr};
    EXPECT_EQ(posix_spawnp(&m_pid, "sleep", nullptr, nullptr, arguments, nullptr), 0);
  }
  ~Child() {
    if (!m_isReaped) ::kill(m_pid, SIGKILL), waitpid(m_pid, nullptr, 0);
  }
  pid_t pid() const { return m_pid; }
  // The signal that has ended it; 0 if it still runs.
  int ended() {
    int status = 0;
    m_isReaped = m_isReaped || waitpid(m_pid, &status, WNOHANG) == m_pid;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

 private:
  pid_t m_pid = 0;
  bool m_isReaped = false;
};

class WindowProcesses : public testing::Test {
 protected:
  WindowProcesses() {
    MasterTimer::instance()->start();
    page.emplace(source);
    page->resize(900, 600);
    page->show();
    page->setSeen(true);
    filter()->setText(QString::fromStdString("SLEEP " + secondsOfThisTest()));
  }
  ~WindowProcesses() override {
    page->hide();  // as its window does before the page is destroyed
    page.reset();
    MasterTimer::instance()->stop();
  }

  TableView* table() { return page->findChild<TableView*>(); }
  QLineEdit* filter() { return page->findChild<QLineEdit*>(); }
  ProcessTreeView* tree() { return page->findChild<ProcessTreeView*>(); }

  QAction* action(const QString& text) {
    for (QAction* const action : page->findChildren<QAction*>())
      if (action->text().remove(u'&').contains(text)) return action;
    ADD_FAILURE() << text.toStdString();
    return nullptr;
  }

  bool isShown(int rows) {
    return QTest::qWaitFor([&] { return table()->model()->rowCount() == rows; }, 10'000);
  }

  pid_t selected() {
    const auto rows = table()->selectionModel()->selectedRows();
    return rows.size() == 1 ? pidOf(rows.front().row()) : 0;
  }
  pid_t pidOf(int row) {
    for (int column = 0; column < table()->model()->columnCount(); ++column)
      if (table()->model()->headerData(column, Qt::Horizontal).toString() == "PID")
        return table()->model()->index(row, column).data().toInt();
    return -1;
  }

  // Asks to send the signal, and presses the button whose text begins so.
  std::string answer(const QString& signal, const QString& button) {
    action(signal)->trigger();
    const QPointer<QMessageBox> box = page->findChild<QMessageBox*>();
    if (!box) return "no question";
    const std::string question = box->text().toStdString();
    for (QAbstractButton* const each : box->buttons())
      if (each->text().remove(u'&').startsWith(button)) QTest::mouseClick(each, Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([&box] { return !box; }));
    return question;
  }

  TempHome home;
  LocalSource source{""};
  std::optional<ProcessPage> page;
};

TEST_F(WindowProcesses, KeepsFilterAndSelectionWhenItIsRefreshed) {
  Child first, second;
  ASSERT_TRUE(isShown(2));
  table()->selectRow(1);
  const pid_t chosen = selected();
  ASSERT_TRUE(chosen == first.pid() || chosen == second.pid());
  {
    Child third;
    ASSERT_TRUE(isShown(3));
    EXPECT_EQ(selected(), chosen);
  }
  ASSERT_TRUE(isShown(2));
  EXPECT_EQ(selected(), chosen);
  action("Show as Tree")->trigger();
  QTest::qWait(0);
  page->setLayoutDirection(Qt::RightToLeft);
  Q_EMIT tree()->selected(chosen == first.pid() ? second.pid() : first.pid());
  EXPECT_EQ(selected(), chosen == first.pid() ? second.pid() : first.pid());
  filter()->setText("no such process anywhere");
  EXPECT_EQ(selected(), 0);
}

TEST_F(WindowProcesses, SendsASignalAfterTheQuestionOnly) {
  Child child;
  ASSERT_TRUE(isShown(1));
  EXPECT_EQ(answer("SIGTERM", "Send"), "no question");  // nothing is selected
  table()->selectRow(0);
  const std::string question = "Send SIGTERM to " + std::to_string(child.pid()) + " sleep?";
  EXPECT_EQ(answer("SIGTERM", "Cancel"), question);
  QTest::qWait(200);
  EXPECT_EQ(child.ended(), 0);
  EXPECT_EQ(answer("SIGTERM", "Send"), question);
  EXPECT_TRUE(QTest::qWaitFor([&] { return child.ended() == SIGTERM; }, 10'000));
}

TEST_F(WindowProcesses, ShowsDetailsUntilTheProcessHasEnded) {
  std::optional<Child> child(std::in_place);
  ASSERT_TRUE(isShown(1));
  table()->selectRow(0);
  const std::string pid = std::to_string(child->pid());
  std::string shown;
  const auto shows = [&shown](const std::string& text) {
    return QTest::qWaitFor(
        [&] {
          shown.clear();
          if (const QWidget* const bubble = QApplication::activePopupWidget())
            for (const QLabel* const label : bubble->findChildren<QLabel*>())
              shown += label->text().toStdString() + '\n';
          return shown.find(text) != shown.npos;
        },
        10'000);
  };
  const auto files = std::distance(std::filesystem::directory_iterator("/proc/" + pid + "/fd"), {});
  for (const bool isTree : {true, false}) {
    action("Show as Tree")->setChecked(isTree);
    table()->setFocus();
    isTree ? action("Details")->trigger() : QTest::keyClick(table(), Qt::Key_Return);
    EXPECT_TRUE(shows(pid + " sleep\n") && shows("\nOpen files\n" + std::to_string(files) + '\n')) << shown;
    if (isTree) QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
  }
  child.reset();
  EXPECT_TRUE(shows(pid + " sleep has ended.\n")) << shown;
}

TEST_F(WindowProcesses, WritesTheTreeAsDrawingAndAsPicture) {
  Child child;
  ASSERT_TRUE(isShown(1));
  action("Show as Tree")->trigger();
  QTest::qWait(0);
  for (const char* const name : {"/tree.svg", "/tree.png"}) {
    const QString path = QString::fromStdString(home.path().string()) + name;
    page->savePicture(path);
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFile::exists(path); }, 10'000)) << name;
    QImageReader reader(path);
    EXPECT_EQ(reader.format(), QByteArray(name).right(3));
    EXPECT_GT(reader.read().width(), 100) << name;
  }
  page->savePicture("/nowhere/tree.svg");
  EXPECT_TRUE(QTest::qWaitFor([&] {
    for (const QLabel* const label : page->findChildren<QLabel*>())
      if (label->text().startsWith("/nowhere/tree.svg could not be written: ")) return true;
    return false;
  }));
}

}  // namespace

}  // namespace corvane::inspector
