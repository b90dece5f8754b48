#include <gtest/gtest.h>

#include <QAccessible>
#include <QSignalSpy>
#include <QTest>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/BundleIcon.h"
#include "corvane/ui/URLButton.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

TEST(URLButtonTest, ActsLikeALink) {
  FakePlatform fake;
  fake.workspace->error = Error{"test", 1, "no browser"};
  URLButton button("&Corvane", QUrl("https://example.org/a b?c=ä"));
  EXPECT_EQ(button.cursor().shape(), Qt::PointingHandCursor);
  button.setEnabled(false);
  EXPECT_EQ(button.cursor().shape(), Qt::PointingHandCursor);
  button.setEnabled(true);
  QAccessibleInterface* const link = QAccessible::queryAccessibleInterface(&button);
  EXPECT_EQ(link->role(), QAccessible::Link);
  EXPECT_EQ(link->text(QAccessible::Name), "Corvane");

  QSignalSpy clicks(&button, &QAbstractButton::clicked), failures(&button, &URLButton::failed);
  QTest::keyClick(&button, Qt::Key_Return);
  QTest::keyClick(&button, Qt::Key_Space);
  QTest::mouseClick(&button, Qt::LeftButton);
  link->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_TRUE(QTest::qWaitFor([&] { return failures.size() == 4; }));
  EXPECT_EQ(fake.workspace->calls, std::vector<std::string>(4, "open https://example.org/a%20b?c=%C3%A4"));
  EXPECT_EQ(failures.first().first(), "no browser");

  button.setUrl({});
  EXPECT_EQ(button.toolTip(), "");
  button.click();  // nothing to open
  EXPECT_EQ(clicks.size(), 5);
}

TEST(BundleIconTest, UnknownApplicationsLeaveTheIcon) {
  const TempHome home;
  FakePlatform fake;
  fake.workspace->applications = {{"a.b.Known", "/known"}, {"a.b.Plain", "/plain"}};
  fake.workspace->icons = {{"/known", home.write("known.svg",
                                                 "<svg xmlns='http://www.w3.org/2000/svg' width='32' "
                                                 "height='32'><rect width='32' height='32'/></svg>")}};
  QPushButton button;
  loadBundleIcon(button, "a.b.Known");
  const qint64 known = button.icon().cacheKey();
  EXPECT_FALSE(button.icon().isNull());
  for (const char* identifier : {"a.b.Plain", "a.b.Unknown", ""}) {
    loadBundleIcon(button, identifier);
    EXPECT_EQ(button.icon().cacheKey(), known) << identifier;
  }
}

}  // namespace
}  // namespace corvane
