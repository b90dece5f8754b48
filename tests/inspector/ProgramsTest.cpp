#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/window/LogView.h"
#include "apps/inspector/window/MainWindow.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/RepeatersPage.h"
#include "apps/inspector/window/SettingsPage.h"
#include "apps/inspector/window/TimelinePage.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/SlowProgram.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Programs : testing::Test {
  ~Programs() override {
    window.reset();
    MasterTimer::instance()->stop();
  }
  void open(const char* page, const char* program) {
    MasterTimer::instance()->start();
    source.emplace("");
    window.emplace(*source, page);
    window->show();
    window->attach(program);
  }
  static bool becomes(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 20'000); }
  std::string title() const { return window->windowTitle().toStdString(); }
  std::string message() const { return window->findChild<MessageBar*>()->text().toStdString(); }
  std::string chosen() const { return window->findChild<QComboBox*>()->currentText().toStdString(); }
  // The first texts of the rows of the page of repeaters.
  std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    const auto* const table = window->findChild<RepeatersPage*>()->findChild<QTableView*>();
    for (int row = 0; table && row < table->model()->rowCount(); ++row)
      rows.push_back(table->model()->index(row, 0).data().toString().toStdString());
    return rows;
  }

  const TempHome home;
  std::optional<LocalSource> source;
  std::optional<MainWindow> window;
};

TEST_F(Programs, AreChosenAndWaitedForWhenTheyHaveEnded) {
  std::optional<SlowProgram> slow(std::in_place);
  ASSERT_TRUE(becomes([&] { return slow->isServing(); }));
  open("repeaters", "SLOW-TIMER");
  ASSERT_TRUE(becomes([&] { return title() == "Slow Timer – Corvane Inspector"; })) << title() << message();
  ASSERT_TRUE(becomes([&] { return rows() == std::vector<std::string>{"clock", "poll mail", "redraw thumbnails"}; }));
  EXPECT_EQ(chosen(), "Slow Timer (" + std::to_string(slow->pid()) + ")");
  auto& table = *window->findChild<QTableView*>();
  table.selectRow(2);
  for (QPushButton* const button : window->findChildren<QPushButton*>())
    if (button->text() == "&Pause") QTest::mouseClick(button, Qt::LeftButton);
  EXPECT_TRUE(becomes([&] { return table.model()->index(2, 5).data() == "Paused"; }));
  slow.reset();
  EXPECT_TRUE(becomes([&] { return message().starts_with("Slow Timer has ended."); }));
  EXPECT_THAT(chosen(), HasSubstr("has ended"));
  EXPECT_EQ(rows().size(), 3U) << "what was known last";
  slow.emplace();
  EXPECT_TRUE(becomes([&] { return chosen() == "Slow Timer (" + std::to_string(slow->pid()) + ")"; })) << chosen();
  EXPECT_TRUE(becomes([&] { return message().empty() && table.model()->index(2, 5).data() == "Running"; }));
  window->showPage("log");
  const auto& log = *window->findChild<LogView*>();
  EXPECT_TRUE(becomes([&] { return log.toPlainText().contains("The clock ticks ten times a second"); }));
  ASSERT_TRUE(UserDefaults("org.example.SlowTimer").set("interval", Value(1)));
  window->showPage("settings");
  EXPECT_EQ(window->findChild<SettingsPage*>()->findChild<QListWidget*>()->currentItem()->text(),
            "org.example.SlowTimer");
  auto& list = *window->findChild<QComboBox*>();
  QTest::keyClick(&list, Qt::Key_Home);
  EXPECT_EQ(title(), "Corvane Inspector");
  window->showPage("repeaters");
  EXPECT_TRUE(becomes([&] { return std::ranges::count(rows(), "window") == 1; }));
  window->attach("no such program");
  EXPECT_TRUE(becomes([&] { return message().find("“no such program”") != std::string::npos; })) << message();
}

TEST_F(Programs, ShowTheirRecordingAsATimeline) {
  const SlowProgram slow;
  ASSERT_TRUE(becomes([&] { return slow.isServing(); }));
  open("timeline", std::to_string(slow.pid()).c_str());
  ASSERT_TRUE(becomes([&] { return title().starts_with("Slow Timer"); }));
  auto& page = *window->findChild<TimelinePage*>();
  auto& view = *page.findChild<TimelineView*>();
  page.findChild<NumberStepper*>()->setIntegerValue(2);
  const QList<QPushButton*> buttons = page.findChildren<QPushButton*>();
  QTest::mouseClick(buttons[0], Qt::LeftButton);
  EXPECT_EQ(buttons[0]->text(), "&Stop");
  window->showPage("repeaters");  // it goes on meanwhile
  ASSERT_TRUE(becomes([&] { return view.lanes().count() > 0; }));
  window->showPage("timeline");
  page.searchField()->setText("THUMB");
  QTest::keyClick(page.searchField(), Qt::Key_Return);
  ASSERT_TRUE(view.selected());
  // The recording may have begun in the middle of the first one.
  if (view.selected()->row < 2) QTest::keyClick(page.searchField(), Qt::Key_Return);
  const auto& lanes = view.lanes();
  EXPECT_TRUE(lanes.lanes()[view.selected()->lane].isMain);
  EXPECT_GE(lanes.at(*view.selected()).duration(), 120'000'000);
  EXPECT_GE(view.selected()->row, 2U) << "in an item, in a turn of the loop";
  const QString path = QString::fromStdString(home / "trace.json");
  page.save(path);
  EXPECT_TRUE(becomes([&] { return QFile::exists(path); }));
  EXPECT_THAT(contentOf(path.toStdString()), HasSubstr("\"redraw thumbnails\""));
}

TEST(ProgramPages, SayWhyNothingCanBeChanged) {
  const TempHome home;
  const FakePlatform fake(home.path());
  const auto program = std::make_shared<FakeProgram>();
  ProgramIdentity& identity = *program->itsIdentity;
  identity.name = "Atlas";
  identity.pid = 77;
  program->itsRepeaters->emplace_back().name = "autosave";
  fake.diagnosticsPort->others[77] = program;
  MasterTimer::instance()->start();
  {
    LocalSource source("");
    AttachedSource atlas(source.machine(), *fake.diagnosticsPort, identity, [] {});
    RepeatersPage page(atlas);
    page.show();
    page.setSeen(true);
    auto& table = *page.findChild<QTableView*>();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
          page.tick();
          return table.model()->rowCount() == 1;
        },
        20'000));
    table.selectRow(0);
    for (const QPushButton* const button : page.findChildren<QPushButton*>()) {
      EXPECT_FALSE(button->isEnabled()) << button->text().toStdString();
      EXPECT_THAT(button->toolTip().toStdString(), StartsWith("Atlas does not allow others"));
    }
    EXPECT_FALSE(page.findChild<QLineEdit*>()->isEnabled());
  }
  MasterTimer::instance()->stop();
}

}  // namespace

}  // namespace corvane::inspector
