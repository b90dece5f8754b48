#include "corvane/infra/SysAttr.h"

#include <gmock/gmock.h>
#include <locale.h>
#include <sys/stat.h>

#include <cstdlib>
#include <thread>

#include "tests/support/TempHome.h"

namespace corvane {
namespace {

TEST(SysAttr, UsersAndGroupsByNameOrElseByNumber) {
  for (const auto& [id, name] : {std::pair{0U, "root"}, {4242U, "4242"}, {4'294'967'294U, "4294967294"}}) {
    EXPECT_EQ(SysAttr::username(id), name);
    EXPECT_EQ(SysAttr::groupname(id), name);
  }
}

TEST(SysAttr, Permissions) {
  const std::pair<mode_t, std::string> rows[] = {{S_IFDIR | 0755, "drwxr-xr-x"}, {S_IFREG | 0644, "-rw-r--r--"},
                                                 {S_IFLNK | 0777, "-rwxrwxrwx"}, {S_IFREG | 07000, "----------"},
                                                 {S_IFBLK | 0421, "-r---w---x"}, {S_IFSOCK | 0124, "---x-w-r--"}};
  for (const auto& [mode, text] : rows) {
    EXPECT_EQ(SysAttr::modePermissions(mode), text);
    EXPECT_EQ(SysAttr::isdir(mode), text[0] == 'd');
  }
}

struct SysAttrKinds : testing::Test {
  SysAttrKinds() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) home.set(variable, nullptr);
  }

  TempHome home;
};

TEST_F(SysAttrKinds, EnglishWithoutATranslation) {
  home.set("LC_ALL", "xx_XX.UTF-8");
  std::string texts;
  for (const int type : {S_IFIFO, S_IFCHR, S_IFDIR, S_IFBLK, S_IFREG, S_IFLNK, S_IFSOCK, 0160000})
    texts += SysAttr::modeKind(static_cast<mode_t>(type) | 0644U) + ",";
  EXPECT_EQ(texts, "Named pipe,Character special,Directory,Block special,Regular file,Symbolic link,Socket,Whiteout,");
  for (const mode_t mode : {0644U, 0170000U}) EXPECT_EQ(SysAttr::modeKind(mode), "");
}

TEST_F(SysAttrKinds, InTheUsersLanguage) {
  home.installLocale();
  home.set("LANGUAGE", "xx:ja:de");
  const auto isTranslated = [] { return SysAttr::modeKind(S_IFDIR) == "ディレクトリ"; };
  // Without setlocale(), by the first variable that is set; the application's locale stays its own.
  home.set("LANG", "en_US.UTF-8");
  std::thread([&] { EXPECT_TRUE(isTranslated()); }).join();
  home.set("LC_MESSAGES", "C");
  EXPECT_FALSE(isTranslated());
  home.set("LC_ALL", "en_US.UTF-8");
  EXPECT_TRUE(isTranslated());
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C");
  // After it, by the application's.
  ASSERT_TRUE(setlocale(LC_ALL, "en_US.UTF-8"));
  home.set("LC_ALL", "C");
  EXPECT_TRUE(isTranslated());
}

}  // namespace
}  // namespace corvane
