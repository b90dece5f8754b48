#include <gtest/gtest.h>

#include "corvane/core/Log.h"
#include "corvane/system/helper/helper_c.h"
#include "corvane/testing/FakePlatform.h"

extern "C" int checkHelperApi(const char* label);

namespace corvane {
namespace {

constexpr const char* LABEL = "a.b.helper";
std::string g_log;  // what was logged since it was cleared

class Helper : public testing::Test {
 protected:
  Helper() {
    static constexpr LogSink SINK = {[](std::string_view line) { g_log += std::string(line) + "|"; },
                                     [] { return true; }};
    setLogSink(&SINK);
    g_log.clear();
  }

  FakePlatform fake;
  FakeAuthorization& rights = *fake.authorization;
  FakeHelperInstaller& helpers = *fake.helperInstaller;
};

TEST_F(Helper, IsInstalledIfItsEmbeddedVersionIsNotOlder) {
  const auto info = &FakeHelperInstaller::info;
  const auto integer = [](std::string text) {
    return "<plist><dict><key>CFBundleVersion</key>" + text + "</dict></plist>";
  };
  struct Row {
    std::optional<std::string> installed, bundled;
    bool isCurrent;
  };
  const std::vector<Row> rows = {
      {info("3"), info("3"), true},     {info("10"), info("9"), true},
      {info("9"), info("10"), false},   {info("9223372036854775807"), info("0"), true},
      {info("3"), info("2b"), false},   {info("3"), std::nullopt, false},
      {std::nullopt, info("3"), false},
  };
  for (const Row& row : rows) {
    helpers.installed = {{LABEL, row.installed}};
    helpers.bundled = {{LABEL, row.bundled}};
    EXPECT_EQ(HelperIsInstalled(LABEL), row.isCurrent) << row.installed.value_or("-") << row.bundled.value_or("-");
  }
  helpers.bundled = {{LABEL, info("0")}};
  for (const std::string& wrong :
       {info("9223372036854775808"), info("3.1"), info(""), info(" 3"), info("+3"), info("-0"),
        integer("<integer>3</integer>"), integer(""), std::string("not a list")}) {
    helpers.installed = {{LABEL, wrong}};
    EXPECT_FALSE(HelperIsInstalled(LABEL)) << wrong;
  }
  helpers.bundled.clear();
  EXPECT_FALSE(HelperIsInstalled(LABEL));
  helpers.installed.clear();
  EXPECT_FALSE(HelperIsInstalled(LABEL));
}

TEST_F(Helper, InstallationLogsItsOutcome) {
  const auto outcome = [&](bool (*request)(const char*)) {
    g_log.clear();
    testing::internal::CaptureStdout();
    const bool done = request(LABEL);
    return (done ? "done " : "failed ") + g_log + testing::internal::GetCapturedStdout();
  };
  const Error error = {"fake", 1, "Two\nlines"};
  helpers.bundled = {{LABEL, FakeHelperInstaller::info("3")}};

  rights.refusal = error;
  EXPECT_EQ(outcome(BlessHelper), "failed AuthorizationCopyRights has failed.|SMJobBless install helper: FAIL|");
  rights.refusal.reset();
  rights.error = error;
  EXPECT_EQ(outcome(BlessHelper), "failed AuthorizationCopyRights has failed.|SMJobBless install helper: FAIL|");
  rights.error.reset();
  helpers.refusal = error;
  EXPECT_EQ(outcome(BlessHelper), "failed SMJobBless install helper: FAIL|Two lines\n");
  EXPECT_EQ(outcome(RemoveHelper), "failed Remove helper: FAIL|Two lines\n");
  helpers.refusal.reset();
  EXPECT_EQ(outcome(BlessHelper), "done SMJobBless install helper: OK|");
  rights.error = error;  // it is current: nobody is asked
  EXPECT_EQ(outcome(BlessHelper), "done ");
  rights.error.reset();
  EXPECT_EQ(outcome(RemoveHelper), "done Remove helper: OK|");
  EXPECT_EQ(rights.requests(), std::vector<std::string>(5, "fake.install"));
  EXPECT_EQ(rights.references(), 0u);
}

TEST_F(Helper, RightsAreDefinedWhereUnknownAndRefusalsReleaseTheReference) {
  const auto install = authorisehelper("To start");
  ASSERT_TRUE(install);
  EXPECT_EQ(checkAuthorised(install, "new", "Why"), install);
  EXPECT_EQ(checkAuthorised(install, "new", "Another reason"), install);
  EXPECT_EQ(checkAuthorised(install, "other", nullptr), install);
  EXPECT_EQ(rights.rights, (std::map<std::string, std::string>{{"new", "Why"}, {"other", ""}}));
  EXPECT_EQ(rights.requests(), (std::vector<std::string>{"fake.install (To start)", "new", "new", "other"}));
  EXPECT_EQ(rights.references(), 1u);

  const Error error = {"fake", 1, "no"};
  rights.refusal = error;
  EXPECT_FALSE(checkAuthorised(install, "new", nullptr));  // takes the caller's
  EXPECT_EQ(rights.references(), 0u);
  for (auto failure : {&FakeAuthorization::refusal, &FakeAuthorization::unknown, &FakeAuthorization::indefinable,
                       &FakeAuthorization::error}) {
    rights.refusal = rights.unknown = rights.indefinable = rights.error = std::nullopt;
    rights.*failure = error;
    EXPECT_FALSE(checkAuthorised(nullptr, "third", "Why"));
    EXPECT_EQ(rights.references(), 0u);
    rights.rights.erase("third");
  }
}

TEST_F(Helper, ServesC) {
  helpers.bundled = {{LABEL, FakeHelperInstaller::info("1")}};
  EXPECT_EQ(checkHelperApi(LABEL), 0);
}

}  // namespace
}  // namespace corvane
