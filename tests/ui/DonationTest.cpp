#include "corvane/ui/Donation.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

const DonationPages PAGES = {.otherSoftware = "https://a.b/", .socialProfile = "https://c.d/", .crowdfunding = ""};

// An application of this version; none for the empty one.
class App {
 public:
  explicit App(const std::string& version) {
    Value::Dictionary info = {{"CFBundleName", "MyApp"}, {"CFBundleVersion", "345"}};
    if (!version.empty()) info["CFBundleShortVersionString"] = version;
    fake.bundles->main.info = infoPlist(info);
  }
  static std::shared_ptr<Donation> ask(const std::string& paypal = "https://pay.example/me",
                                       const std::string& rtf = "") {
    Donation::newDonation(rtf, paypal, PAGES);
    return Donation::shared();
  }
  static bool isStored(const char* key) { return Defaults.loadBool(key, false); }

  FakePlatform fake;
};

TEST(DonationTest, EachVersionAsksUntilItIsToldNotTo) {
  const App app("2.1");
  for (const char* key : {"DONATE_Donated-MyApp-2.0(1)", "DONATE_Donated", "DONATE_Other"})
    Defaults.saveBool(key, true);
  EXPECT_FALSE(Donation::hasDonated());
  const auto donation = App::ask();
  donation->stopNagging();
  EXPECT_EQ(donation->window(), nullptr);
  EXPECT_EQ(Donation::shared(), nullptr);
  EXPECT_TRUE(Donation::hasDonated());
  EXPECT_TRUE(App::isStored("DONATE_Donated-MyApp-2.1(345)"));
  EXPECT_FALSE(App::isStored("DONATE_Donated-MyApp-2.0(1)"));
  EXPECT_TRUE(App::isStored("DONATE_Donated") && App::isStored("DONATE_Other"));
}

TEST(DonationTest, WithoutAVersionNothingIsRemembered) {
  const App app("");
  Defaults.saveBool("DONATE_Donated-MyApp-2.1(345)", true);
  App::ask()->stopNagging();
  EXPECT_FALSE(Donation::hasDonated());
  EXPECT_FALSE(App::isStored("DONATE_Donated-MyApp-2.1(345)"));
}

TEST(DonationTest, ButtonsOpenPagesAndThoseWithoutAddressAreHidden) {
  const App app("2.1");
  const auto donation = App::ask();
  const QPointer<QDialog> window = donation->window();
  const auto button = [&](const char* name) { return window->findChild<QPushButton*>(name); };
  EXPECT_TRUE(button("patreon")->isHidden());
  donation->patreon();
  donation->tracewell();
  QTest::keyClick(button("twitter"), Qt::Key_Return);
  const auto opened = [&] {
    auto calls = app.fake.workspace->callsSoFar();
    std::ranges::sort(calls);
    return calls;
  };
  EXPECT_TRUE(QTest::qWaitFor([&] { return opened().size() == 2; }));
  EXPECT_TRUE(window->isVisible());
  QTest::keyClick(window, Qt::Key_Return);  // the button that a message is for
  EXPECT_TRUE(QTest::qWaitFor([&] { return opened().size() == 3 && !window; }));
  EXPECT_EQ(opened(),
            (std::vector<std::string>{"open https://a.b/", "open https://c.d/", "open https://pay.example/me"}));

  for (const char* address : {"", "http://[", "pay.example/me", "//x"}) {
    const auto without = App::ask(address);
    EXPECT_TRUE(without->window()->findChild<QPushButton*>("donate")->isHidden()) << address;
    without->donate();
    EXPECT_EQ(without->window(), nullptr);
  }
  App::ask()->twitter();
  EXPECT_TRUE(QTest::qWaitFor([&] { return opened().size() == 4; }));
  EXPECT_EQ(std::ranges::count(opened(), "open https://c.d/"), 2) << "and nothing else";
}

TEST(DonationTest, ShowsTheTextAndLivesUntilItIsClosed) {
  const TempHome home;
  const App app("2.1");
  for (const char* text : {"{\\rtf1 Please}", "no rich text"}) {
    const bool isRead = text[0] == '{';
    std::weak_ptr<Donation> donation = App::ask("https://a.b", home.write("Donate.rtf", text));
    const QPointer<QDialog> window = donation.lock()->window();
    const auto shown = [&] { return window->findChild<RichTextView*>()->toPlainText(); };
    EXPECT_EQ(QTest::qWaitFor([&] { return shown() == "Please"; }, isRead ? 5'000 : 50), isRead);
    QTest::keyClick(window, Qt::Key_Escape);
    EXPECT_EQ(Donation::shared(), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window && donation.expired(); }));
  }
  const auto first = App::ask(), second = App::ask();
  EXPECT_NE(first, second);
  delete first->window();
  EXPECT_EQ(Donation::shared(), nullptr);
  second->ignore();
}

}  // namespace
}  // namespace corvane
