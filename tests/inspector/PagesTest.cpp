#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTextBlock>
#include <QTreeView>
#include <QUrl>
#include <atomic>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/window/DisksPage.h"
#include "apps/inspector/window/HelperPage.h"
#include "apps/inspector/window/LogPage.h"
#include "apps/inspector/window/MainWindow.h"
#include "apps/inspector/window/OverviewPage.h"
#include "apps/inspector/window/Pages.h"
#include "apps/inspector/window/RepeatersPage.h"
#include "apps/inspector/window/SettingsPage.h"
#include "apps/inspector/window/ValueText.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/Donation.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

using testing::HasSubstr;

std::string messageOf(const QWidget& page) {
  return page.findChild<MessageBar*>()->text().toStdString();
}

void press(const QWidget& page, const char* button) {
  for (QPushButton* const found : page.findChildren<QPushButton*>())
    if (found->text().remove('&') == button) return QTest::mouseClick(found, Qt::LeftButton);
  FAIL() << "no button " << button;
}

void append(const std::string& path, std::string_view text) {
  std::ofstream(path, std::ios::app) << text;
}

TEST(Pages, MayEndWhileTheyAreSeen) {
  const TempHome home;
  const FakePlatform fake(home.path());
  LocalSource source("");
  for (const PageKind& kind : pageKinds()) {
    const std::unique_ptr<Page> page(kind.make(source));
    page->show();
    page->setSeen(true);
    QTest::qWait(50);
    page->setSeen(false);
    page->tick();
    page->setSeen(true);
  }
}

TEST(OverviewPage, GraphsAreOnTheDesktopUntilTheUserWantsHisPictureBack) {
  const TempHome home;
  FakePlatform fake(home.path());
  fake.bundles->main.info = infoPlist(Value::Dictionary{{"CFBundleIdentifier", "a.b.Inspector"}});
  FakeDesktopPicture& desktop = *fake.desktopPicture;
  desktop.current.url = "file:///home/user.png";
  LocalSource source("");
  OverviewPage page(source);
  QAction* const onDesktop = page.actions().back();
  const auto shown = [&] { return QUrl(QString::fromStdString(desktop.current.url)).toLocalFile(); };
  onDesktop->trigger();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shown().endsWith("desktop-image-1.png"); }, 30'000));
  EXPECT_EQ(QImage(shown()).size(), QGuiApplication::primaryScreen()->size());
  onDesktop->trigger();
  EXPECT_EQ(shown(), "/home/user.png");
}

TEST(MainWindow, AboutLeadsToDonationsWhereThereIsAPageForThem) {
  const TempHome home;
  const FakePlatform fake(home.path());
  LocalSource source("");
  for (const std::string address : {"", "https://example.org/donate"}) {
    MainWindow window(source, "repeaters", address);
    for (QAction* const action : window.findChildren<QAction*>())
      if (action->menuRole() == QAction::AboutRole) action->trigger();
    auto* const about = window.findChild<QMessageBox*>();
    ASSERT_TRUE(about);
    if (address.empty()) {
      EXPECT_EQ(about->buttons().size(), 1);
      continue;
    }
    press(*about, "Donate…");
    ASSERT_TRUE(Donation::shared());
    press(*Donation::shared()->window(), "Donate");
    const auto calls = [&] { return fake.workspace->callsSoFar(); };
    EXPECT_TRUE(QTest::qWaitFor([&] { return !calls().empty(); }, 30'000));
    EXPECT_THAT(calls(), testing::ElementsAre("open " + address));
  }
}

TEST(LogPage, FollowsOverRotationsAndTruncation) {
  const TempHome home;
  const FakePlatform fake;
  LocalSource source("");
  LogPage page(source);
  page.resize(600, 300);
  page.show();
  auto& view = *page.findChild<LogView*>();
  const auto text = [&] {
    page.tick();
    return view.toPlainText().toStdString();
  };
  const std::string path = home / "a.log";
  page.follow(path);
  page.setSeen(true);
  EXPECT_THAT(view.placeholderText().toStdString(), HasSubstr("a.log: No such file"));
  append(path, "1\n2\xff\x1b\ncut");
  EXPECT_EQ(text(), "1\n2\uFFFD\uFFFD");
  append(path, " off\n");
  fs::rename(path, path + ".0");
  append(path + ".0", "late");
  append(path, "new\n");
  EXPECT_EQ(text(), "1\n2\uFFFD\uFFFD\ncut off\nlate\nnew");
  std::ofstream(path, std::ios::trunc) << "x\n";
  EXPECT_EQ(text(), "1\n2\uFFFD\uFFFD\ncut off\nlate\nnew\nx");
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_THAT(text(), HasSubstr("new\nx"));
}

TEST(LogView, StaysWhereTheUserReadsAndWithinItsBounds) {
  LogView view;
  view.resize(400, 200);
  view.show();
  const auto append = [&](std::size_t from, std::size_t count, const std::string& last) {
    std::string text;
    for (std::size_t i = from; i < from + count; ++i) text += "line " + std::to_string(i) + "\n";
    view.append(text + last + "\n");
    const auto end = QString::fromStdString(last).left(10);
    EXPECT_TRUE(QTest::qWaitFor([&] { return view.document()->lastBlock().text().startsWith(end); })) << last;
  };
  QScrollBar& bar = *view.verticalScrollBar();
  append(0, LogView::MAX_LINES - 1, "first end");
  EXPECT_EQ(bar.value(), bar.maximum());
  bar.setValue(5000);
  EXPECT_FALSE(view.isFollowing());
  append(10'000, 2999, "second end");
  EXPECT_EQ(view.cursorForPosition({2, 2}).block().text(), "line 5000");
  EXPECT_EQ(view.document()->blockCount(), static_cast<int>(LogView::MAX_LINES));
  bar.setValue(bar.maximum());
  EXPECT_TRUE(view.isFollowing());
  view.setFilter("999");
  EXPECT_EQ(view.toPlainText().left(10), "line 3999\n");
  append(13'000, 1499, "999 " + std::string(2 * LogView::MAX_LINE, 'x'));
  EXPECT_EQ(view.toPlainText().left(10), "line 4999\n") << "the oldest are gone here, too";
  EXPECT_EQ(view.document()->blockCount(), static_cast<int>(view.shownLines()));
  EXPECT_LT(view.document()->lastBlock().length(), static_cast<int>(LogView::MAX_LINE) + 10);
  EXPECT_EQ(bar.value(), bar.maximum());
  view.setFilter("");
  view.setSearched("LINE 12999");
  EXPECT_FALSE(view.findNext(true));
  view.setSearched("LINE 13999");
  EXPECT_TRUE(view.findNext(false));
  EXPECT_EQ(view.textCursor().block().text(), "line 13999");
  EXPECT_EQ(view.extraSelections().size(), 1);
}

TEST(Values, AreEditedWithoutLoss) {
  const auto same = [](const Value& value) { return parseValue(kindOf(value), editable(value)) == value; };
  for (const Value& value : {Value(0.1 + 0.2), Value(-1e300), Value(INT64_MIN), Value(true), Value("a\n\u00a0\u2029 "),
                             Value(Data{{0, 255}}), Value(Data{}), Value(Date::fromUnixSeconds(1e9)),
                             Value(Date::fromUnixSeconds(-1e9 + 0.5)), Value("")})
    EXPECT_TRUE(same(value)) << editable(value).toStdString();
  using enum ValueKind;
  for (const auto& [kind, text] : {std::pair(INTEGER, "1.5"),
                                   {INTEGER, "9223372036854775808"},
                                   {INTEGER, ""},
                                   {REAL, "1e999"},
                                   {REAL, "x"},
                                   {BOOLEAN, "perhaps"},
                                   {DATE, "2026-02-30 09:00:00"},
                                   {DATE, "soon"},
                                   {DATA, "abc"},
                                   {DATA, "0x"},
                                   {DATA, "+1"}})
    EXPECT_FALSE(parseValue(kind, text)) << text;
}

struct Settings {
  const TempHome home;
  const FakePlatform fake;
  LocalSource source{""};
  const std::shared_ptr<UserDefaults> other = std::make_shared<UserDefaults>("a.player");
  SettingsPage page{source};
  QTreeView& tree = *page.findChild<QTreeView*>();

  Settings() {
    EXPECT_TRUE(
        other->apply({{"list", Value(Value::Array{1, Value::Dictionary{{"deep", "old"}}, 3})}, {"n", Value(1)}}));
    UserDefaults::setShared(other);
    page.resize(800, 400);
    page.show();
    page.setSeen(true);
    EXPECT_EQ(tree.model()->rowCount(), 2);
  }
  ~Settings() { UserDefaults::setShared(std::make_shared<UserDefaults>("unused")); }

  QModelIndex at(std::initializer_list<int> rows) const {
    QModelIndex index;
    for (const int row : rows) index = tree.model()->index(row, 0, index);
    return index;
  }
  // Types into a cell, and ends with Return; whether the cell is still being edited then.
  bool type(std::initializer_list<int> rows, const char* text) const {
    tree.setCurrentIndex(at(rows));
    press(page, "Edit");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);  // of the editor before
    auto* const editor = tree.viewport()->findChild<QLineEdit*>();
    if (!editor) return false;
    editor->selectAll();
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return tree.viewport()->findChild<QLineEdit*>() != nullptr;
  }
  std::string shownAt(std::initializer_list<int> rows) const {
    return at(rows).siblingAtColumn(SettingsModel::VALUE).data().toString().toStdString();
  }
};

TEST(SettingsPage, EditsWhatOtherProgramsReadAndKeepsTheOldOnFailure) {
  const Settings settings;
  EXPECT_FALSE(settings.type({0, 1, 0}, "new"));
  EXPECT_EQ(*settings.other->array("list"), (Value::Array{1, Value::Dictionary{{"deep", "new"}}, 3}));
  EXPECT_TRUE(settings.type({1}, "1x")) << "still to be mended";
  EXPECT_THAT(messageOf(settings.page), HasSubstr("1x"));
  settings.fake.defaultsStore->fail(Error{"test", 1, "The disk is full"});
  EXPECT_FALSE(settings.type({1}, "12"));
  EXPECT_THAT(messageOf(settings.page), HasSubstr("The disk is full"));
  EXPECT_EQ(settings.shownAt({1}), "1");
  settings.fake.defaultsStore->fail(std::nullopt);
  EXPECT_EQ(settings.other->integer("n"), 1);
}

TEST(SettingsPage, ShowsChangesOfOtherProgramsAndRemovesAfterAQuestion) {
  const Settings settings;
  const QPersistentModelIndex element = settings.at({0, 2});
  settings.tree.expand(settings.at({0}));
  std::vector<UserDefaults::Change> many = {{"list", Value(Value::Array{1, 2, 3, 4})}};
  for (int i = 0; i < 900; ++i) many.push_back({"k" + std::to_string(i), Value(i)});
  ASSERT_TRUE(settings.other->apply(many));
  settings.fake.defaultsStore->changeFromOutside("a.player", {});
  EXPECT_TRUE(QTest::qWaitFor([&] { return settings.tree.model()->rowCount() == 902; }));
  ASSERT_TRUE(element.isValid() && settings.tree.isExpanded(element.parent())) << "nothing was laid out anew";
  EXPECT_EQ(settings.tree.model()->rowCount(element.parent()), 4);
  settings.tree.setCurrentIndex(element);
  press(settings.page, "Remove…");
  EXPECT_EQ(settings.other->array("list")->size(), 4U) << "not without the answer";
  press(*settings.page.findChild<QMessageBox*>(), "Remove");
  EXPECT_EQ(*settings.other->array("list"), (Value::Array{1, 2, 4}));
  EXPECT_EQ(settings.tree.model()->rowCount(element.parent()), 3);
}

TEST(DisksPage, StaysUsableWhileADiskIsMountedAndTellsTheOutcome) {
  const TempHome home;
  const FakePlatform fake;
  const auto medium = [](const char* name, int whole) {
    return FakeDeviceRegistry::Device{
        .className = "IOMedia",
        .properties = {{"BSD Name", name}, {"BSD Unit", 1}, {"Whole", whole}, {"Size", 1 << 30}}};
  };
  fake.deviceRegistry->devices = {medium("sda", 1), medium("sda1", 0)};
  fake.diskService->devices = {"sda", "sda1"};
  std::atomic<bool> isHeld = true;
  fake.diskService->beforeAnswer = [&] {
    while (isHeld) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  MasterTimer::instance()->start();
  {
    LocalSource source("");
    DisksPage page(source);
    page.show();
    page.setSeen(true);
    auto& tree = *page.findChild<QTreeView*>();
    ASSERT_TRUE(QTest::qWaitFor([&] { return tree.model()->rowCount() == 1; }));
    tree.setCurrentIndex(tree.model()->index(0, 0, tree.model()->index(0, 0)));
    press(page, "Mount");
    EXPECT_EQ(messageOf(page), "Mounting /dev/sda1…");
    page.setSeen(false);  // goes on meanwhile
    press(page, "Mount");
    isHeld = false;
    EXPECT_TRUE(QTest::qWaitFor([&] { return messageOf(page) == "Mounted /dev/sda1 at /media/sda1."; }));
    fake.diskService->dissent = Error{"test", 1, "It is in use"};
    press(page, "Unmount");
    EXPECT_TRUE(QTest::qWaitFor([&] { return messageOf(page).ends_with("It is in use"); })) << messageOf(page);
    for (QAction* const action : page.actions())
      if (action->text().contains("Even")) action->trigger();
    press(*page.findChild<QMessageBox*>(), "Cancel");
  }
  MasterTimer::instance()->stop();
  using Call = FakeDiskService::Call;
  EXPECT_EQ(fake.diskService->calls(), (std::vector{Call{"mount", "sda1", 0}, Call{"unmount", "sda1", 0}}));
}

TEST(RepeatersPage, PausesRepeatersAndKeepsTheStoredAverageInStep) {
  const TempHome home;
  const FakePlatform fake;
  LocalSource source("");
  RepeatersPage page(source);
  page.show();
  ASSERT_TRUE(UserDefaults::shared()->set(ViewSettings::AVERAGE, Value(20)));
  page.setSeen(true);
  EXPECT_EQ(source.repeaters().timeConstant(), 20);
  ASSERT_TRUE(UserDefaults::shared()->set(ViewSettings::AVERAGE, Value(30)));  // by the terminal view
  EXPECT_TRUE(QTest::qWaitFor([&] { return source.repeaters().timeConstant() == 30; }));
  auto& average = *page.findChild<QLineEdit*>();
  EXPECT_EQ(average.text(), "30");
  QTest::keyClick(&average, Qt::Key_Up);
  EXPECT_EQ(UserDefaults::shared()->integer(ViewSettings::AVERAGE), 31);
  EXPECT_EQ(source.repeaters().timeConstant(), 31);
  auto& table = *page.findChild<QTableView*>();
  const auto pausedRows = [&] { return std::ranges::count(source.repeaters().rows(), true, &RepeaterRow::paused); };
  table.selectRow(0);
  press(page, "Pause");
  EXPECT_EQ(pausedRows(), 1);
  press(page, "Resume");
  EXPECT_EQ(pausedRows(), 0);
}

TEST(HelperPage, InstallsAndTellsWhatIsSo) {
  const TempHome home;
  const FakePlatform fake(home.path());
  fake.bundles->main.info =
      *writePropertyList(Value::Dictionary{{"CFBundleIdentifier", "a.b.Test"}}, PropertyListFormat::XML);
  constexpr char LABEL[] = "org.corvane.Inspector.helper";
  fake.helperInstaller->bundled = {{LABEL, FakeHelperInstaller::info("2")}};
  fake.helperInstaller->installed = {{LABEL, FakeHelperInstaller::info("1")}};
  LocalSource source("");
  HelperPage page(source);
  page.show();
  page.setSeen(true);
  const auto says = [&](const char* text) {
    return QTest::qWaitFor([&] {
      const auto labels = page.findChildren<QLabel*>();
      return std::ranges::any_of(labels, [&](const QLabel* label) { return label->text() == text; });
    });
  };
  EXPECT_TRUE(says("An older version of the helper is installed."));
  press(page, "Install…");
  EXPECT_TRUE(says("The helper is installed.") && says("The helper has been installed."));
  fake.helperInstaller->refusal = Error{"test", 1, "no"};
  press(page, "Remove…");
  EXPECT_TRUE(says("The helper could not be removed. The log tells why.") && says("The helper is installed."));
}

}  // namespace

}  // namespace corvane::inspector
