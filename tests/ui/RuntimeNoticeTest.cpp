#include "corvane/ui/RuntimeNotice.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"

namespace corvane {
namespace {

struct Case {
  const char* name;
  bool isOptional;
  const char* press;  // a button's label; empty: Escape; null: the time passes
  RuntimeChoice choice;
  bool ends;
};

class RuntimeNoticeTest : public testing::TestWithParam<Case> {};

TEST_P(RuntimeNoticeTest, DoesWhatTheUserChooses) {
  ManualClock clock{Timeval::sec(1'000'000)};
  const FakePlatform fake;
  std::vector<RuntimeChoice> choices;
  const QPointer<QMessageBox> box = RuntimeNotice::show(
      {"libx.so.1", "its <b>help</b>", "https://a.b/c d"}, "liby.so.2",
      {.isOptional = GetParam().isOptional, .parent = nullptr, .limit = 5, .done = [&](RuntimeChoice choice) {
         choices.push_back(choice);
       }});
  EXPECT_TRUE(box->isVisible());
  EXPECT_TRUE(box->text().endsWith(" needs a library for its <b>help</b> that is not installed: liby.so.2"));
  EXPECT_EQ(box->textFormat(), Qt::PlainText);
  QSignalSpy ended(qApp, &QCoreApplication::aboutToQuit);
  QTimer::singleShot(0, [&] {
    if (!GetParam().press) return clock.advance(Timeval::sec(5));
    if (!*GetParam().press) return QTest::keyClick(box, Qt::Key_Escape);
    for (QAbstractButton* const button : box->buttons())
      if (button->text() == GetParam().press) button->click();
  });
  QTimer::singleShot(GetParam().ends ? 20'000 : 200, qApp, [] { QCoreApplication::exit(3); });
  EXPECT_EQ(QCoreApplication::exec(), GetParam().ends ? 0 : 3);
  EXPECT_EQ(choices, std::vector{GetParam().choice});
  EXPECT_FALSE(box);
  const bool isDownload = GetParam().choice == RuntimeChoice::DOWNLOAD;
  EXPECT_EQ(fake.workspace->callsSoFar(),
            isDownload ? std::vector<std::string>{"open https://a.b/c%20d"} : std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(All, RuntimeNoticeTest,
                         testing::Values(Case{"download", false, "Download", RuntimeChoice::DOWNLOAD, true},
                                         Case{"quit", false, "Quit", RuntimeChoice::QUIT, true},
                                         Case{"escape", false, "", RuntimeChoice::QUIT, true},
                                         Case{"time", false, nullptr, RuntimeChoice::QUIT, true},
                                         Case{"optional_download", true, "Download", RuntimeChoice::DOWNLOAD, false},
                                         Case{"optional_quit", true, "Quit", RuntimeChoice::QUIT, true},
                                         Case{"optional_escape", true, "", RuntimeChoice::CONTINUE, false},
                                         Case{"optional_time", true, nullptr, RuntimeChoice::CONTINUE, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RuntimeNotice, ReturnDoesNotQuitAProgramThatCanGoOn) {
  const FakePlatform fake;
  for (const bool isOptional : {false, true}) {
    const std::unique_ptr<QMessageBox> box(
        RuntimeNotice::show({"libx.so.1", "its help", ""}, "libx.so.1", {.isOptional = isOptional}));
    EXPECT_EQ(box->defaultButton()->text(), isOptional ? "Continue Without It" : "Quit");
  }
}

}  // namespace
}  // namespace corvane
